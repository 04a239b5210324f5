// One way to turn samples into bytes and back, and the benchmarks of it.
//
// A codec is a class with, for every sample type S,
//   std::string_view Encode(const S& sample);
//   bool Decode(const std::string& bytes, S* sample);
// What either returns may refer to the codec and to `bytes` and holds until
// the next call. Decoding reads every field. Whatever a long-lived program
// would keep between two messages, the codec keeps.
#ifndef BENCH_CODEC_H_
#define BENCH_CODEC_H_

#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "samples.h"

// What the library writes, and what it reads; the latter holds until the next
// call.
template <typename Sample>
std::string Canonical(const Sample& sample);
template <typename Sample>
bool LibraryReads(const std::string& bytes, Sample* sample);

// The type URL of a rotate request in the envelope.
const std::string& RotateTypeUrl();

enum class Format { kProtobuf, kOther };

// Says what is wrong with a codec, or nothing. What is timed in the protobuf
// format has to be the library's very bytes. The other samples may differ in
// form, since some peers leave out an empty record or a negative zero: the
// library has to read them as the same message.
template <typename Codec, typename Sample>
std::string Fault(Format format) {
  Codec codec;
  // Twice, so that nothing of one message is left for the next.
  for (int round = 0; round < 2; ++round) {
    for (const Sample& sample : sample::Samples<Sample>()) {
      const std::string written(codec.Encode(sample));
      std::string canonical = Canonical(sample);
      if (format == Format::kProtobuf) {
        const bool timed = &sample == &sample::Samples<Sample>()[0];
        if (timed && written != canonical) return "writes other bytes";
        Sample read;
        if (!LibraryReads(written, &read) || !sample::Equal(read, sample)) {
          return "writes another message";
        }
      } else {
        canonical = written;
      }
      Sample read;
      if (!codec.Decode(canonical, &read)) return "fails to read a message";
      if (!sample::Equal(read, sample)) return "reads another message";
    }
  }
  return "";
}

template <typename Codec, typename Sample>
void EncodeBenchmark(benchmark::State& state, Format format) {
  const std::string fault = Fault<Codec, Sample>(format);
  if (!fault.empty()) return state.SkipWithError(fault.c_str());
  Codec codec;
  Sample sample = sample::Samples<Sample>()[0];
  size_t size = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&sample);
    benchmark::ClobberMemory();
    const std::string_view bytes = codec.Encode(sample);
    benchmark::DoNotOptimize(bytes.data());
    size = bytes.size();
  }
  state.counters["bytes"] = static_cast<double>(size);
}

template <typename Codec, typename Sample>
void DecodeBenchmark(benchmark::State& state, Format format) {
  const std::string fault = Fault<Codec, Sample>(format);
  if (!fault.empty()) return state.SkipWithError(fault.c_str());
  Codec codec;
  std::string bytes(codec.Encode(sample::Samples<Sample>()[0]));
  Sample read;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bytes.data());
    benchmark::ClobberMemory();
    bool good = codec.Decode(bytes, &read);
    benchmark::DoNotOptimize(good);
    benchmark::DoNotOptimize(&read);
  }
}

template <typename Codec, typename... Samples>
void RegisterFor(const std::string& codec, Format format) {
  (benchmark::RegisterBenchmark(
       ("encode/" + std::string(sample::kName<Samples>) + "/" + codec).c_str(),
       EncodeBenchmark<Codec, Samples>, format),
   ...);
  (benchmark::RegisterBenchmark(
       ("decode/" + std::string(sample::kName<Samples>) + "/" + codec).c_str(),
       DecodeBenchmark<Codec, Samples>, format),
   ...);
}

// Registers encode/<message>/<codec> and decode/<message>/<codec>.
template <typename Codec>
void Register(const std::string& codec, Format format = Format::kProtobuf) {
  RegisterFor<Codec, sample::Envelope, sample::Rotate, sample::Imu,
              sample::HardSync, sample::Battery, sample::Tracer,
              sample::Stream>(codec, format);
}

// What the programs below offer; codec_bench.cc calls them all.
void RegisterLibrary();
void RegisterProtozero();
void RegisterNanopb();
void RegisterProtobufC();
void RegisterFlatBuffers();
void RegisterHandWritten();

#endif  // BENCH_CODEC_H_
