#include "hostile/heap_meter.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// Of one thread; what others allocate is not counted.
thread_local long long in_use = 0;
thread_local long long most_in_use = 0;
thread_local size_t allocations_made = 0;

// The cost of a block is stored in front of it.
constexpr size_t kHead = alignof(std::max_align_t);

// What a block of this size takes from glibc's heap. Computed and not asked
// for, since a block that is used again may be somewhat too large.
long long Cost(size_t size) {
  constexpr size_t kUnit = 2 * sizeof(size_t);
  const size_t units = (size + sizeof(size_t) + kUnit - 1) / kUnit;
  return static_cast<long long>(std::max<size_t>(units, 2) * kUnit);
}

void* Allocate(size_t size) {
  char* block = static_cast<char*>(std::malloc(kHead + size));
  if (block == nullptr) throw std::bad_alloc();
  const long long cost = Cost(size);
  new (block) long long(cost);
  ++allocations_made;
  in_use += cost;
  most_in_use = std::max(most_in_use, in_use);
  return block + kHead;
}

void Free(void* block) {
  if (block == nullptr) return;
  char* start = static_cast<char*>(block) - kHead;
  in_use -= *reinterpret_cast<long long*>(start);
  std::free(start);
}

}  // namespace

HeapMeter::HeapMeter() {
  in_use = most_in_use = 0;
  allocations_made = 0;
}

size_t HeapMeter::peak() const { return static_cast<size_t>(most_in_use); }

size_t HeapMeter::allocations() const { return allocations_made; }

// The forms that the standard does not give in terms of others.
void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, size_t) noexcept { Free(block); }
void operator delete[](void* block, size_t) noexcept { Free(block); }
