// Measures what the program takes from the heap through operator new, which is
// all that the library and the protobuf runtime take. Only for programs that
// have heap_meter.cc among their sources: it replaces the operators.
#ifndef TESTS_HOSTILE_HEAP_METER_H_
#define TESTS_HOSTILE_HEAP_METER_H_

#include <cstddef>

// The most that was in use at one time since the meter was made, in bytes, on
// top of what was in use then, with glibc's rounding and its header in front.
// One meter at a time, on one thread.
class HeapMeter {
 public:
  HeapMeter();
  size_t peak() const;

  // How many blocks were taken since then.
  size_t allocations() const;
};

#endif  // TESTS_HOSTILE_HEAP_METER_H_
