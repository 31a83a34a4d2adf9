// The built module against the engine's plain forms: the same stream of
// blocks, parameter changes and pin states through both, compared bit for bit.
// The plain side runs the stages block by block in their fixed order, with its
// own engine rate, so a fault in the module's block frame, its dispatcher or a
// vectorised stage shows as a differing sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <vector>

#include "engine/input_stage.h"
#include "engine/output_stage.h"
#include "engine/spring_tank.h"
#include "engine/engine_memory.h"
#include "shell/programs.h"
#include "support/module_fixture.h"

namespace korro::test {
namespace {

using host::Host;
using host::Plugin;

struct Settings {
  float decay = 0.5f, damp = 0.1f, output = 0.5f, mix = 0.5f, bypass = 1.0f;  // program 0
  void set(int index, float v) {
    float* fields[] = {&bypass, &decay, &damp, &output, &mix};
    *fields[index] = v;
  }
};

// The engine a host at `hostRate` gets after resume, every stage in its plain form.
class PlainEngine {
 public:
  PlainEngine(double hostRate, int capacity)
      : decimate_(hostRate > 50000.0),
        engineRate_(decimate_ ? hostRate * 0.5 : hostRate),
        memory_(std::make_unique<DelayMemory>()),
        tank_(*memory_),
        core_(capacity),
        coreOut_(capacity),
        dry_(capacity) {
    memory_->clearAll();
    tank_.useIsa(Isa::Plain);
    input_.useIsa(Isa::Plain);
    output_.useIsa(Isa::Plain);
    tank_.resetForResume();
    input_.resetForResume();
    output_.resetForResume();
  }

  // Suspend then resume: every state reset, the scratch buffers kept as they are
  // (at half rate one stale engine frame can reach the output).
  void restart() {
    memory_->clearPartial();
    tank_.resetForSuspend();
    input_.resetForSuspend();
    output_.resetForSuspend();
    input_.resetForResume();
    output_.resetForResume();
    memory_->clearAll();
    tank_.resetForResume();
  }

  void block(const Settings& p, float* const in[2], float* const out[2], int n, bool adding, bool stereoIn,
             bool stereoOut) {
    const bool feed = static_cast<int>(p.bypass) != 0;
    input_.process(in[0], stereoIn ? in[1] : in[0], core_.channels(), dry_.channels(), n, decimate_);
    tank_.update(p.decay, p.damp, engineRate_);
    tank_.process(core_.channels(), coreOut_.channels(), n / (decimate_ ? 2 : 1), feed);
    OutputPeaks peaks;
    const std::atomic<float> mix{p.mix}, gain{p.output * p.output * 4.0f};
    output_.process(dry_.channels(), coreOut_.channels(), const_cast<float**>(out), n, decimate_, stereoOut, mix, gain,
                    adding ? OutputStage::Store::Adding : OutputStage::Store::Replacing, peaks);
  }

