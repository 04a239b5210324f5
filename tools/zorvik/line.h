// Two nodes that talk to each other: each message is a datagram or a
// publication.
#ifndef TOOLS_ZORVIK_LINE_H_
#define TOOLS_ZORVIK_LINE_H_

#include <memory>
#include <optional>
#include <string>

#include "net.h"

class Line {
 public:
  virtual ~Line() = default;
  // A message that nobody takes is lost. Throws std::runtime_error.
  virtual void Send(const std::string& bytes) = 0;
  // Waits at most that long for a message.
  virtual std::optional<std::string> Receive(int milliseconds) = 0;
};

enum class Side { kDevice, kCounterpart };

// Over UDP, the counterpart listens at "udp:HOST:PORT", and the device sends
// there. Over a broker, "mqtt:HOST:PORT/TOPIC", the device publishes on
// TOPIC/out and subscribes to TOPIC/in. A device that does not send first over
// UDP listens at "udp:HOST:PORT", which is empty for all others. Throws
// WrongUse or std::runtime_error.
std::unique_ptr<Line> LineAt(const std::string& place, Side side,
                             const BrokerOptions& options,
                             const std::string& device = "");

#endif  // TOOLS_ZORVIK_LINE_H_
