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

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "lv2/ports.h"
#include "support/alloc_counter.h"
#include "support/module_fixture.h"

namespace korro::test {
namespace {

using namespace korro::lv2;

LV2_URID mapUri(LV2_URID_Map_Handle, const char* uri) {
  static std::vector<std::string> uris;
  for (std::size_t i = 0; i < uris.size(); ++i)
    if (uris[i] == uri) return static_cast<LV2_URID>(i + 1);
  uris.emplace_back(uri);
  return static_cast<LV2_URID>(uris.size());
}

const LV2_Descriptor* descriptor() {
  static void* binary = dlopen(KORRO_LV2_BINARY, RTLD_NOW | RTLD_LOCAL);
  if (!binary) return nullptr;
  auto entry = reinterpret_cast<const LV2_Descriptor* (*)(std::uint32_t)>(dlsym(binary, "lv2_descriptor"));
  return entry ? entry(0) : nullptr;
}

// One instance, started; its control ports connected to `control`, which
// holds what a host reads as the defaults: the values of "Basic Spring".
class Lv2Plugin {
 public:
  // maxBlock 0: a host that gives no options.
  Lv2Plugin(double rate, std::int32_t maxBlock) : maxBlock_(maxBlock) {
    const LV2_Descriptor* d = descriptor();
    if (!d) return;
    descriptor_ = d;
    options_[0] = {LV2_OPTIONS_INSTANCE, 0, mapUri(nullptr, LV2_BUF_SIZE__maxBlockLength), sizeof maxBlock_,
                   mapUri(nullptr, LV2_ATOM__Int), &maxBlock_};
    const LV2_Feature* withOptions[] = {&mapFeature_, &optionsFeature_, nullptr};
    const LV2_Feature* none[] = {nullptr};
    handle_ = d->instantiate(d, rate, KORRO_LV2_BUNDLE, maxBlock ? withOptions : none);
    if (!handle_) return;
    control[kBypassPort] = 1.0f;
    control[kDecayPort] = 50.0f;
    control[kDampPort] = 10.0f;
    control[kMixPort] = 50.0f;
    for (const ControlPort& c : kControlPorts) connect(c.port, &control[c.port]);
    connect(kPeakPort, &control[kPeakPort]);
    connect(kClipPort, &control[kClipPort]);
    d->activate(handle_);
  }
  ~Lv2Plugin() {
    if (!handle_) return;
    descriptor_->deactivate(handle_);
    descriptor_->cleanup(handle_);
  }
  explicit operator bool() const { return handle_ != nullptr; }

  void connect(std::uint32_t port, float* data) { descriptor_->connect_port(handle_, port, data); }
  // Audio ports as given, null ones unconnected; then one run.
  void run(float** in, float** out, std::uint32_t frames) {
    for (std::uint32_t p : {kInputLeft, kInputRight}) connect(p, in ? in[p - kInputLeft] : nullptr);
    for (std::uint32_t p : {kOutputLeft, kOutputRight}) connect(p, out ? out[p - kOutputLeft] : nullptr);
    descriptor_->run(handle_, frames);
  }
  void restart() {
    descriptor_->deactivate(handle_);
    descriptor_->activate(handle_);
  }

  float control[kPortCount] = {};