 private:
  bool decimate_;
  double engineRate_;
  std::unique_ptr<DelayMemory> memory_;
  SpringTank tank_;
  InputStage input_;
  OutputStage output_;
  StereoBuffer core_, coreOut_, dry_;
};

struct Run {
  float rate;
  int announced;
  bool stereoIn = true, stereoOut = true;
  // Programs selected between blocks while resumed: one, two at once, and one
  // left pending by a suspend. Each restarts the reverb as suspend and resume do.
  bool programChanges = false;
};

// Feeds one stream through both and reports the first differing sample.
void expectSameStream(const Run& run) {
  SCOPED_TRACE(::testing::Message() << run.rate << " Hz, announced " << run.announced << ", input "
                                    << (run.stereoIn ? "stereo" : "mono") << ", output "
                                    << (run.stereoOut ? "stereo" : "mono"));
  constexpr int kFrames = 24000;
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> u(-0.7f, 0.7f);
  StereoBuffer in(kFrames);
  for (int i = 0; i < kFrames; ++i) {
    const bool on = (i / 900) % 4 != 3;
    in.left[i] = on ? u(rng) : 0.0f;
    in.right[i] = on ? u(rng) * 0.6f : 0.0f;
  }

  Host host;
  host.inputConnected = run.stereoIn;
  host.outputConnected = run.stereoOut;
  Plugin module(builtModule(), host);
  module.start(run.rate, run.announced);
  auto plain = std::make_unique<PlainEngine>(run.rate, run.announced);  // restarted in place
  Settings settings;
  // Decay and Damp belong to each program; the other three to all of them.
  float decayOf[kProgramCount], dampOf[kProgramCount];
  for (int k = 0; k < kProgramCount; ++k) {
    decayOf[k] = kFactoryPrograms[k].decay;
    dampOf[k] = kFactoryPrograms[k].damp;
  }
  int program = 0;
  const auto select = [&](int k) {
    module.dispatch(effSetProgram, 0, k);
    program = k;
    settings.decay = decayOf[k];
    settings.damp = dampOf[k];
    plain->restart();
  };

  // Prefilled outputs, so the adding form shows what it adds and a mono
  // output shows that the right channel stays untouched.
  StereoBuffer fromModule(kFrames, 0.25f), fromPlain(kFrames, 0.25f);
  std::uniform_int_distribution<int> length(0, run.announced);
  const float changes[][2] = {{1, 0.9f}, {2, 0.6f}, {4, 0.8f}, {3, 0.7f}, {0, 0.0f}, {0, 1.0f}, {1, 0.2f}, {2, 1.0f}};
  int pos = 0;
  for (int b = 0; pos < kFrames; ++b) {
    int n = b % 5 == 0 ? run.announced : b % 7 == 0 ? 1 : length(rng);
    n = std::min(n, kFrames - pos);
    if (b % 9 == 4) {
      const int index = static_cast<int>(changes[(b / 9) % 8][0]);
      const float value = changes[(b / 9) % 8][1];
      module.setParameter(index, value);
      settings.set(index, value);
      if (index == 1) decayOf[program] = value;
      if (index == 2) dampOf[program] = value;
    }
    if (run.programChanges && b % 11 == 6) {
      select((b / 11 + 3) % kProgramCount);
      if (b % 22 == 6) select((b / 11 + 5) % kProgramCount);
      if (b % 33 == 6) {
        module.dispatch(effMainsChanged, 0, 0);
        module.dispatch(effMainsChanged, 0, 1);
      }
    }
    const bool adding = b % 3 == 1;
    float* i[2] = {in.left.data() + pos, in.right.data() + pos};
    float* m[2] = {fromModule.left.data() + pos, fromModule.right.data() + pos};
    float* p[2] = {fromPlain.left.data() + pos, fromPlain.right.data() + pos};
    if (adding)
      module.process(i, m, n);
    else
      module.processReplacing(i, m, n);
    plain->block(settings, i, p, n, adding, run.stereoIn, run.stereoOut);
    pos += n;
  }

  const auto differs = [](const std::vector<float>& a, const std::vector<float>& b) {
    return std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
  };
  EXPECT_EQ(differs(fromModule.left, fromPlain.left), kFrames) << "first differing left sample";
  EXPECT_EQ(differs(fromModule.right, fromPlain.right), kFrames) << "first differing right sample";
}

TEST(ModuleVsPlainEngine, SameSamplesForAnyBlockLengthAtEveryRate) {
  for (float rate : {44100.0f, 88200.0f, 96000.0f, 192000.0f})
    for (int announced : {512, 257}) expectSameStream({rate, announced});
}

TEST(ModuleVsPlainEngine, ProgramsSelectedWhileResumedRestartTheReverbAtTheNextBlock) {
  for (float rate : {44100.0f, 96000.0f}) expectSameStream({rate, 512, true, true, true});
}

TEST(ModuleVsPlainEngine, SameSamplesWithAMonoInputOrOutput) {
  for (float rate : {44100.0f, 96000.0f}) {
    expectSameStream({rate, 333, false, true});
    expectSameStream({rate, 333, true, false});
  }
}

}  // namespace
}  // namespace korro::test
