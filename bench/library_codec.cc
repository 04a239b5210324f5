// The library, used as one would without thought and as docs/performance.md
// advises.
#include <optional>
#include <type_traits>

#include "codec.h"
#include "library_records.h"

namespace {

using records::channel::channelTopicMessage;
using records::gimbal::UavGimbalRotateReqMessage;

// The library's class for a sample.
template <typename Sample>
struct Traits;
template <>
struct Traits<sample::Rotate> {
  using Message = UavGimbalRotateReqMessage;
};
template <>
struct Traits<sample::Envelope> {
  using Message = channelTopicMessage;
};
template <>
struct Traits<sample::Imu> {
  using Message = zorvik::sdksub::ImuAttiNaviData;
};
template <>
struct Traits<sample::HardSync> {
  using Message = zorvik::sdksub::hardSync;
};
template <>
struct Traits<sample::Battery> {
  using Message = zorvik::sdksub::SingleBatteryInfo;
};
template <>
struct Traits<sample::Tracer> {
  using Message = zorvik::protocol::tracerMeasureInfoMessage;
};
template <>
struct Traits<sample::Stream> {
  using Message = zorvik::stream::responseData;
};

// A new object for each message, the shortest calls. std::optional only lets
// what was read live until the next call; its objects are new all the same.
class NaiveCodec {
 public:
  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    typename Traits<Sample>::Message message;
    records::Fill(sample, &message);
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      message.set_data(sample.data.data(), sample.data.size());
    }
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      UavGimbalRotateReqMessage payload;
      records::Fill(sample.rotate, &payload);
      message.mutable_data()->PackFrom(payload);
    }
    bytes_ = message.SerializeAsString();
    return bytes_;
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    auto& message =
        std::get<std::optional<typename Traits<Sample>::Message>>(messages_)
            .emplace();
    if (!message.ParseFromString(bytes)) return false;
    records::Read(message, sample);
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      UavGimbalRotateReqMessage payload;
      if (!message.data().UnpackTo(&payload)) return false;
      records::Read(payload, &sample->rotate);
    }
    return true;
  }

 private:
  template <typename... Samples>
  using Optionals =
      std::tuple<std::optional<typename Traits<Samples>::Message>...>;

  std::string bytes_;
  Optionals<sample::Rotate, sample::Envelope, sample::Imu, sample::HardSync,
            sample::Battery, sample::Tracer, sample::Stream>
      messages_;
};

// Objects and buffers that live as long as the link, cleared in place.
class RecommendedCodec {
 public:
  RecommendedCodec() {
    // Packing any rotate request writes the URL that all of them share.
    envelope_.mutable_data()->PackFrom(rotate_);
    rotate_type_url_ = envelope_.data().type_url();
  }

  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    auto& message = std::get<typename Traits<Sample>::Message>(messages_);
    records::Fill(sample, &message);
    return Write(message);
  }

  std::string_view Encode(const sample::Stream& sample) {
    auto& message = std::get<Traits<sample::Stream>::Message>(messages_);
    records::Fill(sample, &message);
    message.mutable_data()->assign(sample.data.data(), sample.data.size());
    return Write(message);
  }

  std::string_view Encode(const sample::Envelope& sample) {
    records::Fill(sample.rotate, &rotate_);
    records::Fill(sample, &envelope_);
    std::string* value = envelope_.mutable_data()->mutable_value();
    value->resize(rotate_.ByteSizeLong());
    rotate_.SerializeWithCachedSizesToArray(
        reinterpret_cast<uint8_t*>(&(*value)[0]));
    return Write(envelope_);
  }

  // Without records within, Clear keeps all there is to keep, and parsing
  // clears by itself.
  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    auto& message = std::get<typename Traits<Sample>::Message>(messages_);
    if (!message.ParseFromString(bytes)) return false;
    records::Read(message, sample);
    return true;
  }
  bool Decode(const std::string& bytes, sample::Rotate* sample) {
    return MergeInPlace(bytes, &rotate_, sample);
  }
  bool Decode(const std::string& bytes, sample::Imu* sample) {
    return MergeInPlace(
        bytes, &std::get<Traits<sample::Imu>::Message>(messages_), sample);
  }
  bool Decode(const std::string& bytes, sample::HardSync* sample) {
    return MergeInPlace(
        bytes, &std::get<Traits<sample::HardSync>::Message>(messages_), sample);
  }
  bool Decode(const std::string& bytes, sample::Envelope* sample) {
    if (!MergeInPlace(bytes, &envelope_, sample)) return false;
    const google::protobuf::Any& data = envelope_.data();
    // A sender may use another prefix: then the slower test decides.
    if (data.type_url() != rotate_type_url_ &&
        !data.Is<UavGimbalRotateReqMessage>()) {
      return false;
    }
    return MergeInPlace(data.value(), &rotate_, &sample->rotate);
  }

 private:
  template <typename Message>
  std::string_view Write(const Message& message) {
    const size_t size = message.ByteSizeLong();
    if (size > buffer_.size()) buffer_.resize(size);
    message.SerializeWithCachedSizesToArray(buffer_.data());
    return {reinterpret_cast<const char*>(buffer_.data()), size};
  }

  template <typename Message, typename Sample>
  static bool MergeInPlace(const std::string& bytes, Message* message,
                           Sample* sample) {
    records::ClearInPlace(message);
    if (!message->MergeFromString(bytes)) return false;
    records::Read(*message, sample);
    return true;
  }

  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(1200);
  std::tuple<UavGimbalRotateReqMessage, channelTopicMessage,
             Traits<sample::Imu>::Message, Traits<sample::HardSync>::Message,
             Traits<sample::Battery>::Message, Traits<sample::Tracer>::Message,
             Traits<sample::Stream>::Message>
      messages_;
  UavGimbalRotateReqMessage& rotate_ =
      std::get<UavGimbalRotateReqMessage>(messages_);
  channelTopicMessage& envelope_ = std::get<channelTopicMessage>(messages_);
  std::string rotate_type_url_;
};

}  // namespace

template <typename Sample>
bool LibraryReads(const std::string& bytes, Sample* sample) {
  static NaiveCodec codec;
  return codec.Decode(bytes, sample);
}

template <typename Sample>
std::string Canonical(const Sample& sample) {
  return std::string(NaiveCodec().Encode(sample));
}
template bool LibraryReads(const std::string&, sample::Envelope*);
template std::string Canonical(const sample::Envelope&);
template bool LibraryReads(const std::string&, sample::Rotate*);
template std::string Canonical(const sample::Rotate&);
template bool LibraryReads(const std::string&, sample::Imu*);
template std::string Canonical(const sample::Imu&);
template bool LibraryReads(const std::string&, sample::HardSync*);
template std::string Canonical(const sample::HardSync&);
template bool LibraryReads(const std::string&, sample::Battery*);
template std::string Canonical(const sample::Battery&);
template bool LibraryReads(const std::string&, sample::Tracer*);
template std::string Canonical(const sample::Tracer&);
template bool LibraryReads(const std::string&, sample::Stream*);
template std::string Canonical(const sample::Stream&);

const std::string& RotateTypeUrl() {
  static const std::string url = [] {
    google::protobuf::Any any;
    any.PackFrom(UavGimbalRotateReqMessage());
    return any.type_url();
  }();
  return url;
}

void RegisterLibrary() {
  Register<NaiveCodec>("naive");
  Register<RecommendedCodec>("recommended");
}
