// Loading the library, which a process does once: one process, one figure of
// each kind. ZORVIKPBPROTO_LIBRARY names the file to load.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

// The sum of a figure of the kernel's over the mappings of this file, or over
// all of them.
double Bytes(const std::string& figure, const std::string& path = "") {
  std::ifstream file("/proc/self/smaps");
  double kilobytes = 0;
  bool counts = false;
  for (std::string line; std::getline(file, line);) {
    if (line.find('-') < line.find(' ')) {
      counts = line.size() > path.size() &&
               line.compare(line.size() - path.size(), path.size(), path) == 0;
    } else if (counts && line.rfind(figure + ":", 0) == 0) {
      kilobytes += std::stod(line.substr(figure.size() + 1));
    }
  }
  return kilobytes * 1024;
}

template <typename Work>
double Seconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double> time =
      std::chrono::steady_clock::now() - start;
  return time.count();
}

void Load(benchmark::State& state, const std::string& path) {
  for (auto _ : state) {
    void* library = nullptr;
    const double before = Bytes("Private_Dirty");
    state.SetIterationTime(Seconds(
        [&] { library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }));
    if (library == nullptr) return state.SkipWithError(dlerror());
    state.counters["private"] = Bytes("Private_Dirty") - before;
    state.counters["resident"] = Bytes("Rss", path);
  }
}

void UseFirstDescriptor(benchmark::State& state, const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return state.SkipWithError("not loaded");
  const auto descriptor = reinterpret_cast<const void* (*)()>(
      dlsym(library, "_ZN6zorvik7channel27channelTopicType_descriptorEv"));
  if (descriptor == nullptr) return state.SkipWithError("no such function");
  for (auto _ : state) {
    state.SetIterationTime(
        Seconds([&] { benchmark::DoNotOptimize(descriptor()); }));
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const char* path = std::getenv("ZORVIKPBPROTO_LIBRARY");
  if (path == nullptr) throw std::runtime_error("ZORVIKPBPROTO_LIBRARY?");
  benchmark::AddCustomContext("library", path);
  for (auto* one : {benchmark::RegisterBenchmark("load/dlopen", Load, path),
                    benchmark::RegisterBenchmark("load/first_descriptor",
                                                 UseFirstDescriptor, path)}) {
    one->Iterations(1)->UseManualTime();
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
