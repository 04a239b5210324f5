// The library, used as one would without thought, as docs/performance.md
// advises, and through its typed topics.
#ifndef BENCH_LIBRARY_CODEC_H_
#define BENCH_LIBRARY_CODEC_H_

#include <optional>
#include <string>

#include "samples.h"
#include "zorvik/topics.h"

constexpr std::string_view kRotateTypeUrl =
    zorvik::topics::MessageFacts<sample::Rotate::M>::kTypeUrl;

// One object of every type.
template <typename... Samples>
auto MakeMessages(const std::tuple<Samples...>&)
    -> std::tuple<typename Samples::M...>;
template <typename... Samples>
auto MakeOptionals(const std::tuple<Samples...>&)
    -> std::tuple<std::optional<typename Samples::M>...>;

// A new object for each message, the shortest calls. std::optional only lets
// what was read live until the next call; its objects are new all the same.
class NaiveCodec {
 public:
  static constexpr const char* kName = "naive";

  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    typename Sample::M message;
    records::Fill(sample, &message);
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      message.set_data(sample.data.data(), sample.data.size());
    }
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      Rotate payload;
      records::Fill(sample.rotate, &payload);
      message.mutable_data()->PackFrom(payload);
    }
    bytes_ = message.SerializeAsString();
    return bytes_;
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    auto& message =
        std::get<std::optional<typename Sample::M>>(messages_).emplace();
    if (!message.ParseFromString(bytes)) return false;
    records::Read(message, sample);
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      sample->data = message.data();
    }
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      Rotate payload;
      if (!message.data().UnpackTo(&payload)) return false;
      records::Read(payload, &sample->rotate);
    }
    return true;
  }

 private:
  using Rotate = sample::Rotate::M;

  std::string bytes_;
  decltype(MakeOptionals(sample::All())) messages_;
};

// Objects and buffers that live as long as the link, cleared in place.
class RecommendedCodec {
 public:
  static constexpr const char* kName = "recommended";

  RecommendedCodec() {
    envelope_.mutable_data()->set_type_url(std::string(kRotateTypeUrl));
  }

  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    auto& message = std::get<typename Sample::M>(messages_);
    records::Fill(sample, &message);
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      message.mutable_data()->assign(sample.data.data(), sample.data.size());
    }
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      records::Fill(sample.rotate, &rotate_);
      std::string* value = message.mutable_data()->mutable_value();
      value->resize(rotate_.ByteSizeLong());
      rotate_.SerializeWithCachedSizesToArray(
          reinterpret_cast<uint8_t*>(&(*value)[0]));
    }
    const size_t size = message.ByteSizeLong();
    if (size > buffer_.size()) buffer_.resize(size);
    message.SerializeWithCachedSizesToArray(buffer_.data());
    return {reinterpret_cast<const char*>(buffer_.data()), size};
  }

  // Parsing clears, which lets go of the records within.
  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    auto& message = std::get<typename Sample::M>(messages_);
    if constexpr (std::is_same_v<Sample, sample::Rotate> ||
                  std::is_same_v<Sample, sample::Imu> ||
                  std::is_same_v<Sample, sample::HardSync>) {
      records::ClearInPlace(*sample, &message);
      if (!message.MergeFromString(bytes)) return false;
    } else {
      if (!message.ParseFromString(bytes)) return false;
    }
    records::Read(message, sample);
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      sample->data = message.data();
    }
    return true;
  }
  bool Decode(const std::string& bytes, sample::Envelope* sample) {
    records::ClearInPlace(*sample, &envelope_);
    if (envelope_.has_data()) envelope_.mutable_data()->Clear();
    if (!envelope_.MergeFromString(bytes)) return false;
    records::Read(envelope_, sample);
    const google::protobuf::Any& data = envelope_.data();
    return data.type_url() == kRotateTypeUrl &&
           Decode(data.value(), &sample->rotate);
  }

 private:
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(1200);
  decltype(MakeMessages(sample::All())) messages_;
  sample::Rotate::M& rotate_ = std::get<sample::Rotate::M>(messages_);
  sample::Envelope::M& envelope_ = std::get<sample::Envelope::M>(messages_);
};

// For the envelope alone.
class TopicsCodec {
 public:
  static constexpr const char* kName = "topics";

  std::string_view Encode(const sample::Envelope& sample) {
    const auto& [type, from, to] = sample.values;
    records::Fill(sample.rotate, &rotate_);
    return {buffer_, zorvik::topics::Write(rotate_, {from}, {to}, buffer_,
                                           sizeof buffer_)
                         .size};
  }

  bool Decode(const std::string& bytes, sample::Envelope* sample) {
    const auto read = [&](const auto& rotate, const auto& envelope) {
      sample->values = {envelope.topic_type(), envelope.source(),
                        envelope.destination()};
      records::Read(rotate, &sample->rotate);
    };
    return receiver_.Receive(bytes, read) == zorvik::topics::Result::kReceived;
  }

 private:
  char buffer_[1200];
  sample::Rotate::M rotate_;
  zorvik::topics::Receiver<sample::Rotate::M> receiver_{
      std::get<2>(sample::Timed<sample::Envelope>().values)};
};

#endif  // BENCH_LIBRARY_CODEC_H_
