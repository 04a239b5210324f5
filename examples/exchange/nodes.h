// What both nodes agree on and the vocabulary leaves open.
#ifndef EXAMPLES_EXCHANGE_NODES_H_
#define EXAMPLES_EXCHANGE_NODES_H_

#include <chrono>
#include <cstdint>

// This example's own choice: fixed node ids, the same in src_node_id,
// dst_node_id, src_id and source_id.
constexpr int kGroundNode = 1;
constexpr int kGimbalNode = 9;
constexpr int kThrowerNode = 10;
constexpr int kTracerNode = 11;

// How long a node waits for what the other one has to send next.
constexpr std::chrono::seconds kPatience(5);

// This example's own choice: every timestamp is in microseconds since 1970, by
// the system's clock.
inline int64_t Now() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

#endif  // EXAMPLES_EXCHANGE_NODES_H_
