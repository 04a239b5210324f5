// Encoding and decoding: the library in two forms of use, its peers, and a copy
// of the encoded bytes. The library path decides which library is measured.
#include <cstring>

#include "codec.h"

namespace {

template <typename Sample>
void CopyBenchmark(benchmark::State& state) {
  const std::string bytes = Canonical(sample::Timed<Sample>());
  std::string copy(bytes.size(), '\0');
  size_t size = bytes.size();
  for (auto _ : state) {
    benchmark::DoNotOptimize(size);
    std::memcpy(copy.data(), bytes.data(), size);
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  if (copy != bytes) state.SkipWithError("nothing was copied");
}

}  // namespace

int main(int argc, char** argv) {
  Register<NaiveCodec>();
  Register<RecommendedCodec>();
  RegisterOne<TopicsCodec, sample::Envelope>("channelTopicMessage");
  RegisterProtozero();
  RegisterNanopb();
  RegisterAll([](auto sample, const std::string& message) {
    benchmark::RegisterBenchmark(("copy/" + message + "/copy").c_str(),
                                 CopyBenchmark<decltype(sample)>);
  });
  return RunBenchmarks(argc, argv);
}
