// Two ways to the same end, for each piece of advice in docs/performance.md:
// advice/<name>/before and advice/<name>/after. Both are compared before
// either is timed.
#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/util/json_util.h>

#include <memory>

#include "library_path.h"
#include "library_records.h"

namespace {

namespace pb = google::protobuf;
using records::channel::channelTopicMessage;
using records::gimbal::UavGimbalRotateReqMessage;
using records::protocol::tracerMeasureInfoMessage;
using records::sdksub::ImuAttiNaviData;
using records::sdksub::SingleBatteryInfo;
using records::stream::responseData;

template <typename Sample>
const Sample& Timed() {
  return sample::Samples<Sample>()[0];
}

bool Same(std::string_view a, std::string_view b) { return a == b; }
template <typename Sample>
bool Same(const Sample* a, const Sample* b) {
  return sample::Equal(*a, *b);
}

// Before and After are classes whose call does the work once and gives bytes,
// or a pointer to what was read.
template <typename Before, typename After, typename Timed>
void Run(benchmark::State& state) {
  {
    Before before;
    After after;
    for (int round = 0; round < 2; ++round) {  // Again, with what was kept.
      if (!Same(before(), after())) {
        return state.SkipWithError("the two ways differ");
      }
    }
  }
  Timed timed;
  for (auto _ : state) {
    benchmark::ClobberMemory();
    auto result = timed();
    benchmark::DoNotOptimize(result);
  }
}

template <typename Before, typename After>
void Register(const std::string& name) {
  benchmark::RegisterBenchmark(("advice/" + name + "/before").c_str(),
                               Run<Before, After, Before>);
  benchmark::RegisterBenchmark(("advice/" + name + "/after").c_str(),
                               Run<Before, After, After>);
}

std::string_view View(const std::vector<uint8_t>& buffer, size_t size) {
  return {reinterpret_cast<const char*>(buffer.data()), size};
}

// ---- The envelope, written. The objects are kept in all three.

class WriteEnvelope {
 protected:
  WriteEnvelope() {
    records::Fill(Timed<sample::Envelope>(), &envelope_);
    records::Fill(Timed<sample::Envelope>().rotate, &rotate_);
    envelope_.mutable_data()->PackFrom(rotate_);
  }

  UavGimbalRotateReqMessage rotate_;
  channelTopicMessage envelope_;
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(1200);
};

class EnvelopePacked : WriteEnvelope {
 public:
  std::string_view operator()() {
    records::Fill(Timed<sample::Envelope>(), &envelope_);
    records::Fill(Timed<sample::Envelope>().rotate, &rotate_);
    envelope_.mutable_data()->PackFrom(rotate_);
    const size_t size = envelope_.ByteSizeLong();
    envelope_.SerializeWithCachedSizesToArray(buffer_.data());
    return View(buffer_, size);
  }
};

class EnvelopeInPlace : WriteEnvelope {
 public:
  std::string_view operator()() {
    records::Fill(Timed<sample::Envelope>(), &envelope_);
    records::Fill(Timed<sample::Envelope>().rotate, &rotate_);
    std::string* value = envelope_.mutable_data()->mutable_value();
    value->resize(rotate_.ByteSizeLong());
    rotate_.SerializeWithCachedSizesToArray(
        reinterpret_cast<uint8_t*>(&(*value)[0]));
    const size_t size = envelope_.ByteSizeLong();
    envelope_.SerializeWithCachedSizesToArray(buffer_.data());
    return View(buffer_, size);
  }
};

// The payload goes into the caller's buffer and nowhere else: the envelope's
// own fields come first, data is its last.
class EnvelopeByHand : WriteEnvelope {
 public:
  EnvelopeByHand() : type_url_(envelope_.data().type_url()) {
    envelope_.clear_data();
  }

