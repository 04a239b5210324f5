// Places where what is sent can be heard.
#ifndef TOOLS_ZORVIK_EAR_H_
#define TOOLS_ZORVIK_EAR_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "net.h"

// Something that can be heard.
class Ear {
 public:
  using Use = std::function<void(const std::string& bytes)>;

  virtual ~Ear() = default;
  virtual int descriptor() const = 0;
  // Takes what has come. Throws std::runtime_error.
  virtual void Hear(const Use& use) = 0;
  // Why nothing can be heard at present; empty when something can.
  virtual std::string Trouble() const { return ""; }
  // What is to be said of it at the end; empty for nothing.
  virtual std::string Remark() { return ""; }
};

// What a place is and what of it is heard.
struct EarOptions {
  // Of an interface: a UDP port, or 0 for the datagrams that are wanted.
  int port = 0;
  std::function<bool(const std::string& bytes)> wanted;
  BrokerOptions broker;
};

// Hears "udp:PORT", "udp:HOST:PORT", "if:INTERFACE" or "mqtt:HOST:PORT/TOPIC".
// Throws WrongUse.
std::unique_ptr<Ear> EarAt(const std::string& place, const EarOptions& options);

// Waits at most that long for something to be heard, or for standard input when
// it is a terminal, and takes what has come.
void Listen(const std::vector<std::unique_ptr<Ear>>& ears, int milliseconds,
            const Ear::Use& use);

#endif  // TOOLS_ZORVIK_EAR_H_
