// What every front owes a host, run through each front that has the feature:
// the VST 2 module's samples for the same pieces and changes, values read back
// as the module reads them, states that survive any host stream and refuse
// what is not a state, the tail, the editor's size, and hostile hosts. The
// module itself is checked against the plain engine (ModuleVsPlainEngine,
// BlockFrame) and its editor sizes against the documented ones (ScaledEditor).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "fronts/front.h"
#include "lv2/ports.h"
#include "shell/tail.h"
#include "support/alloc_counter.h"
#include "support/stereo_buffer.h"

namespace korro::test {
namespace {

enum class Format { kVst2, kLv2, kClap, kVst3 };

std::unique_ptr<Front> make(Format f) {
  switch (f) {
    case Format::kVst2: return makeVst2Front(KORRO_MODULE_PATH);
    case Format::kLv2: return makeLv2Front(KORRO_LV2_BINARY, KORRO_LV2_BUNDLE);
    case Format::kClap: return makeClapFront(KORRO_CLAP_PATH);
    case Format::kVst3: return makeVst3Front(KORRO_VST3_PATH);
  }
  return nullptr;
}

// The fronts with a feature, the module itself left out: it is what they are compared with.
std::vector<Format> frontsWith(bool Front::Features::*feature) {
  std::vector<Format> out;
  for (Format f : {Format::kLv2, Format::kClap, Format::kVst3})
    if (!feature || make(f)->features.*feature) out.push_back(f);
  return out;
}
std::string nameOf(const ::testing::TestParamInfo<Format>& i) {
  const char* names[] = {"Vst2", "Lv2", "Clap", "Vst3"};
  return names[static_cast<int>(i.param)];
}

// Noise with silent stretches, the right channel at half level.
StereoBuffer testInput(int frames, unsigned seed = 5) {
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

int totalFrames(const std::vector<Block>& script) {
  int n = 0;
  for (const Block& b : script) n += b.frames;
  return n;
}

// Frames equal bit for bit (NaN too) before the first that differs.
std::ptrdiff_t firstDifference(const StereoBuffer& a, const StereoBuffer& b) {
  auto same = [](float x, float y) { return std::memcmp(&x, &y, sizeof x) == 0; };
  const auto l = std::mismatch(a.left.begin(), a.left.end(), b.left.begin(), same).first - a.left.begin();
  const auto r = std::mismatch(a.right.begin(), a.right.end(), b.right.begin(), same).first - a.right.begin();
  return std::min(l, r);
}

// Blocks of one length, with a change of one parameter at the start of some.
std::vector<Block> evenBlocks(std::int32_t length, int frames) {
  std::vector<Block> script;
  const Point changes[] = {{0, 1, 0.8}, {0, 2, 0.6}, {0, 4, 0.9}, {0, 3, 0.7}, {0, 0, 0.0}, {0, 0, 1.0}};
  for (int pos = 0, b = 0; pos < frames; pos += length, ++b) {
    Block block{std::min(length, frames - pos), {}};
    if (b % 7 == 3) block.points.push_back(changes[(b / 7) % 6]);
    script.push_back(block);
  }
  return script;
}

// One block of `count` changes spread evenly over it, the five parameters in
// turn (Bypass only ever 0 or 1), in offset order.
Block denseBlock(int count, std::int32_t frames) {
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

// The script played through a front; a mono input is the left channel on both.
StereoBuffer render(Front& f, const std::vector<Block>& script, StereoBuffer& in, bool mono = false) {
  StereoBuffer out(totalFrames(script));
  int pos = 0;
  for (const Block& b : script) {
    float* i[2] = {in.left.data() + pos, (mono ? in.left : in.right).data() + pos};
    float* o[2] = {out.left.data() + pos, out.right.data() + pos};
    EXPECT_TRUE(f.process(i, o, b.frames, b.points));
    pos += b.frames;
  }
  return out;
}
StereoBuffer render(Format format, double rate, std::int32_t maxBlock, const std::vector<Block>& script,
                    StereoBuffer& in, bool mono = false) {
  auto f = make(format);
  EXPECT_TRUE(f->start(rate, maxBlock, mono));
  return render(*f, script, in, mono);
}
// The module fed the values the front's format can express.
std::vector<Block> expressedBy(Front& f, std::vector<Block> script) {
  for (Block& b : script)
    for (Point& p : b.points) p.value = f.expressed(p.id, p.value);
  return script;
}

class Conformance : public ::testing::TestWithParam<Format> {
 protected:
  std::unique_ptr<Front> front() { return make(GetParam()); }
  bool has(bool Front::Features::*feature) { return make(GetParam())->features.*feature; }
  StereoBuffer module(double rate, std::int32_t maxBlock, const std::vector<Block>& script, StereoBuffer& in,
                      bool mono = false) {
    return render(Format::kVst2, rate, maxBlock, expressedBy(*front(), script), in, mono);
  }
};

// ---------------------------------------------------------------- samples

using Renders = Conformance;

TEST_P(Renders, LikeTheModuleAtEveryBlockLength) {
  for (double rate : {44100.0, 96000.0}) {
    for (std::int32_t block : {512, 64, 333, 1}) {
      SCOPED_TRACE(::testing::Message() << rate << " Hz, blocks of " << block);
      const int frames = block == 1 ? 3000 : 20000;
      StereoBuffer in = testInput(frames);
      const std::vector<Block> script = evenBlocks(block, frames);
      EXPECT_EQ(firstDifference(module(rate, block, script, in), render(GetParam(), rate, block, script, in)), frames);
    }
  }
}

// Blocks of 512, four changes each at random offsets (queues of different
// parameters interleave); now and then one at the last frame, one past the
// end, one of no parameter, and a program chosen inside a block.
TEST_P(Renders, ChangesInsideABlockSplitItAtTheirOffsets) {
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
  if (has(&Front::Features::programs)) {
    script[5].points.push_back({200, kProgramPoint, 3 / 7.0});
    script[20].points.insert(script[20].points.begin(), {255, kProgramPoint, 7 / 7.0});  // listed before the others
    script[30].points.push_back({17, kProgramPoint, 1 / 7.0});
    script[31].points.push_back({0, kProgramPoint, 1 / 7.0});  // the same again: nothing new
    script[38].points.push_back({10, kProgramPoint, 2 / 7.0});
    script[38].points.push_back({200, kProgramPoint, 5 / 7.0});  // the last point is the choice
    script[45].points.push_back({0, kProgramPoint, 0.0});
  }
  for (double rate : {44100.0, 96000.0}) {
    SCOPED_TRACE(rate);
    StereoBuffer in = testInput(totalFrames(script), 9);
    EXPECT_EQ(firstDifference(module(rate, 512, script, in), render(GetParam(), rate, 512, script, in)),
              totalFrames(script));
  }
}

// Up to the front's bound every change splits the block; beyond it changes
// may be thinned, but every parameter ends at its last one.
TEST_P(Renders, EveryChangeOfADenseBlockUpToTheBoundAndEachLastOneBeyond) {
  for (int count : {1024, 3000}) {
    SCOPED_TRACE(count);
    const std::vector<Block> script = {denseBlock(count, 4096), {4096, {}}};
    StereoBuffer in = testInput(8192);
    auto f = front();
    ASSERT_TRUE(f->start(44100, 4096));
    const StereoBuffer out = render(*f, script, in);
    if (count <= f->features.maxPoints) {
      EXPECT_EQ(firstDifference(module(44100, 4096, script, in), out), 8192);
    } else {
      // Each parameter at its last point, also one point among thousands of others'.
      for (std::uint32_t i = 0; i < 5; ++i)
        EXPECT_EQ(f->value(i), static_cast<float>(script[0].points[count - 5 + i].value)) << i;
      Block lone{4096, {{7, 4, 0.125}}};
      for (int k = 0; k < 3000; ++k) lone.points.push_back({k, static_cast<std::uint32_t>(1 + k % 3), k / 4096.0});
      render(*f, {lone}, in);
      EXPECT_EQ(f->value(4), 0.125);
      EXPECT_EQ(f->value(3), static_cast<float>(2999 / 4096.0));
    }
  }
}

// The changes apply, nothing is written, and the next block sounds as the module's.
TEST_P(Renders, AnEmptyBlockAppliesChangesOnly) {
  std::vector<Block> script = {{0, {{0, 1, 0.9}, {5, 3, 0.7}}}, {3000, {}}};
  if (has(&Front::Features::programs)) script[0].points.push_back({0, kProgramPoint, 2 / 7.0});
  const std::vector<Point> changes = script[0].points;
  StereoBuffer in = testInput(3000);
  auto f = front();
  ASSERT_TRUE(f->start(44100, 3000));
  StereoBuffer untouched(1, 7.0f);
  ASSERT_TRUE(f->process(in.channels(), untouched.channels(), 0, script[0].points));
  EXPECT_EQ(untouched.left[0], 7.0f) << "nothing written";
  script[0].points.clear();
  auto vst = make(Format::kVst2);
  vst->start(44100, 3000);
  vst->process(in.channels(), untouched.channels(), 0, changes);
  EXPECT_EQ(firstDifference(render(*vst, script, in), render(*f, script, in)), 3000);
}

TEST_P(Renders, AMonoInputFeedsBothChannelsAndBuffersMayBeShared) {
  const std::vector<Block> script = evenBlocks(300, 12000);
  StereoBuffer in = testInput(12000, 13);
  EXPECT_EQ(firstDifference(module(48000, 300, script, in, true), render(GetParam(), 48000, 300, script, in, true)),
            12000);
  // In place: the output overwrites the input it reads, as many hosts arrange it.
  const StereoBuffer stereo = module(48000, 300, script, in);
  auto f = front();
  ASSERT_TRUE(f->start(48000, 300));
  StereoBuffer io = in;
  int pos = 0;
  for (const Block& b : script) {
    float* ch[2] = {io.left.data() + pos, io.right.data() + pos};
    ASSERT_TRUE(f->process(ch, ch, b.frames, b.points));
    pos += b.frames;
  }
  EXPECT_EQ(firstDifference(io, stereo), 12000);
}

// Values outside [0, 1] or not finite, unknown ids, blocks longer than
// announced, non-finite samples: the module's samples, and its values read back.
TEST_P(Renders, HostileValuesAndSamplesLikeTheModule) {
  const std::vector<Block> script = {
      {700, {{0, 1, 0.3}, {0, 3, 0.8}}},
      {5001, {{3, 77, 0.5}, {9, 1, NAN}, {10, 3, 1e30}, {11, 2, -INFINITY}, {600, 4, 2.0}, {700, 0, 0.3}}},
      {400, {{0, 3, -500.0}, {0, 0, -1.0}, {0, 4, 0.35}, {5, 2, INFINITY}}},
      {700, {{0, 1, 0.83}, {0, 3, 0.25}, {0, 0, 1.0}}}};
  StereoBuffer in = testInput(6801);
  in.left[6300] = NAN;
  in.right[6310] = INFINITY;
  in.left[6320] = -INFINITY;
  auto f = front(), vst = make(Format::kVst2);
  ASSERT_TRUE(f->start(96000, 4096));
  vst->start(96000, 4096);
  StereoBuffer expected(6801), got(6801);
  int pos = 0;
  for (const Block& b : script) {
    SCOPED_TRACE(pos);
    StereoBuffer e(b.frames), g(b.frames);
    float* i[2] = {in.left.data() + pos, in.right.data() + pos};
    vst->process(i, e.channels(), b.frames, b.points);
    ASSERT_TRUE(f->process(i, g.channels(), b.frames, b.points));
    EXPECT_EQ(firstDifference(e, g), b.frames);
    if (f->features.values)
      for (std::uint32_t id = 0; id < 5; ++id) {
        const double v = f->value(id), expectedValue = vst->value(id);
        EXPECT_TRUE(v == expectedValue || (std::isnan(v) && std::isnan(expectedValue))) << id << ": " << v;
      }
    pos += b.frames;
  }
}

// Unconnected channels (null pointers) are survived; what is written is what
// the module writes or, for a bus the format cannot leave out, finite.
TEST_P(Renders, MissingChannelsAreSurvived) {
  StereoBuffer in = testInput(2048);
  auto f = front(), vst = make(Format::kVst2);
  ASSERT_TRUE(f->start(44100, 512));
  vst->start(44100, 512);
  const bool sides[][4] = {{1, 0, 1, 0}, {0, 1, 1, 1}, {0, 0, 0, 0}, {1, 1, 0, 1}, {0, 0, 1, 1}};
  int pos = 0;
  for (const auto& on : sides) {
    SCOPED_TRACE(&on - sides);
    StereoBuffer e(400, 0.5f), g(400, 0.5f);
    auto pick = [&](int c, float* p) { return on[c] ? p : nullptr; };
    float* i[2] = {pick(0, in.left.data() + pos), pick(1, in.right.data() + pos)};
    float* eo[2] = {pick(2, e.left.data()), pick(3, e.right.data())};
    float* go[2] = {pick(2, g.left.data()), pick(3, g.right.data())};
    vst->process(i, eo, 400, {});
    f->process(i, go, 400, {});
    for (int k = 0; k < 400; ++k) ASSERT_TRUE(std::isfinite(g.left[k]) && std::isfinite(g.right[k])) << k;
    if (GetParam() == Format::kLv2) {
      EXPECT_EQ(firstDifference(e, g), 400) << "LV2 passes its ports on";
    }
    pos += 400;
  }
}

TEST_P(Renders, ProcessingAndResetAllocateNothing) {
  auto f = front();
  ASSERT_TRUE(f->start(96000, 512));
  StereoBuffer in = testInput(512), out(512);
  std::vector<Point> points = {{0, 1, 0.9}, {100, 2, 0.5}, {200, 3, 0.7}};
  f->process(in.channels(), out.channels(), 512, points);
  AllocationWatch watch;
  for (int b = 0; b < 50; ++b) {
    points[0].value = b % 2 ? 0.2 : 0.9;  // the tail changes too
    f->process(in.channels(), out.channels(), 512, points);
    if (b == 20) f->reset();
  }
  EXPECT_EQ(watch.count(), 0);
}

INSTANTIATE_TEST_SUITE_P(Fronts, Renders, ::testing::ValuesIn(frontsWith(nullptr)), nameOf);

using Resets = Conformance;

TEST_P(Resets, SoundLikeAFreshStart) {
  auto used = front(), fresh = front();
  ASSERT_TRUE(used->start(96000, 256) && fresh->start(96000, 256));
  StereoBuffer warm = testInput(6000, 2);
  std::vector<Block> warmUp = evenBlocks(256, 6000);
  for (Block& b : warmUp) b.points.clear();  // the same settings as the fresh one
  render(*used, warmUp, warm);
  used->reset();
  // Odd blocks at half rate: the output reads one engine frame the tank has not written yet.
  StereoBuffer in1 = testInput(6000, 4), in2 = testInput(6000, 4);
  const std::vector<Block> script = evenBlocks(255, 6000);
  EXPECT_EQ(firstDifference(render(*used, script, in1), render(*fresh, script, in2)), 6000);
}

INSTANTIATE_TEST_SUITE_P(Fronts, Resets, ::testing::ValuesIn(frontsWith(&Front::Features::reset)), nameOf);

// ---------------------------------------------------------------- state

using States = Conformance;

std::vector<unsigned char> saved(Front& f, std::size_t chunk = SIZE_MAX) {
  HostStream s;
  s.chunk = chunk;
  EXPECT_TRUE(f.save(s));
  return s.bytes;
}

TEST_P(States, CarryEverythingAUserChangedToAnotherInstance) {
  auto a = front(), b = front();
  ASSERT_TRUE(a->start(48000, 256) && b->start(48000, 256));
  StereoBuffer in = testInput(256), out(256);
  a->process(in.channels(), out.channels(), 256, {{0, kProgramPoint, 5 / 7.0}, {0, 1, 0.83}, {10, 3, 0.61}, {20, 4, 0.4}});
  // Written and read a few bytes at a time, as some hosts' streams move them.
  HostStream s;
  s.bytes = saved(*a, 7);
  s.chunk = 5;
  ASSERT_TRUE(b->load(s));
  EXPECT_EQ(s.pos, s.bytes.size());
  EXPECT_EQ(saved(*b), saved(*a));
  for (std::uint32_t i : {0u, 1u, 2u, 3u, 4u, kProgramPoint}) EXPECT_EQ(b->value(i), a->value(i)) << i;
  if (a->value(kProgramPoint) >= 0) {
    EXPECT_EQ(b->value(kProgramPoint), 5 / 7.0);
  }
  // From here both render the same; the loaded one restarted its reverb, so restart the other too.
  a->reset();
  StereoBuffer inA = testInput(8000), inB = testInput(8000);
  const std::vector<Block> script = evenBlocks(256, 8000);
  EXPECT_EQ(firstDifference(render(*a, script, inA), render(*b, script, inB)), 8000);
}

TEST_P(States, ThatAreNotWholeOrNotOursChangeNothing) {
  auto source = front(), target = front();
  ASSERT_TRUE(source->start(44100, 128) && target->start(44100, 128));
  StereoBuffer in(128), out(128);
  source->process(in.channels(), out.channels(), 128, {{0, 1, 0.9}, {0, 2, 0.7}, {0, kProgramPoint, 6 / 7.0}});
  const std::vector<unsigned char> good = saved(*source);
  ASSERT_EQ(good.size(), 12u + 472u);
  const std::vector<unsigned char> before = saved(*target);
  ASSERT_NE(before, good);

  auto refused = [&](std::vector<unsigned char> bytes, std::size_t failAt, const char* what) {
    HostStream s;
    s.bytes = std::move(bytes);
    s.failAt = failAt;
    EXPECT_FALSE(target->load(s)) << what;
    EXPECT_EQ(saved(*target), before) << what;
    EXPECT_LE(target->value(kProgramPoint), 0.0) << what;
  };
  for (std::size_t n : {std::size_t{0}, std::size_t{3}, std::size_t{11}, std::size_t{12}, std::size_t{200},
                        good.size() - 1})
    refused({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n)}, SIZE_MAX, "truncated");
  refused(good, 100, "a stream that fails midway");
  refused(good, good.size() - 1, "a stream that fails at its last byte");
  auto changed = [&](std::size_t at, unsigned char v, const char* what) {
    std::vector<unsigned char> b = good;
    b[at] = v;
    refused(b, SIZE_MAX, what);
  };
  changed(0, 'X', "unknown magic");
  changed(4, 2, "unknown version");
  changed(8, 0xd7, "another length");
  changed(12, 8, "program number out of range");
  for (std::size_t at : {12u + 4 + 4, 12u + 4 + 20 + 56 * 3 + 8}) {  // the current Decay, program 3's Damp
    std::vector<unsigned char> nan = good;
    const float notFinite = NAN;
    std::memcpy(nan.data() + at, &notFinite, 4);
    refused(nan, SIZE_MAX, "a value that is not finite");
  }
  std::vector<unsigned char> garbage(600);
  std::mt19937 rng(1);
  for (auto& c : garbage) c = static_cast<unsigned char>(rng());
  refused(garbage, SIZE_MAX, "garbage");

  // A host's stream that goes on past the state: the rest is not the state's.
  HostStream longer;
  longer.bytes = good;
  longer.bytes.insert(longer.bytes.end(), 50, 0xee);
  ASSERT_TRUE(target->load(longer));
  EXPECT_EQ(longer.pos, good.size());
  EXPECT_EQ(saved(*target), good);
  if (target->value(kProgramPoint) >= 0) {
    EXPECT_EQ(target->value(kProgramPoint), 6 / 7.0);
  }

  // A host stream that takes no more, or fails, fails the save.
  HostStream full;
  full.failAt = 40;
  EXPECT_FALSE(source->save(full));
}

TEST_P(States, ValuesTheEngineCouldNotUseAreSavedAsTheOnesItUses) {
  auto a = front(), b = front();
  ASSERT_TRUE(a->start(44100, 64) && b->start(44100, 64));
  StereoBuffer in(64), out(64);
  a->process(in.channels(), out.channels(), 64, {{0, 1, 0.3}, {0, 3, 0.8}});
  a->process(in.channels(), out.channels(), 64, {{0, 1, NAN}, {0, 3, INFINITY}, {0, 4, -5.0}});
  HostStream s;
  s.bytes = saved(*a);
  ASSERT_TRUE(b->load(s)) << "every saved state loads again";
  EXPECT_EQ(b->value(1), static_cast<double>(0.3f)) << "Decay NaN: the engine kept 0.3";
  EXPECT_EQ(b->value(3), 1.0) << "Output +inf: the engine uses 1";
  EXPECT_EQ(b->value(4), -5.0) << "finite values stay as stored";
}

INSTANTIATE_TEST_SUITE_P(Fronts, States, ::testing::ValuesIn(frontsWith(&Front::Features::state)), nameOf);

// ---------------------------------------------------------------- tail, editor

using Tails = Conformance;

// How long the tail is against renders: tests/shell/tail_test.cpp.
TEST_P(Tails, AreTheBoundOfTheLastBlocksSettingsAndTheHostIsToldWhenTheyChange) {
  const struct {
    double rate;
    float decay, damp, output, mix;
  } settings[] = {{44100, 0.5f, 0.1f, 0.5f, 0.5f}, {96000, 1.0f, 0.0f, 1.0f, 1.0f}, {48000, 0.76f, 1.0f, 0.5f, 0.2f},
                  {44100, 0.5f, 0.1f, 0.0f, 0.5f}, {48000, 0.2f, 1.0f, 1.0f, 0.3f}, {192000, 0.0f, 0.0f, 1.0f, 1.0f}};
  for (const auto& s : settings) {
    SCOPED_TRACE(::testing::Message() << s.rate << " Hz, decay " << s.decay << ", damp " << s.damp << ", output "
                                      << s.output << ", mix " << s.mix);
    auto f = front();
    ASSERT_TRUE(f->start(s.rate, 4096));
    StereoBuffer in(16), out(16);
    const std::vector<Point> points = {{0, 1, s.decay}, {0, 2, s.damp}, {0, 3, s.output}, {0, 4, s.mix}};
    f->process(in.channels(), out.channels(), 16, points);
    f->process(in.channels(), out.channels(), 16, points);  // the same again: nothing more to tell
    EXPECT_EQ(f->tail(), static_cast<std::uint32_t>(tailFrames(s.rate, s.decay, s.damp, s.output, s.mix)));
    const bool same = s.decay == 0.5f && s.output == 0.5f && s.mix == 0.5f;
    if (f->tailChangesTold() >= 0) {
      EXPECT_EQ(f->tailChangesTold(), same ? 0 : 1) << "told from process when it changed";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Fronts, Tails, ::testing::ValuesIn(frontsWith(&Front::Features::tail)), nameOf);

using Editors = Conformance;

// The host's scale reaches the editor whole: snapped to 1, 1.5 or 2.
TEST_P(Editors, AreSizedByTheHostsScaleAsTheModulesIs) {
  auto f = front(), vst = make(Format::kVst2);
  for (double scale : {1.0, 1.25, 1.2499, 1.5, 1.75, 2.0, 3.0})
    EXPECT_EQ(f->editorSize(scale), vst->editorSize(scale)) << scale;
}

INSTANTIATE_TEST_SUITE_P(Fronts, Editors, ::testing::ValuesIn(frontsWith(&Front::Features::editor)), nameOf);

// ---------------------------------------------------------------- LV2 only

// A host may write any float to a control port: beyond the range, its end; a
// switch is on for anything above 0. The module given those values says how it sounds.
TEST(Lv2Controls, BeyondTheirRangeAreTheRangesEnds) {
  auto lv2 = make(Format::kLv2), vst = make(Format::kVst2);
  ASSERT_TRUE(lv2->start(44100, 256) && vst->start(44100, 256));
  const struct {
    std::vector<std::pair<lv2::Port, float>> ports;
    std::vector<Point> module;
  } steps[] = {
      {{{lv2::kDecayPort, 250.0f}, {lv2::kDampPort, -10.0f}, {lv2::kMixPort, 150.0f}, {lv2::kOutputPort, 40.0f},
        {lv2::kBypassPort, 0.3f}},
       {{0, 1, 1.0}, {0, 2, 0.0}, {0, 4, 1.0}, {0, 3, 1.0}, {0, 0, 1.0}}},
      {{{lv2::kOutputPort, -500.0f}, {lv2::kBypassPort, -1.0f}, {lv2::kMixPort, 35.0f}},
       {{0, 3, 0.0}, {0, 0, 0.0}, {0, 4, 0.35}}},
  };
  StereoBuffer in = testInput(1400);
  for (const auto& step : steps) {
    SCOPED_TRACE(&step - steps);
    for (const auto& [port, value] : step.ports) lv2Port(*lv2, port) = value;
    StereoBuffer expected(700), got(700);  // longer than announced
    float* i[2] = {in.left.data() + (&step - steps) * 700, in.right.data() + (&step - steps) * 700};
    vst->process(i, expected.channels(), 700, step.module);
    lv2->process(i, got.channels(), 700, {});
    EXPECT_EQ(firstDifference(expected, got), 700);
  }
}

TEST(Lv2Meter, PortsHoldEachPeakAndRunsNeverAllocate) {
  // Mix 0 and Output 0 dB (the value 0.5, unity gain): the output is the dry input.
  auto lv2 = make(Format::kLv2);
  ASSERT_TRUE(lv2->start(48000, 480));
  StereoBuffer in(480), out(480);
  const std::vector<Point> none, dry = {{0, 4, 0.0}}, decay = {{0, 1, 0.9}};
  auto block = [&](float level, const std::vector<Point>& points) {
    in.left[100] = -level;
    lv2->process(in.channels(), out.channels(), 480, points);
  };
  const AllocationWatch watch;
  block(0.5f, dry);
  EXPECT_EQ(lv2Port(*lv2, lv2::kPeakPort), 0.5f);
  EXPECT_EQ(lv2Port(*lv2, lv2::kClipPort), 0.0f);
  block(1.25f, decay);  // a change on the way, applied in the audio thread
  EXPECT_EQ(lv2Port(*lv2, lv2::kPeakPort), 1.25f);
  EXPECT_EQ(lv2Port(*lv2, lv2::kClipPort), 1.0f);
  // Shown for at least 50 ms (2400 frames) and gone within 100 ms.
  for (int i = 0; i < 4; ++i) block(0.0f, none);
  EXPECT_EQ(lv2Port(*lv2, lv2::kPeakPort), 1.25f);
  for (int i = 0; i < 6; ++i) block(0.0f, none);
  EXPECT_EQ(lv2Port(*lv2, lv2::kPeakPort), 0.0f);
  EXPECT_EQ(watch.count(), 0);
}

}  // namespace
}  // namespace korro::test