 private:
  const LV2_Descriptor* descriptor_ = nullptr;
  LV2_Handle handle_ = nullptr;
  std::int32_t maxBlock_;
  LV2_URID_Map map_{nullptr, mapUri};
  LV2_Options_Option options_[2] = {};
  LV2_Feature mapFeature_{LV2_URID__map, &map_};
  LV2_Feature optionsFeature_{LV2_OPTIONS__options, options_};
};

StereoBuffer signal(int frames, unsigned seed) {
  StereoBuffer b(frames);
  for (int i = 0; i < frames; ++i) {
    seed = seed * 1664525u + 1013904223u;
    b.left[i] = static_cast<float>(seed >> 8) / 16777216.0f - 0.5f;
    b.right[i] = (i % 97 == 3) ? 0.9f : 0.0f;
  }
  return b;
}

void expectSameBits(const StereoBuffer& expected, const StereoBuffer& got) {
  ASSERT_EQ(got.left.size(), expected.left.size());
  EXPECT_EQ(std::memcmp(got.left.data(), expected.left.data(), got.left.size() * sizeof(float)), 0);
  EXPECT_EQ(std::memcmp(got.right.data(), expected.right.data(), got.right.size() * sizeof(float)), 0);
}

struct Step {
  std::vector<std::pair<Port, float>> ports;       // set on the LV2 instance
  std::vector<std::pair<int, float>> parameters;  // what the VST host sets instead
};

TEST(Lv2Front, ControlsOutOfRangeOrNaNAnswerLikeTheVstModuleAtTheRangesEnds) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  const Step steps[] = {
      {{{kDecayPort, 250.0f}, {kDampPort, -10.0f}, {kMixPort, 150.0f}, {kOutputPort, 40.0f}, {kBypassPort, 0.3f}},
       {{1, 1.0f}, {2, 0.0f}, {4, 1.0f}, {3, 1.0f}, {0, 1.0f}}},
      {{{kDecayPort, nan}, {kOutputPort, -500.0f}, {kBypassPort, -1.0f}, {kMixPort, 35.0f}},
       {{3, 0.0f}, {0, 0.0f}, {4, 0.35f}}},
      {{{kDecayPort, 83.0f}, {kOutputPort, -12.0f}, {kBypassPort, 1.0f}}, {{1, 0.83f}, {3, 0.25f}, {0, 1.0f}}},
  };
  Lv2Plugin lv2(44100.0, 256);
  ASSERT_TRUE(lv2) << "cannot instantiate " << KORRO_LV2_BINARY;
  host::Host host;
  host::Plugin vst(builtModule(), host);
  vst.start(44100.0f, 256);
  for (std::size_t s = 0; s < std::size(steps); ++s) {
    SCOPED_TRACE(s);
    for (const auto& [port, value] : steps[s].ports) lv2.control[port] = value;
    for (const auto& [index, value] : steps[s].parameters) vst.setParameter(index, value);
    StereoBuffer in = signal(700, static_cast<unsigned>(s)), expected(700), got(700);  // longer than announced
    vst.processReplacing(in.channels(), expected.channels(), 700);
    lv2.run(in.channels(), got.channels(), 700);
    expectSameBits(expected, got);
  }
}

TEST(Lv2Front, AudioEdgeCasesAnswerLikeTheVstModule) {
  Lv2Plugin lv2(96000.0, 0);  // no options: 4096 frames are announced
  ASSERT_TRUE(lv2);
  lv2.control[kDecayPort] = 70.0f;
  host::Host host;
  host::Plugin vst(builtModule(), host);
  vst.start(96000.0f, 4096);
  vst.setParameter(1, 0.7f);

  // Each run: frames, and which of left in, right in, left out, right out are connected.
  struct Run {
    int frames;
    bool connected[4];
    bool inPlace = false;
    bool nonFinite = false;
  };
  const Run runs[] = {
      {0, {true, true, true, true}},          {5001, {true, true, true, true}},
      {300, {true, false, true, false}},      {512, {true, true, true, true}, true},
      {333, {false, true, true, true}},       {64, {false, false, false, false}},
      {400, {true, true, true, true}, false, true},
  };
  for (std::size_t r = 0; r < std::size(runs); ++r) {
    const Run& run = runs[r];
    SCOPED_TRACE(r);
    if (r == 3) {  // switched off and on in between, as hosts do
      lv2.restart();
      vst.dispatch(effMainsChanged, 0, 0);
      vst.start(96000.0f, 4096);
    }
    StereoBuffer in = signal(run.frames, static_cast<unsigned>(r) + 7);
    if (run.nonFinite) {
      in.left[10] = std::numeric_limits<float>::quiet_NaN();
      in.right[20] = std::numeric_limits<float>::infinity();
      in.left[30] = -std::numeric_limits<float>::infinity();
    }
    StereoBuffer expected(run.frames, 0.5f), got(run.frames, 0.5f);
    float* vstIn[2] = {run.connected[0] ? in.left.data() : nullptr, run.connected[1] ? in.right.data() : nullptr};
    float* vstOut[2] = {run.connected[2] ? expected.left.data() : nullptr,
                        run.connected[3] ? expected.right.data() : nullptr};
    vst.processReplacing(vstIn, vstOut, run.frames);
    if (run.inPlace) got = in;
    StereoBuffer& lv2In = run.inPlace ? got : in;
    float* lv2Inputs[2] = {run.connected[0] ? lv2In.left.data() : nullptr,
                           run.connected[1] ? lv2In.right.data() : nullptr};
    float* lv2Outputs[2] = {run.connected[2] ? got.left.data() : nullptr,
                            run.connected[3] ? got.right.data() : nullptr};
    lv2.run(lv2Inputs, lv2Outputs, static_cast<std::uint32_t>(run.frames));
    expectSameBits(expected, got);
  }
}

TEST(Lv2Front, MeterPortsHoldEachPeakAndRunsNeverAllocate) {
  // Mix 0 and Output 0 dB (the value 0.5, unity gain): the output is the dry input.
  Lv2Plugin lv2(48000.0, 480);
  ASSERT_TRUE(lv2);
  lv2.control[kMixPort] = 0.0f;
  lv2.control[kOutputPort] = 0.0f;
  lv2.control[kBypassPort] = 1.0f;
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
  EXPECT_EQ(lv2.control[kClipPort], 0.0f);
  EXPECT_EQ(watch.count(), 0);
}

}  // namespace
}  // namespace korro::test