  std::string_view operator()() {
    using Stream = pb::io::CodedOutputStream;
    records::Fill(Timed<sample::Envelope>(), &envelope_);
    records::Fill(Timed<sample::Envelope>().rotate, &rotate_);
    const auto url_size = static_cast<uint32_t>(type_url_.size());
    const auto payload_size = static_cast<uint32_t>(rotate_.ByteSizeLong());
    const auto any_size = static_cast<uint32_t>(
        2 + Stream::VarintSize32(url_size) + url_size +
        Stream::VarintSize32(payload_size) + payload_size);
    envelope_.ByteSizeLong();
    uint8_t* p = envelope_.SerializeWithCachedSizesToArray(buffer_.data());
    p = Header(channelTopicMessage::kDataFieldNumber, any_size, p);
    p = Header(pb::Any::kTypeUrlFieldNumber, url_size, p);
    p = Stream::WriteRawToArray(type_url_.data(), static_cast<int>(url_size),
                                p);
    p = Header(pb::Any::kValueFieldNumber, payload_size, p);
    p = rotate_.SerializeWithCachedSizesToArray(p);
    return View(buffer_, static_cast<size_t>(p - buffer_.data()));
  }

 private:
  // The tag of a field of bytes, and their number.
  static uint8_t* Header(int field, uint32_t size, uint8_t* to) {
    to = pb::io::CodedOutputStream::WriteTagToArray(
        static_cast<uint32_t>(field) << 3 | 2, to);
    return pb::io::CodedOutputStream::WriteVarint32ToArray(size, to);
  }

  const std::string type_url_;
};

// ---- The envelope, read.

class ReadEnvelope {
 protected:
  ReadEnvelope() {
    UavGimbalRotateReqMessage rotate;
    records::Fill(Timed<sample::Envelope>().rotate, &rotate);
    channelTopicMessage envelope;
    records::Fill(Timed<sample::Envelope>(), &envelope);
    envelope.mutable_data()->PackFrom(rotate);
    bytes_ = envelope.SerializeAsString();
    type_url_ = envelope.data().type_url();
  }

  const sample::Envelope* Result() {
    records::Read(envelope_, &read_);
    records::Read(rotate_, &read_.rotate);
    return &read_;
  }

  std::string bytes_;
  std::string type_url_;
  channelTopicMessage envelope_;
  UavGimbalRotateReqMessage rotate_;
  sample::Envelope read_;
};

class EnvelopeUnpacked : ReadEnvelope {
 public:
  const sample::Envelope* operator()() {
    if (!envelope_.ParseFromString(bytes_) ||
        !envelope_.data().UnpackTo(&rotate_)) {
      throw std::runtime_error("malformed");
    }
    return Result();
  }
};

class EnvelopeMerged : ReadEnvelope {
 public:
  const sample::Envelope* operator()() {
    records::ClearInPlace(&envelope_);
    records::ClearInPlace(&rotate_);
    if (!envelope_.MergeFromString(bytes_) ||
        (envelope_.data().type_url() != type_url_ &&
         !envelope_.data().Is<UavGimbalRotateReqMessage>()) ||
        !rotate_.MergeFromString(envelope_.data().value())) {
      throw std::runtime_error("malformed");
    }
    return Result();
  }
};

class TypeByName : ReadEnvelope {
 public:
  TypeByName() { envelope_.ParseFromString(bytes_); }
  std::string_view operator()() {
    std::string name;
    pb::Any::ParseAnyTypeUrl(envelope_.data().type_url(), &name);
    return name == rotate_.GetTypeName() ? "yes" : "no";
  }
};

class TypeByUrl : ReadEnvelope {
 public:
  TypeByUrl() { envelope_.ParseFromString(bytes_); }
  std::string_view operator()() {
    return envelope_.data().type_url() == type_url_ ||
                   envelope_.data().Is<UavGimbalRotateReqMessage>()
               ? "yes"
               : "no";
  }
};

// ---- A message with records within, read into an object that is kept.

template <typename Message, typename Sample>
class ReadMessage {
 protected:
  ReadMessage() {
    Message message;
    records::Fill(Timed<Sample>(), &message);
    bytes_ = message.SerializeAsString();
  }

  const Sample* Result(const Message& message) {
    records::Read(message, &read_);
    return &read_;
  }

  std::string bytes_;
  Sample read_;
};

template <typename Message, typename Sample>
class Parsed : ReadMessage<Message, Sample> {
 public:
  const Sample* operator()() {
    if (!message_.ParseFromString(this->bytes_)) {
      throw std::runtime_error("malformed");
    }
    return this->Result(message_);
  }

 private:
  Message message_;
};

template <typename Message, typename Sample>
class Merged : ReadMessage<Message, Sample> {
 public:
  const Sample* operator()() {
    records::ClearInPlace(&message_);
    if (!message_.MergeFromString(this->bytes_)) {
      throw std::runtime_error("malformed");
    }
    return this->Result(message_);
  }

