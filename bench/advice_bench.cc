// Two ways to the same end, for each piece of advice in docs/performance.md:
// advice/<name>/before and advice/<name>/after. Both are compared before
// either is timed.
#include <google/protobuf/arena.h>
#include <google/protobuf/util/json_util.h>

#include <cstdlib>
#include <new>

#include "codec.h"

static long allocations = 0;

[[gnu::noinline]] void* operator new(size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

namespace {

namespace pb = google::protobuf;

// A way is a class whose call does the work once and gives bytes, or a pointer
// to what was read. Most ways are a codec's, for one sample.
template <typename Codec, typename Sample>
struct Encoding {
  std::string_view operator()() { return codec.Encode(sample); }

  const Sample sample = sample::Timed<Sample>();
  Codec codec;
};
template <typename Codec, typename Sample>
struct Decoding {
  const Sample* operator()() {
    if (!codec.Decode(bytes, &read)) throw std::runtime_error("malformed");
    return &read;
  }

  const std::string bytes = Canonical(sample::Timed<Sample>());
  Codec codec;
  Sample read;
};

bool Same(std::string_view a, std::string_view b) { return a == b; }
template <typename Sample>
bool Same(const Sample* a, const Sample* b) {
  return ::Same(*a, *b);
}

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
  timed();
  const long allocated = allocations;
  for (auto _ : state) {
    benchmark::ClobberMemory();
    auto result = timed();
    benchmark::DoNotOptimize(result);
  }
  // Of one call, with an object that has been in use.
  state.counters["allocations"] =
      static_cast<double>(allocations - allocated) / state.iterations();
}

template <typename Before, typename After>
void Register(const std::string& name) {
  benchmark::RegisterBenchmark(("advice/" + name + "/before").c_str(),
                               Run<Before, After, Before>);
  benchmark::RegisterBenchmark(("advice/" + name + "/after").c_str(),
                               Run<Before, After, After>);
}

// Objects and buffers are kept, nothing else is done well.
class KeepingCodec {
 public:
  std::string_view Encode(const sample::Imu& sample) {
    records::Fill(sample, &imu_);
    bytes_ = imu_.SerializeAsString();
    return bytes_;
  }
  bool Decode(const std::string& bytes, sample::Rotate* sample) {
    const bool good = rotate_.ParseFromString(bytes);
    records::Read(rotate_, sample);
    return good;
  }

 private:
  sample::Rotate::M rotate_;
  sample::Imu::M imu_;
  std::string bytes_;
};

// Reads on an arena whose first block is the program's own and which is reset
// for each message.
class ArenaCodec {
 public:
  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    arena_.Reset();
    auto* message = pb::Arena::CreateMessage<typename Sample::M>(&arena_);
    if (!message->ParseFromString(bytes)) return false;
    records::Read(*message, sample);
    return true;
  }

 private:
  alignas(8) char block_[8192];
  pb::Arena arena_{block_, sizeof block_};
};

template <bool kInPlace>
class DataCodec {
 public:
  std::string_view Encode(const sample::Stream& sample) {
    const std::string_view data = sample.data;
    if constexpr (kInPlace) {
      message_.mutable_data()->assign(data.data(), data.size());
    } else {
      message_.set_data(data.data(), data.size());
    }
    return message_.data();
  }

 private:
  sample::Stream::M message_;
};

// What a message costs as a line of JSON.
class JsonCodec {
 public:
  std::string_view Encode(const sample::Imu& sample) {
    records::Fill(sample, &message_);
    json_.clear();
    const bool good = pb::util::MessageToJsonString(message_, &json_).ok();
    if (!good) throw std::runtime_error("no JSON");
    // It is the same message, in other bytes.
    return bytes_;
  }

 private:
  const std::string bytes_ = Canonical(sample::Timed<sample::Imu>());
  sample::Imu::M message_;
  std::string json_;
};

}  // namespace

int main(int argc, char** argv) {
  using namespace sample;
  using Recommended = RecommendedCodec;
  Register<Decoding<KeepingCodec, Rotate>, Decoding<Recommended, Rotate>>(
      "merge");
  Register<Decoding<NaiveCodec, Tracer>, Decoding<Recommended, Tracer>>("keep");
  Register<Encoding<KeepingCodec, Imu>, Encoding<Recommended, Imu>>("buffer");
  Register<Encoding<DataCodec<false>, Stream>,
           Encoding<DataCodec<true>, Stream>>("assign");
  Register<Decoding<NaiveCodec, Battery>, Decoding<ArenaCodec, Battery>>(
      "arena");
  Register<Decoding<Recommended, Battery>, Decoding<ArenaCodec, Battery>>(
      "arena-or-keep");
  Register<Decoding<NaiveCodec, Tracer>, Decoding<ArenaCodec, Tracer>>(
      "arena-repeated");
  Register<Encoding<JsonCodec, Imu>, Encoding<Recommended, Imu>>("json");
  return RunBenchmarks(argc, argv);
}
