// Encoding and decoding: the library in two forms of use, its peers, and the
// limits. One program for the library and the stock build: which of them it
// measures is a matter of the library path, and it says which it found.
#include <cstring>

#include "codec.h"
#include "library_path.h"

namespace {

template <typename Sample>
void CopyBenchmark(benchmark::State& state) {
  const std::string bytes = Canonical(sample::Samples<Sample>()[0]);
  std::string copy(bytes.size(), '\0');
  size_t size = bytes.size();
  for (auto _ : state) {
    benchmark::DoNotOptimize(size);
    std::memcpy(copy.data(), bytes.data(), size);
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  if (copy != bytes) state.SkipWithError("copies other bytes");
}

template <typename... Samples>
void RegisterCopies() {
  for (const char* direction : {"encode/", "decode/"}) {
    (benchmark::RegisterBenchmark(
         (std::string(direction) + sample::kName<Samples> + "/copy").c_str(),
         CopyBenchmark<Samples>),
     ...);
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::AddCustomContext("library", LibraryPath());
  RegisterLibrary();
  RegisterProtozero();
  RegisterNanopb();
  RegisterProtobufC();
  RegisterFlatBuffers();
  RegisterHandWritten();
  RegisterCopies<sample::Envelope, sample::Rotate, sample::Imu,
                 sample::HardSync, sample::Battery, sample::Tracer,
                 sample::Stream>();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
