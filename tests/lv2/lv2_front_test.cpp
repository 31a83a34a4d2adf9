// The LV2 front in a small host of our own: whatever an LV2 host gets wrong
// (unconnected ports, empty or oversized runs, controls out of range or NaN,
// non-finite samples), the front neither crashes nor answers differently
// from the VST 2 module given the same audio and the values held to range.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <bit>
#include <limits>

#include "lv2/ports.h"
#include "support/alloc_counter.h"
#include "support/module_fixture.h"
#include "support/render_support.h"

namespace korro::test {
namespace {

using namespace korro::lv2;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

LV2_URID mapUri(LV2_URID_Map_Handle, const char* uri) {
  static std::vector<std::string> uris;
  if (std::find(uris.begin(), uris.end(), uri) == uris.end()) uris.emplace_back(uri);
  return static_cast<LV2_URID>(std::find(uris.begin(), uris.end(), uri) - uris.begin() + 1);
}

// One started instance of the built binary. Its control ports read `control`,
// which starts at what a host reads as the defaults: "Basic Spring".
class Lv2Plugin {
 public:
  // maxBlock 0: a host that gives no options.
  Lv2Plugin(double rate, std::int32_t maxBlock) : maxBlock_(maxBlock) {
    static void* binary = dlopen(KORRO_LV2_BINARY, RTLD_NOW | RTLD_LOCAL);
    auto entry = reinterpret_cast<const LV2_Descriptor* (*)(std::uint32_t)>(dlsym(binary, "lv2_descriptor"));
    d_ = entry(0);
    const LV2_URID key = mapUri(nullptr, LV2_BUF_SIZE__maxBlockLength), type = mapUri(nullptr, LV2_ATOM__Int);
    options_[0] = {LV2_OPTIONS_INSTANCE, 0, key, sizeof maxBlock_, type, &maxBlock_};
    const LV2_Feature* features[] = {&mapFeature_, &optionsFeature_, nullptr};
    handle_ = d_->instantiate(d_, rate, KORRO_LV2_BUNDLE, maxBlock ? features : features + 2);
    for (std::uint32_t p = kBypassPort; p < kPortCount; ++p) d_->connect_port(handle_, p, &control[p]);
    d_->activate(handle_);
  }
  ~Lv2Plugin() {
    d_->deactivate(handle_);
    d_->cleanup(handle_);
  }

  // Audio ports as given, null ones unconnected.
  void run(float* const* in, float* const* out, std::uint32_t frames) {
    for (std::uint32_t c = 0; c < 2; ++c) {
      d_->connect_port(handle_, kInputLeft + c, in[c]);
      d_->connect_port(handle_, kOutputLeft + c, out[c]);
    }
    d_->run(handle_, frames);
  }
  void restart() {
    d_->deactivate(handle_);
    d_->activate(handle_);
  }

  float control[kPortCount] = {0, 0, 0, 0, 1.0f, 50.0f, 10.0f, 0.0f, 50.0f};  // bypass, decay, damp, output, mix

