// What both nodes agree on. None of it is settled by the vocabulary: how nodes
// are numbered and what their clocks count is up to those who build them.
#ifndef EXAMPLES_EXCHANGE_NODES_H_
#define EXAMPLES_EXCHANGE_NODES_H_

#include <chrono>
#include <cstdint>

constexpr int kGroundNode = 1;
constexpr int kGimbalNode = 9;
constexpr int kThrowerNode = 10;
constexpr int kTracerNode = 11;

// Microseconds since 1970.
inline int64_t Now() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

#endif  // EXAMPLES_EXCHANGE_NODES_H_
