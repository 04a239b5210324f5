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

// Bytes of the whole process that are its own: written, not shared with others.
double PrivateDirtyBytes() {
  std::ifstream file("/proc/self/smaps_rollup");
  std::string key;
  double kilobytes;
  while (file >> key) {
    if (key == "Private_Dirty:" && file >> kilobytes) return kilobytes * 1024;
  }
  throw std::runtime_error("the kernel does not tell the private memory");
}

// Bytes of the file's mappings that are resident.
double ResidentBytes(const std::string& path) {
  std::ifstream file("/proc/self/smaps");
  std::string line;
  double bytes = 0;
  bool ours = false;
  while (std::getline(file, line)) {
    if (line.find('-') < line.find(' ')) {
      ours = line.size() > path.size() &&
             line.compare(line.size() - path.size(), path.size(), path) == 0;
    } else if (ours && line.rfind("Rss:", 0) == 0) {
      bytes += std::stod(line.substr(4)) * 1024;
    }
  }
  return bytes;
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
    const double before = PrivateDirtyBytes();
    state.SetIterationTime(Seconds(
        [&] { library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }));
    if (library == nullptr) return state.SkipWithError(dlerror());
    state.counters["private"] = PrivateDirtyBytes() - before;
    state.counters["resident"] = ResidentBytes(path);
  }
}

void UseFirstDescriptor(benchmark::State& state, const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return state.SkipWithError("not loaded");
  const auto descriptor = reinterpret_cast<const void* (*)()>(
      dlsym(library, "_ZN6zorvik7channel27channelTopicType_descriptorEv"));
  if (descriptor == nullptr) return state.SkipWithError("no such function");
  for (auto _ : state) {
    const double before = PrivateDirtyBytes();
    state.SetIterationTime(
        Seconds([&] { benchmark::DoNotOptimize(descriptor()); }));
    state.counters["private"] = PrivateDirtyBytes() - before;
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const char* path = std::getenv("ZORVIKPBPROTO_LIBRARY");
  if (path == nullptr) throw std::runtime_error("ZORVIKPBPROTO_LIBRARY?");
  benchmark::AddCustomContext("library", path);
  benchmark::RegisterBenchmark("load/dlopen", Load, path)
      ->Iterations(1)
      ->UseManualTime();
  benchmark::RegisterBenchmark("load/first_descriptor", UseFirstDescriptor,
                               path)
      ->Iterations(1)
      ->UseManualTime();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