 private:
  const LV2_Descriptor* d_;
  LV2_Handle handle_;
  std::int32_t maxBlock_;
  LV2_URID_Map map_{nullptr, mapUri};
  LV2_Options_Option options_[2] = {};
  LV2_Feature mapFeature_{LV2_URID__map, &map_};
  LV2_Feature optionsFeature_{LV2_OPTIONS__options, options_};
};

// Bit for bit, so that NaN answers compare too.
void expectSameBits(const StereoBuffer& expected, const StereoBuffer& got) {
  auto same = [](float a, float b) { return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b); };
  EXPECT_TRUE(std::equal(got.left.begin(), got.left.end(), expected.left.begin(), expected.left.end(), same));
  EXPECT_TRUE(std::equal(got.right.begin(), got.right.end(), expected.right.begin(), expected.right.end(), same));
}

using Lv2Front = ModuleTest;  // fx() is the VST 2 module

TEST_F(Lv2Front, ControlsOutOfRangeOrNaNAnswerLikeTheVstModuleAtTheRangesEnds) {
  struct Step {
    std::vector<std::pair<Port, float>> ports;      // set on the LV2 instance
    std::vector<std::pair<int, float>> parameters;  // what the VST host sets instead
  };
  const Step steps[] = {
      {{{kDecayPort, 250.0f}, {kDampPort, -10.0f}, {kMixPort, 150.0f}, {kOutputPort, 40.0f}, {kBypassPort, 0.3f}},
       {{1, 1.0f}, {2, 0.0f}, {4, 1.0f}, {3, 1.0f}, {0, 1.0f}}},
      {{{kDecayPort, kNaN}, {kOutputPort, -500.0f}, {kBypassPort, -1.0f}, {kMixPort, 35.0f}},
       {{3, 0.0f}, {0, 0.0f}, {4, 0.35f}}},
      {{{kDecayPort, 83.0f}, {kOutputPort, -12.0f}, {kBypassPort, 1.0f}}, {{1, 0.83f}, {3, 0.25f}, {0, 1.0f}}},
  };
  Lv2Plugin lv2(44100.0, 256);
  fx().start(44100.0f, 256);
  Audio in = testSignal(44100, 0.1);
  for (const Step& step : steps) {
    SCOPED_TRACE(&step - steps);
    for (const auto& [port, value] : step.ports) lv2.control[port] = value;
    for (const auto& [index, value] : step.parameters) fx().setParameter(index, value);
    StereoBuffer expected(700), got(700);  // longer than announced
    float* i[2] = {in.left.data(), in.right.data()};
    fx().processReplacing(i, expected.channels(), 700);
    lv2.run(i, got.channels(), 700);
    expectSameBits(expected, got);
  }
}

TEST_F(Lv2Front, AudioEdgeCasesAnswerLikeTheVstModule) {
  Lv2Plugin lv2(96000.0, 0);  // no options: 4096 frames are announced
  fx().start(96000.0f, 4096);
  struct Run {
    int frames;
    bool connected[4];  // left in, right in, left out, right out
    bool inPlace = false;
  };
  const Run runs[] = {
      {0, {1, 1, 1, 1}},   {5001, {1, 1, 1, 1}}, {300, {1, 0, 1, 0}}, {512, {1, 1, 1, 1}, true},
      {333, {0, 1, 1, 1}}, {64, {0, 0, 0, 0}},   {400, {1, 1, 1, 1}},  // the last with non-finite samples
  };
  Audio in = testSignal(96000, 0.1);
  in.left[6300] = kNaN;
  in.right[6310] = kInf;
  in.left[6320] = -kInf;
  std::size_t pos = 0;
  for (const Run& run : runs) {
    const std::size_t r = &run - runs;
    SCOPED_TRACE(r);
    if (r == 3) {  // switched off and on in between, as hosts do
      lv2.restart();
      fx().dispatch(effMainsChanged, 0, 0);
      fx().start(96000.0f, 4096);
    }
    StereoBuffer expected(run.frames, 0.5f), got(run.frames, 0.5f);
    if (run.inPlace) {
      std::copy_n(in.left.begin() + pos, run.frames, got.left.begin());
      std::copy_n(in.right.begin() + pos, run.frames, got.right.begin());
    }
    auto pick = [&](int c, float* p) { return run.connected[c] ? p : nullptr; };
    float* vstIn[2] = {pick(0, in.left.data() + pos), pick(1, in.right.data() + pos)};
    float* vstOut[2] = {pick(2, expected.left.data()), pick(3, expected.right.data())};
    float* lv2Out[2] = {pick(2, got.left.data()), pick(3, got.right.data())};
    float* lv2In[2] = {pick(0, got.left.data()), pick(1, got.right.data())};
    fx().processReplacing(vstIn, vstOut, run.frames);
    lv2.run(run.inPlace ? lv2In : vstIn, lv2Out, static_cast<std::uint32_t>(run.frames));
    expectSameBits(expected, got);
    pos += run.frames;
  }
  ASSERT_EQ(pos, 6610u);  // the non-finite samples went through the last run
}

TEST_F(Lv2Front, MeterPortsHoldEachPeakAndRunsNeverAllocate) {
  // Mix 0 and Output 0 dB (the value 0.5, unity gain): the output is the dry input.
  Lv2Plugin lv2(48000.0, 480);
  lv2.control[kMixPort] = 0.0f;
  StereoBuffer in(480), out(480);
  auto block = [&](float level) {
    in.left[100] = -level;
    lv2.run(in.channels(), out.channels(), 480);
  };
  const AllocationWatch watch;
  block(0.5f);
  EXPECT_EQ(lv2.control[kPeakPort], 0.5f);
  EXPECT_EQ(lv2.control[kClipPort], 0.0f);
  lv2.control[kDecayPort] = 90.0f;  // a change on the way, applied in the audio thread
  block(1.25f);
  EXPECT_EQ(lv2.control[kPeakPort], 1.25f);
  EXPECT_EQ(lv2.control[kClipPort], 1.0f);
  // Shown for at least 50 ms (2400 frames) and gone within 100 ms.
  for (int i = 0; i < 4; ++i) block(0.0f);
  EXPECT_EQ(lv2.control[kPeakPort], 1.25f);
  for (int i = 0; i < 6; ++i) block(0.0f);
  EXPECT_EQ(lv2.control[kPeakPort], 0.0f);
  EXPECT_EQ(watch.count(), 0);
}

}  // namespace
}  // namespace korro::test
