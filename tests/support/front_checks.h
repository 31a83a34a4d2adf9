// What the CLAP and VST3 front tests share: scripted renders through the VST 2
// module to compare with, the state streams a front must refuse, and how long
// a render really rings.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "support/module_fixture.h"
#include "support/stereo_buffer.h"

namespace korro::test {

// The factory programs' names, as a host lists them.
inline const char* const kProgramNames[] = {"Basic Spring",      "Short Spring",        "Typical Spring",
                                            "Long spring",       "FenderTwin Reverb",   "Vocal insert medium",
                                            "Singing in the bathroom", "Lo-Fi Drums"};

// Noise with silent stretches, the right channel at half level.
inline StereoBuffer testInput(int frames, unsigned seed = 5) {
  StereoBuffer in(frames);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-0.8f, 0.8f);
  for (int i = 0; i < frames; ++i) {
    const bool on = (i / 3000) % 3 != 2;
    in.left[i] = on ? u(rng) : 0.0f;
    in.right[i] = on ? u(rng) * 0.5f : 0.0f;
  }
  return in;
}

struct Point {
  std::int32_t offset;
  std::uint32_t id;
  double value;
};
struct Block {
  std::int32_t frames;
  std::vector<Point> points;  // a program's point may sit at any offset: it takes the whole block
};

inline int totalFrames(const std::vector<Block>& script) {
  int n = 0;
  for (const Block& b : script) n += b.frames;
  return n;
}

inline std::ptrdiff_t firstDifference(const StereoBuffer& a, const StereoBuffer& b) {
  const auto l = std::mismatch(a.left.begin(), a.left.end(), b.left.begin()).first - a.left.begin();
  const auto r = std::mismatch(a.right.begin(), a.right.end(), b.right.begin()).first - a.right.begin();
  return std::min(l, r);
}

// Blocks of one length, with a change of one parameter at the start of some.
inline std::vector<Block> evenBlocks(std::int32_t length, int frames) {
  std::vector<Block> script;
  const Point changes[] = {{0, 1, 0.8}, {0, 2, 0.6}, {0, 4, 0.9}, {0, 3, 0.7}, {0, 0, 0.0}, {0, 0, 1.0}};
  for (int pos = 0, b = 0; pos < frames; pos += length, ++b) {
    Block block{std::min(length, frames - pos), {}};
    if (b % 7 == 3) block.points.push_back(changes[(b / 7) % 6]);
    script.push_back(block);
  }
  return script;
}

// Blocks of 512, four changes each at random offsets (queues of different
// parameters interleave); now and then one at the last frame, one past the
// end and one of no parameter. In time order, as hosts send them.
inline std::vector<Block> oddOffsetBlocks() {
  std::mt19937 rng(3);
  std::uniform_int_distribution<std::int32_t> at(0, 511);
  std::uniform_real_distribution<double> value(0, 1);
  std::vector<Block> script(60, Block{512, {}});
  for (std::size_t b = 0; b < script.size(); ++b) {
    std::vector<Point>& points = script[b].points;
    for (int k = 0; k < 4; ++k) points.push_back({at(rng), static_cast<std::uint32_t>(rng() % 5), value(rng)});
    if (b % 10 == 4) points.push_back({511, 1, 0.95});
    if (b % 10 == 7) points.push_back({9999, 2, 0.3});
    if (b % 10 == 8) points.push_back({100, 77, 0.3});
    std::stable_sort(points.begin(), points.end(), [](const Point& x, const Point& y) { return x.offset < y.offset; });
  }
  return script;
}

// One block of `count` changes spread evenly over it, the five parameters in
// turn (Bypass only ever 0 or 1), in offset order.
inline Block denseBlock(int count, std::int32_t frames) {
  Block b{frames, {}};
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> value(0, 1);
  for (int k = 0; k < count; ++k) {
    const auto id = static_cast<std::uint32_t>(k % 5);
    const double v = id == 0 ? static_cast<double>(k / 5 % 2) : value(rng);
    b.points.push_back({static_cast<std::int32_t>(std::int64_t{k} * frames / count), id, v});
  }
  return b;
}

// The last value each parameter takes in a block.
inline std::vector<double> lastValues(const Block& b) {
  std::vector<double> last(5, -1.0);
  for (const Point& p : b.points)
    if (p.id < 5) last[p.id] = p.value;
  return last;
}

// The VST 2 module fed each block in pieces split at its changes; a point of
// `programId` (k/7 for program k) chosen before the block that carries it.
inline StereoBuffer renderVst(float rate, std::int32_t maxBlock, const std::vector<Block>& script, StereoBuffer& in,
                              bool mono = false, std::uint32_t programId = UINT32_MAX) {
  host::Host h;
  host::Plugin vst(builtModule(), h);
  vst.start(rate, maxBlock);
  StereoBuffer out(totalFrames(script));
  int pos = 0;
  long program = 0;
  for (const Block& b : script) {
    // A program is a choice when it differs: automation repeats its value.
    for (const Point& p : b.points)
      if (p.id == programId && std::lround(p.value * 7) != program)
        vst.dispatch(effSetProgram, 0, program = std::lround(p.value * 7));
    std::vector<Point> points;
    for (const Point& p : b.points)
      if (p.id < 5) points.push_back(p);
    std::stable_sort(points.begin(), points.end(), [](const Point& x, const Point& y) { return x.offset < y.offset; });
    int done = 0;
    auto runTo = [&](int t) {
      if (t <= done) return;
      float* i[2] = {in.left.data() + pos + done, (mono ? in.left : in.right).data() + pos + done};
      float* o[2] = {out.left.data() + pos + done, out.right.data() + pos + done};
      vst.processReplacing(i, o, t - done);
      done = t;
    };
    for (const Point& p : points) {
      runTo(std::clamp(p.offset, 0, b.frames));
      vst.setParameter(static_cast<std::int32_t>(p.id), static_cast<float>(p.value));
    }
    runTo(b.frames);
    pos += b.frames;
  }
  return out;
}

struct BadState {
  std::vector<unsigned char> bytes;
  std::size_t failAt;  // the position from which the host's stream fails
  const char* what;
};

// Streams made from a good one that a front must refuse with nothing changed.
inline std::vector<BadState> badStates(const std::vector<unsigned char>& good) {
  std::vector<BadState> bad;
  for (std::size_t n : {std::size_t{0}, std::size_t{3}, std::size_t{11}, std::size_t{12}, std::size_t{200},
                        good.size() - 1})
    bad.push_back({{good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n)}, SIZE_MAX, "truncated"});
  bad.push_back({good, 100, "a stream that fails midway"});
  auto changed = [&](std::size_t at, unsigned char v, const char* what) {
    BadState b{good, SIZE_MAX, what};
    b.bytes[at] = v;
    bad.push_back(b);
  };
  changed(0, 'X', "unknown magic");
  changed(4, 2, "unknown version");
  changed(8, 0xd7, "another length");
  changed(12, 8, "program number out of range");
  BadState nan{good, SIZE_MAX, "a value that is not finite"};
  const float notFinite = NAN;
  std::memcpy(nan.bytes.data() + 12 + 4 + 20 + 56 * 3 + 8, &notFinite, 4);  // program 3's Damp
  bad.push_back(nan);
  BadState garbage{std::vector<unsigned char>(600), SIZE_MAX, "garbage"};
  std::mt19937 rng(1);
  for (auto& c : garbage.bytes) c = static_cast<unsigned char>(rng());
  bad.push_back(garbage);
  return bad;
}

}  // namespace korro::test
