// One plug-in front as a host drives it, whatever its format: started at a
// rate and block size, fed blocks with changes of the five parameters (and a
// program, where the format has one), read back, its state saved and loaded
// through a host's stream, its tail and its editor's size. The conformance
// suite runs every case through each front that has the feature, and the
// platform renderers play one fixed stream through them. No test framework
// here: the renderers are built for Windows too.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace korro::test {

// A point of this id chooses program round(value × 7) for the whole block.
inline constexpr std::uint32_t kProgramPoint = 1000;

struct Point {
  std::int32_t offset;
  std::uint32_t id;
  double value;
};
struct Block {
  std::int32_t frames;
  std::vector<Point> points;
};

// A host's stream in memory: at most `chunk` bytes a call, and calls fail from byte `failAt` on.
struct HostStream {
  std::vector<unsigned char> bytes;
  std::size_t pos = 0;
  std::size_t chunk = SIZE_MAX;
  std::size_t failAt = SIZE_MAX;
  // Bytes moved, or -1 when the stream fails.
  std::int64_t read(void* data, std::size_t size);
  std::int64_t write(const void* data, std::size_t size);
};

class Front {
 public:
  struct Features {
    bool programs = false, values = false, state = false, tail = false, editor = false;
    int maxPoints = 1 << 30;  // changes a block keeps exactly; beyond, each parameter's last one
    bool reset = true;  // a reset sounds as a fresh start
  };
  virtual ~Front() = default;
  // Activates (again, when active) at this rate and largest block; a mono input where the format takes one.
  virtual bool start(double rate, std::int32_t maxBlock, bool monoInput = false) = 0;
  // The format's restart of a running effect.
  virtual void reset() = 0;
  // One block; a null channel is one the host left unconnected.
  virtual bool process(float* const* in, float* const* out, std::int32_t frames, const std::vector<Point>& points) = 0;
  // A parameter's value as the host reads it back.
  virtual double value(std::uint32_t) { return -1.0; }
  virtual bool save(HostStream&) { return false; }
  virtual bool load(HostStream&) { return false; }
  virtual std::uint32_t tail() { return 0; }
  // The editor's size when the host gives it this scale.
  virtual std::pair<int, int> editorSize(double) { return {0, 0}; }
  // The value the effect gets when the host sends `value`: what the format can express.
  virtual double expressed(std::uint32_t, double value) { return value; }
  // Times the host was told that the tail changed; -1 where the format tells nothing.
  virtual int tailChangesTold() { return -1; }

  Features features;
};

// In time order, as hosts send them; stable, and without the allocation std::stable_sort makes.
inline void sortByOffset(std::vector<Point>& points) {
  for (std::size_t i = 1; i < points.size(); ++i)
    for (std::size_t j = i; j > 0 && points[j].offset < points[j - 1].offset; --j) std::swap(points[j], points[j - 1]);
}

// A block run in pieces that end at its changes, as a host of a format without
// sample-accurate events does: run(from, to) for each piece, apply(point) at its
// offset. `changes` is the caller's scratch, so a block allocates nothing.
template <typename Run, typename Apply>
void splitAtChanges(std::vector<Point>& changes, const std::vector<Point>& points, std::int32_t frames, Run run,
                    Apply apply) {
  changes.clear();
  for (const Point& p : points)
    if (p.id < 5) changes.push_back(p);
  sortByOffset(changes);
  std::int32_t done = 0;
  auto runTo = [&](std::int32_t t) {
    if (t <= done) return;
    run(done, t);
    done = t;
  };
  for (const Point& p : changes) {
    runTo(std::clamp(p.offset, 0, frames));
    apply(p);
  }
  runTo(frames);
}

std::unique_ptr<Front> makeVst2Front(const char* module);
std::unique_ptr<Front> makeLv2Front(const char* binary, const char* bundle);
std::unique_ptr<Front> makeClapFront(const char* plugin);
std::unique_ptr<Front> makeVst3Front(const char* binary);
// An LV2 front's control port, as the host reads and writes it between runs.
float& lv2Port(Front& lv2, std::uint32_t port);

// The platform renderers' stream: odd block lengths, changes at odd offsets,
// and now and then a program inside a block. The same numbers on every
// platform: no library generator.
struct ScriptedBlock {
  Block block;
  std::vector<float> in[2];
};
inline std::vector<ScriptedBlock> platformScript(int count, bool programs) {
  std::uint32_t r = 12345, noise = 12345;
  auto next = [](std::uint32_t& s) { return s = s * 1664525u + 1013904223u; };
  auto sample = [&] { return static_cast<float>(static_cast<std::int32_t>(next(noise)) >> 8) / 8388608.0f * 0.8f; };
  const std::int32_t lengths[] = {512, 333, 64, 512, 1, 257};
  std::vector<ScriptedBlock> blocks;
  for (int b = 0; b < count; ++b) {
    ScriptedBlock s{{lengths[b % 6], {}}, {}};
    Block& block = s.block;
    if (b % 4 == 1) {
      const auto t = static_cast<std::int32_t>(next(r) % static_cast<std::uint32_t>(block.frames));
      const std::uint32_t id = next(r) % 5;
      block.points.push_back({t, id, (next(r) % 1001) / 1000.0});
      block.points.push_back({t + (block.frames - t) / 2, 1, (next(r) % 1001) / 1000.0});
    }
    if (programs && b % 25 == 12) block.points.push_back({block.frames / 2, kProgramPoint, (b / 25 + 3) % 8 / 7.0});
    for (std::int32_t i = 0; i < block.frames; ++i) {
      s.in[0].push_back(sample());
      s.in[1].push_back(sample() * 0.5f);
    }
    blocks.push_back(std::move(s));
  }
  return blocks;
}

}  // namespace korro::test
