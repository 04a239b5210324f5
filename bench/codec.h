// One way to turn samples into bytes and back, and the benchmarks of it.
//
// A codec is a class with its name, kName, and for every sample type S,
//   std::string_view Encode(const S& sample);
//   bool Decode(const std::string& bytes, S* sample);
// What either returns may refer to the codec and to `bytes` and holds until
// the next call. Decoding reads every field. Whatever a long-lived program
// would keep between two messages, the codec keeps.
#ifndef BENCH_CODEC_H_
#define BENCH_CODEC_H_

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <link.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "library_codec.h"

// What the library writes, without any of the ways to do it faster.
template <typename Sample>
std::string Canonical(const Sample& sample) {
  return std::string(NaiveCodec().Encode(sample));
}

// Zeros of either sign differ.
template <typename Sample>
bool Same(const Sample& a, const Sample& b) {
  return Canonical(a) == Canonical(b);
}

// Says what is wrong with a codec, or nothing. What is timed has to be the
// library's very bytes. The other samples may differ in form, since protozero
// leaves out an empty record: the library has to read them as the same message.
template <typename Codec, typename Sample>
std::string Fault() {
  // Twice, and apart, so that nothing of one message is left for the next.
  Codec writer, reader;
  Sample read;
  for (int round = 0; round < 2; ++round) {
    for (const Sample& sample : sample::Samples<Sample>()) {
      const std::string written(writer.Encode(sample));
      const std::string canonical = Canonical(sample);
      const bool timed = &sample == &sample::Samples<Sample>()[0];
      if (timed && written != canonical) return "writes other bytes";
      NaiveCodec library;
      Sample library_read;
      if (!library.Decode(written, &library_read) ||
          !Same(library_read, sample)) {
        return "writes another message";
      }
      if (!reader.Decode(canonical, &read)) return "fails to read a message";
      if (!Same(read, sample)) return "reads another message";
    }
  }
  return "";
}

template <typename Codec, typename Sample>
void EncodeBenchmark(benchmark::State& state) {
  const std::string fault = Fault<Codec, Sample>();
  if (!fault.empty()) return state.SkipWithError(fault.c_str());
  Codec codec;
  Sample sample = sample::Timed<Sample>();
  std::string_view bytes;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&sample);
    benchmark::ClobberMemory();
    bytes = codec.Encode(sample);
    benchmark::DoNotOptimize(bytes.data());
  }
  if (bytes != Canonical(sample)) state.SkipWithError("nothing was encoded");
  state.counters["bytes"] = static_cast<double>(bytes.size());
}

template <typename Codec, typename Sample>
void DecodeBenchmark(benchmark::State& state) {
  const std::string fault = Fault<Codec, Sample>();
  if (!fault.empty()) return state.SkipWithError(fault.c_str());
  Codec codec;
  const std::string bytes = Canonical(sample::Timed<Sample>());
  Sample read;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bytes.data());
    benchmark::ClobberMemory();
    bool good = codec.Decode(bytes, &read);
    benchmark::DoNotOptimize(good);
    benchmark::DoNotOptimize(&read);
  }
  if (!Same(read, sample::Timed<Sample>())) {
    state.SkipWithError("nothing was decoded");
  }
}

// Calls registration(sample, name of the message) for each type of sample.
template <typename Registration>
void RegisterAll(Registration registration) {
  std::apply(
      [&](auto... samples) {
        (registration(samples, decltype(samples)::M::descriptor()->name()),
         ...);
      },
      sample::All());
}

// Registers encode/<message>/<codec> and decode/<message>/<codec>.
template <typename Codec, typename Sample>
void RegisterOne(const std::string& message) {
  const std::string name = "/" + message + "/" + Codec::kName;
  benchmark::RegisterBenchmark(("encode" + name).c_str(),
                               EncodeBenchmark<Codec, Sample>);
  benchmark::RegisterBenchmark(("decode" + name).c_str(),
                               DecodeBenchmark<Codec, Sample>);
}
template <typename Codec>
void Register() {
  RegisterAll([](auto sample, const std::string& message) {
    RegisterOne<Codec, decltype(sample)>(message);
  });
}

// Runs what is registered, and says which of the libraries of one soname this
// process has loaded.
inline int RunBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  void* library = dlopen("libZorvikPBProto.so.2", RTLD_NOW | RTLD_NOLOAD);
  link_map* map = nullptr;
  if (library == nullptr || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
    throw std::runtime_error(dlerror());
  }
  benchmark::AddCustomContext("library", map->l_name);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

void RegisterProtozero();
void RegisterNanopb();

#endif  // BENCH_CODEC_H_
