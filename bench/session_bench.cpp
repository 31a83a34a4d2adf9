// A session rather than one instance: N instances of the built module, each
// taking every block in turn as a mixer's inserts do, each with its own track
// buffers. Reports time per instance-frame, last-level-cache misses per
// instance-frame where the kernel gives the counter, and the resident memory
// each instance adds once resume has touched all of it.
#include <benchmark/benchmark.h>
#include <linux/perf_event.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#include "built_module.h"

namespace {

using korro::host::Host;
using korro::host::Plugin;

long residentPages() {
  long size = 0, resident = 0;
  if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld %ld", &size, &resident) != 2) resident = 0;
    std::fclose(f);
  }
  return resident;
}

// This thread's last-level-cache misses; absent when the kernel or the
// machine (a virtual one, often) does not count them.
class LlcMisses {
 public:
  LlcMisses() {
    perf_event_attr a{};
    a.type = PERF_TYPE_HARDWARE;
    a.size = sizeof a;
    a.config = PERF_COUNT_HW_CACHE_MISSES;
    a.disabled = 1;
    a.exclude_kernel = 1;
    a.exclude_hv = 1;
    fd_ = static_cast<int>(syscall(SYS_perf_event_open, &a, 0, -1, -1, 0));
  }
  ~LlcMisses() {
    if (fd_ >= 0) close(fd_);
  }
  LlcMisses(const LlcMisses&) = delete;
  LlcMisses& operator=(const LlcMisses&) = delete;

  bool available() const { return fd_ >= 0; }
  void start() {
    if (fd_ < 0) return;
    ioctl(fd_, PERF_EVENT_IOC_RESET, 0);
    ioctl(fd_, PERF_EVENT_IOC_ENABLE, 0);
  }
  // Misses since start; negative when the count could not be read.
  long long stop() {
    if (fd_ < 0) return -1;
    ioctl(fd_, PERF_EVENT_IOC_DISABLE, 0);
    long long n = 0;
    return read(fd_, &n, sizeof n) == static_cast<ssize_t>(sizeof n) ? n : -1;
  }

 private:
  int fd_ = -1;
};

struct Track {
  Track(int frames, unsigned seed) : inL(frames), inR(frames), outL(frames), outR(frames) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    for (int i = 0; i < frames; ++i) inL[i] = u(rng), inR[i] = u(rng);
  }
  std::vector<float> inL, inR, outL, outR;
  float* in[2] = {inL.data(), inR.data()};
  float* out[2] = {outL.data(), outR.data()};
};

// Arguments: instances, host rate, block.
void session(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const float rate = static_cast<float>(state.range(1));
  const int block = static_cast<int>(state.range(2));
  if (!korro::bench::builtModule().loaded()) {
    state.SkipWithError("the module did not load");
    return;
  }
  // Freed blocks of earlier runs go back to the system, so the resident
  // growth below is this run's own.
  mallopt(M_MMAP_THRESHOLD, 64 * 1024);
  mallopt(M_TRIM_THRESHOLD, 64 * 1024);
  Host host;
  std::vector<Track> tracks;
  tracks.reserve(count);
  for (int i = 0; i < count; ++i) tracks.emplace_back(block, 1 + i);
  std::vector<std::unique_ptr<Plugin>> plugins;
  plugins.reserve(count);

  malloc_trim(0);
  const long before = residentPages();
  for (int i = 0; i < count; ++i) {
    plugins.push_back(std::make_unique<Plugin>(korro::bench::builtModule(), host));
    plugins.back()->start(rate, block);
  }
  const long after = residentPages();

  LlcMisses misses;
  misses.start();
  for (auto _ : state) {
    for (int i = 0; i < count; ++i) plugins[i]->processReplacing(tracks[i].in, tracks[i].out, block);
    benchmark::ClobberMemory();
  }
  const long long missed = misses.stop();
  const double frames = static_cast<double>(state.iterations()) * count * block;
  state.counters["time_per_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  if (missed >= 0)
    state.counters["llc_misses_per_frame"] = static_cast<double>(missed) / frames;
  else
    state.SetLabel("llc misses: not available");
  state.counters["KiB_per_instance"] =
      static_cast<double>(after - before) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024.0 / count;
}
BENCHMARK(session)->ArgNames({"n", "rate", "block"})->ArgsProduct({{1, 8, 32, 64, 128}, {44100}, {512}});

}  // namespace
