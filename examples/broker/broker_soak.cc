// Sends many envelopes through a broker as fast as it takes them, and accounts
// for every one. The last third may wait for the broker to be restarted.
#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "gimbalMessage.pb.h"
#include "mqtt_client.h"
#include "nodes.h"
#include "program.h"
#include "topics.h"
#include "zorvik/topics.h"

namespace {

namespace gimbal = zorvik::gimbal;
namespace topics = zorvik::topics;
using Clock = std::chrono::steady_clock;

std::string Numbered(uint32_t seq) {
  gimbal::UavGimbalRotateReqMessage request;
  request.set_seq(seq);
  request.mutable_rotationvalue()->set_yaw(1);
  std::string bytes;
  topics::Append(request, topics::From{kGroundNode}, topics::To{kGimbalNode},
                 &bytes);
  return bytes;
}

using Receiver = topics::Receiver<gimbal::UavGimbalRotateReqMessage>;

uint32_t NumberOf(const std::string& bytes, Receiver* receiver) {
  uint32_t seq = 0;
  const topics::Result result = receiver->Receive(
      bytes, [&](const auto& request, const auto&) { seq = request.seq(); });
  if (result != topics::Result::kReceived) {
    throw std::runtime_error("what arrives is not what was sent");
  }
  return seq;
}

// What arrived so far.
struct Account {
  std::vector<bool> seen;
  uint32_t received = 0;
  uint32_t duplicates = 0;
};

void Receive(MqttClient* client, Account* account) {
  const auto count = static_cast<uint32_t>(account->seen.size());
  const uint32_t step = std::max(count / 20, 1U);
  Receiver receiver(kGimbalNode);
  while (account->received < count) {
    const auto publication = client->Receive(std::chrono::seconds(20));
    if (!publication) return;  // What is missing now is lost.
    const uint32_t seq = NumberOf(publication->bytes, &receiver);
    if (seq >= count) throw std::runtime_error("a number that was not sent");
    if (account->seen[seq] != publication->repeated) {
      throw std::runtime_error("the transport is wrong about a repetition");
    }
    if (publication->repeated) {
      ++account->duplicates;
      continue;
    }
    account->seen[seq] = true;
    if (++account->received % step == 0) {
      std::cout << "received " << account->received << " of " << count << '\n'
                << std::flush;
    }
  }
}

void Soak(const Arguments& arguments, uint32_t count, bool restart) {
  const std::string topic = TopicOf(arguments.aircraft, kGimbalNode, "in");
  MqttClient subscriber(arguments.broker, "soak-subscriber");
  MqttClient publisher(arguments.broker, "soak-publisher");
  subscriber.Subscribe(topic);

  const auto begin = Clock::now();
  std::exception_ptr failure;
  std::thread sending([&] {
    try {
      for (uint32_t seq = 0; seq < count; ++seq) {
        if (restart && seq == count / 3 * 2 &&
            !publisher.AwaitReconnections(1, std::chrono::seconds(20))) {
          throw std::runtime_error("the broker was not restarted");
        }
        publisher.Publish(topic, Numbered(seq));
      }
      publisher.Flush(std::chrono::seconds(20));
    } catch (...) {
      failure = std::current_exception();
    }
  });
  Account account;
  account.seen.resize(count);
  try {
    Receive(&subscriber, &account);
  } catch (...) {
    sending.join();
    throw;
  }
  sending.join();
  if (failure) std::rethrow_exception(failure);

  const double seconds =
      std::chrono::duration<double>(Clock::now() - begin).count();
  std::cout << "sent " << count << " envelopes in " << std::fixed
            << std::setprecision(1) << seconds << " s, "
            << static_cast<int>(count / seconds) << " per second; lost "
            << count - account.received << ", came twice " << account.duplicates
            << '\n';
  if (account.received != count) throw std::runtime_error("envelopes are lost");
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(
      argc, argv, "ENVELOPES [restart]",
      "Sends envelopes through a broker as fast as it takes them, and fails\n"
      "when one is lost. With the word restart, the last third waits until "
      "the\n"
      "broker has been restarted.",
      [](const Arguments& arguments) {
        const auto& words = arguments.words;
        const bool restart = words.size() == 2 && words[1] == "restart";
        if (words.empty() || (words.size() > 1 && !restart)) {
          throw WrongUse("takes a number, and perhaps the word restart");
        }
        Soak(arguments, Number(words[0], 1, 100'000'000, "ENVELOPES"), restart);
      });
}