 private:
  Message message_;
};

// A new object for each message.
template <typename Message, typename Sample>
class ParsedAnew : ReadMessage<Message, Sample> {
 public:
  const Sample* operator()() {
    message_ = std::make_unique<Message>();  // The last one is let go.
    if (!message_->ParseFromString(this->bytes_)) {
      throw std::runtime_error("malformed");
    }
    return this->Result(*message_);
  }

 private:
  std::unique_ptr<Message> message_;
};

// On an arena whose first block is the program's own and which is reset for
// each message.
template <typename Message, typename Sample>
class ParsedOnArena : ReadMessage<Message, Sample> {
 public:
  ParsedOnArena() : arena_(block_, sizeof block_) {}
  const Sample* operator()() {
    arena_.Reset();
    auto* message = pb::Arena::CreateMessage<Message>(&arena_);
    if (!message->ParseFromString(this->bytes_)) {
      throw std::runtime_error("malformed");
    }
    return this->Result(*message);
  }

 private:
  alignas(8) char block_[8192];
  pb::Arena arena_;
};

// ---- Bytes out.

class ImuToString {
 public:
  std::string_view operator()() {
    records::Fill(Timed<sample::Imu>(), &message_);
    bytes_ = message_.SerializeAsString();
    return bytes_;
  }

 private:
  ImuAttiNaviData message_;
  std::string bytes_;
};

class ImuToBuffer {
 public:
  std::string_view operator()() {
    records::Fill(Timed<sample::Imu>(), &message_);
    const size_t size = message_.ByteSizeLong();
    message_.SerializeWithCachedSizesToArray(buffer_.data());
    return View(buffer_, size);
  }

 private:
  ImuAttiNaviData message_;
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(1200);
};

class DataSet {
 public:
  std::string_view operator()() {
    const std::string_view data = Timed<sample::Stream>().data;
    message_.set_data(data.data(), data.size());
    return message_.data();
  }

 private:
  responseData message_;
};

class DataAssigned {
 public:
  std::string_view operator()() {
    const std::string_view data = Timed<sample::Stream>().data;
    message_.mutable_data()->assign(data.data(), data.size());
    return message_.data();
  }

 private:
  responseData message_;
};

// What a line of JSON in the log costs beside the message itself.
class ImuLogged {
 public:
  const sample::Imu* operator()() {
    records::Fill(Timed<sample::Imu>(), &message_);
    json_.clear();
    if (!pb::util::MessageToJsonString(message_, &json_).ok()) {
      throw std::runtime_error("no JSON");
    }
    return &Timed<sample::Imu>();
  }

 private:
  ImuAttiNaviData message_;
  std::string json_;
};

class ImuStored : ImuToBuffer {
 public:
  const sample::Imu* operator()() {
    benchmark::DoNotOptimize(ImuToBuffer::operator()());
    return &Timed<sample::Imu>();
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::AddCustomContext("library", LibraryPath());
  Register<EnvelopePacked, EnvelopeInPlace>("envelope-in-place");
  Register<EnvelopePacked, EnvelopeByHand>("envelope-by-hand");
  Register<EnvelopeUnpacked, EnvelopeMerged>("envelope-merge");
  Register<TypeByName, TypeByUrl>("type-url");
  Register<Parsed<UavGimbalRotateReqMessage, sample::Rotate>,
           Merged<UavGimbalRotateReqMessage, sample::Rotate>>("merge");
  Register<ParsedAnew<tracerMeasureInfoMessage, sample::Tracer>,
           Parsed<tracerMeasureInfoMessage, sample::Tracer>>("keep");
  Register<ImuToString, ImuToBuffer>("buffer");
  Register<DataSet, DataAssigned>("assign");
  Register<ParsedAnew<SingleBatteryInfo, sample::Battery>,
           ParsedOnArena<SingleBatteryInfo, sample::Battery>>("arena");
  Register<Parsed<SingleBatteryInfo, sample::Battery>,
           ParsedOnArena<SingleBatteryInfo, sample::Battery>>("arena-or-keep");
  Register<ParsedAnew<tracerMeasureInfoMessage, sample::Tracer>,
           ParsedOnArena<tracerMeasureInfoMessage, sample::Tracer>>(
      "arena-repeated");
  Register<ImuLogged, ImuStored>("json");
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
