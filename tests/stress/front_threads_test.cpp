// The CLAP and VST3 fronts under a host's two threads at once, each within
// its format's rules. The audio thread processes blocks with changes (now
// and then a dense one) and resets the plug-in (CLAP) or switches it off and
// on, now and then at another rate (VST3, as Ardour does on its process
// thread). The main thread saves and loads states, loads presets or picks
// programs, reads values and texts, writes through the controller, and opens,
// idles and closes the editor on an X11 window. Loads and picks that start
// while the audio thread is inside a call are counted: with too few the run
// proves nothing. Built with ThreadSanitizer too, where any race fails it.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "clap/clap_host.h"
#include "support/stereo_buffer.h"
#include "vst3/vst3_host.h"

// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include "support/x11_host.h"

namespace korro::test {
namespace {

using Clock = std::chrono::steady_clock;
// At least this long, and on until the figures prove overlap (slow machines, sanitizers), at most kLongest.
constexpr auto kRunTime = std::chrono::seconds(3);
constexpr auto kLongest = std::chrono::seconds(40);
constexpr int kDenseEvery = 16;  // every so many blocks one with kDensePoints changes
constexpr int kDensePoints = 1500;

// The audio thread's figures, and whether it is inside a call right now.
struct AudioSide {
  std::atomic<bool> inCall{false};
  std::atomic<bool> stop{false};
  long blocks = 0, events = 0, resets = 0, toggles = 0, rates = 0;
  bool finite = true;

  template <typename Call>
  void call(Call&& c) {
    inCall.store(true);
    c();
    inCall.store(false);
  }
  void check(const StereoBuffer& out, int frames) {
    for (int i = 0; i < frames; ++i) finite = finite && std::isfinite(out.left[i]) && std::isfinite(out.right[i]);
  }
};

// The main thread's figures.
struct MainSide {
  long loads = 0, picks = 0, overlapping = 0, reads = 0, writes = 0, editorCycles = 0;
  const Clock::time_point start = Clock::now();
  void started(const AudioSide& audio) {
    if (audio.inCall.load()) ++overlapping;
  }
  bool goOn() const {
    const auto t = Clock::now() - start;
    const bool enough = loads + picks >= kLoads && overlapping >= kOverlaps && editorCycles >= kEditorCycles;
    return t < kRunTime || (!enough && t < kLongest);
  }
  static constexpr long kLoads = 40, kOverlaps = 20, kEditorCycles = 3;
};

void report(const char* front, const AudioSide& a, const MainSide& m) {
  std::printf(
      "%s: %ld blocks, %ld events, %ld resets, %ld activation toggles, %ld re-activations at another rate; "
      "%ld state loads, %ld preset loads or program picks, %ld of them during an audio-thread call; %ld reads, "
      "%ld controller writes, %ld editor cycles\n",
      front, a.blocks, a.events, a.resets, a.toggles, a.rates, m.loads, m.picks, m.overlapping, m.reads, m.writes,
      m.editorCycles);
  EXPECT_GT(a.blocks, 100);
  EXPECT_GE(m.loads + m.picks, MainSide::kLoads);
  EXPECT_GE(m.overlapping, MainSide::kOverlaps) << "too few loads met a call on the audio thread to prove anything";
  EXPECT_GE(m.editorCycles, MainSide::kEditorCycles);
  EXPECT_TRUE(a.finite);
}

// One value in [0, 1], from a counter.
double valueOf(std::uint32_t n) { return static_cast<double>((n * 2654435761u) >> 8) / 16777216.0; }

// ---------------------------------------------------------------- CLAP

TEST(FrontThreads, ClapAudioAndMainThreadAtOnce) {
  HostWindow window;
  ASSERT_NE(window.display, nullptr) << "no X server";
  ClapHost host;
  ClapInstance fx(host);
  ASSERT_TRUE(fx);
  const clap::Plugin* p = fx.plugin();
  const auto* state = fx.ext<clap::PluginState>(clap::kStateId);
  const auto* presets = fx.ext<clap::PluginPresetLoad>(clap::kPresetLoadId);
  const auto* params = fx.ext<clap::PluginParams>(clap::kParamsId);
  const auto* gui = fx.ext<clap::PluginGui>(clap::kGuiId);
  const auto* timer = fx.ext<clap::PluginTimerSupport>(clap::kTimerSupportId);
  std::uint32_t maxFrames = 512;
  ASSERT_TRUE(p->activate(p, 44100, 1, maxFrames));

  // 0: running; 1: the main thread wants processing stopped; 2: stopped.
  std::atomic<int> hold{0};
  std::atomic<std::uint32_t> frames{maxFrames};
  AudioSide audio;
  std::thread audioThread([&] {
    StereoBuffer in(4096), out(4096);
    for (int i = 0; i < 4096; ++i) in.left[i] = in.right[i] = 0.5f * std::sin(0.03f * static_cast<float>(i));
    std::vector<ClapInstance::Change> events;
    std::uint32_t seed = 1;
    p->startProcessing(p);
    while (!audio.stop.load()) {
      if (hold.load() == 1) {
        p->stopProcessing(p);
        hold.store(2);
        while (hold.load() != 0 && !audio.stop.load()) std::this_thread::yield();
        p->startProcessing(p);
        continue;
      }
      const std::uint32_t n = frames.load();
      const int count = audio.blocks % kDenseEvery == 5 ? kDensePoints : static_cast<int>(audio.blocks % 4);
      events.clear();
      seed += 7;
      for (int k = 0; k < count; ++k)
        events.push_back({static_cast<std::uint32_t>(k) * n / static_cast<std::uint32_t>(count),
                          static_cast<clap::Id>(k % 5), valueOf(seed + static_cast<std::uint32_t>(k))});
      audio.call([&] { return fx.process(in.channels(), out.channels(), n, events); });
      audio.check(out, static_cast<int>(n));
      audio.events += count;
      if (++audio.blocks % 5 == 0) {
        audio.call([&] { p->reset(p); });
        ++audio.resets;
      }
    }
    p->stopProcessing(p);
  });

  // A state of other settings, to load now and then.
  ClapHost otherHost;
  ClapInstance other(otherHost);
  ASSERT_TRUE(other.activate(48000, 256));
  StereoBuffer in(256), out(256);
  other.process(in.channels(), out.channels(), 256, {{0, 1, 0.9}, {0, 2, 0.8}, {0, 4, 0.3}});
  auto save = [&](const clap::Plugin* plugin) {
    MemoryStream s;
    EXPECT_TRUE(state->save(plugin, &s.out));
    return s.bytes;
  };
  const std::vector<unsigned char> otherState = save(other.plugin());

  MainSide main;
  const std::uint32_t rates[][2] = {{48000, 256}, {96000, 1024}, {44100, 512}};
  for (long i = 0; main.goOn(); ++i) {
    switch (i % 8) {
      case 0:
      case 4: {
        MemoryStream s;
        s.bytes = i % 16 == 0 ? otherState : save(p);
        main.started(audio);
        EXPECT_TRUE(state->load(p, &s.in));
        ++main.loads;
        break;
      }
      case 1:
      case 5: {
        const char key[2] = {static_cast<char>('0' + i / 8 % 8), 0};
        main.started(audio);
        EXPECT_TRUE(presets->fromLocation(p, clap::kLocationPlugin, nullptr, key));
        ++main.picks;
        break;
      }
      case 2:
      case 6:
        for (clap::Id id = 0; id < 5; ++id) {
          double v = 0.0;
          char text[64];
          params->getValue(p, id, &v);
          params->valueToText(p, id, v, text, sizeof text);
          ++main.reads;
        }
        break;
      case 3:
        if (i % 16 == 3 && gui->create(p, "x11", false)) {
          clap::Window w{"x11", {}};
          w.x11 = static_cast<unsigned long>(window.window);
          if (gui->setParent(p, &w)) {
            for (int t = 0; t < 3; ++t) timer->onTimer(p, 1);
            ++main.editorCycles;
          }
          gui->destroy(p);
        }
        break;
      case 7:
        if (i % 400 == 7) {  // the main thread re-activates at another rate, as the format asks, processing stopped
          hold.store(1);
          while (hold.load() != 2) std::this_thread::yield();
          const auto* r = rates[i / 400 % 3];
          p->deactivate(p);
          EXPECT_TRUE(p->activate(p, r[0], 1, r[1]));
          frames.store(r[1]);
          ++audio.rates;
          hold.store(0);
        }
        break;
    }
  }
  audio.stop.store(true);
  audioThread.join();
  report("CLAP", audio, main);
}

// ---------------------------------------------------------------- VST3

using namespace vst3host;

const Module& builtVst3() {
  static const Module module(KORRO_VST3_PATH);
  return module;
}

constexpr ParamId kProgram = 1000;

TEST(FrontThreads, Vst3AudioAndUiThreadAtOnce) {
  HostWindow window;
  ASSERT_NE(window.display, nullptr) << "no X server";
  ASSERT_NE(builtVst3().factory(), nullptr) << builtVst3().error();
  Instance fx(builtVst3());
  ASSERT_TRUE(fx && fx.start(44100, 512));
  // A state of other settings, to load now and then.
  Instance other(builtVst3());
  ASSERT_TRUE(other.start(48000, 256));
  {
    StereoBuffer in(256), out(256);
    Changes c;
    c.add(kProgram, 0, 3 / 7.0).add(1, 0, 0.9).add(2, 0, 0.8);
    other.process(in.channels(), 2, out.channels(), 256, &c);
  }
  const std::vector<unsigned char> otherState = other.state();

  AudioSide audio;
  std::thread audioThread([&] {
    StereoBuffer in(1024), out(1024);
    for (int i = 0; i < 1024; ++i) in.left[i] = in.right[i] = 0.5f * std::sin(0.03f * static_cast<float>(i));
    auto changes = std::make_unique<Changes>();
    auto outputs = std::make_unique<Changes>();
    const struct {
      double rate;
      std::int32_t block;
    } setups[] = {{48000, 256}, {96000, 1024}, {44100, 512}};
    std::int32_t frames = 512;
    std::uint32_t seed = 1;
    auto* component = fx.component;
    auto* processor = fx.processor;
    while (!audio.stop.load()) {
      changes->clear();
      outputs->clear();
      const int count = audio.blocks % kDenseEvery == 5 ? kDensePoints : static_cast<int>(audio.blocks % 4);
      for (int k = 0; k < count; ++k)
        changes->add(static_cast<ParamId>(k % 5), k * frames / count, valueOf(seed + static_cast<std::uint32_t>(k)));
      if (audio.blocks % 9 == 4) changes->add(kProgram, 0, static_cast<double>(audio.blocks / 9 % 8) / 7.0);
      seed += 7;
      audio.call([&] { return fx.process(in.channels(), 2, out.channels(), frames, changes.get(), outputs.get()); });
      audio.check(out, frames);
      audio.events += count;
      if (++audio.blocks % 5 != 0) continue;
      // Ardour's route switched off and on, on its process thread; now and then at another rate.
      processor->table->setProcessing(processor, 0);
      audio.call([&] { return component->table->setActive(component, 0); });
      if (audio.blocks % 200 == 0) {
        const auto& s = setups[audio.blocks / 200 % 3];
        ProcessSetup setup{0, 0, s.block, s.rate};
        processor->table->setupProcessing(processor, &setup);
        frames = s.block;
        ++audio.rates;
      }
      audio.call([&] { return component->table->setActive(component, 1); });
      processor->table->setProcessing(processor, 1);
      ++audio.toggles;
    }
  });

  MainSide main;
  Frame frame;
  auto* controller = fx.controller;
  for (long i = 0; main.goOn(); ++i) {
    switch (i % 8) {
      case 0:
      case 4: {
        Stream s(i % 16 == 0 ? otherState : fx.state());
        main.started(audio);
        EXPECT_EQ(fx.component->table->setState(fx.component, s.self()), kOk);
        ++main.loads;
        break;
      }
      case 1:
      case 5:
        main.started(audio);
        controller->table->setParamNormalized(controller, kProgram, static_cast<double>(i / 8 % 8) / 7.0);
        ++main.picks;
        break;
      case 2:
        for (ParamId id : {0u, 1u, 2u, 3u, 4u, kProgram}) {
          char16 text[128];
          controller->table->getParamStringByValue(controller, id, fx.value(id), text);
          ++main.reads;
        }
        {
          char16 name[128];
          fx.units->table->getProgramName(fx.units, 1, static_cast<std::int32_t>(i % 8), name);
        }
        break;
      case 6:
        for (ParamId id = 0; id < 5; ++id) {
          controller->table->setParamNormalized(controller, id, valueOf(static_cast<std::uint32_t>(i) + id));
          ++main.writes;
        }
        break;
      case 3:
      case 7:
        if (i % 16 == 3) {
          auto* v = static_cast<Interface<PlugViewTable>*>(controller->table->createView(controller, "editor"));
          if (!v) break;
          v->table->setFrame(v, frame.self());
          if (v->table->attached(v, window.handle(), "X11EmbedWindowID") == kOk) {
            for (int t = 0; t < 3; ++t) frame.tick();
            v->table->removed(v);
            ++main.editorCycles;
          }
          v->table->release(v);
        }
        break;
    }
  }
  audio.stop.store(true);
  audioThread.join();
  report("VST3", audio, main);
}

// Controller writes change only the controller's view: the same queues
// render the same samples whether or not the UI thread writes meanwhile.
TEST(FrontThreads, Vst3QueuesRenderTheSameWhateverTheControllerWrites) {
  constexpr int kBlocks = 300, kFrames = 256;
  auto render = [](bool writing) {
    Instance fx(builtVst3());
    EXPECT_TRUE(fx.start(48000, kFrames));
    std::atomic<bool> done{false};
    std::atomic<std::uint32_t> writes{0};
    std::thread ui;
    if (writing) {
      ui = std::thread([&] {
        auto* c = fx.controller;
        for (std::uint32_t n = 0; !done.load(); writes.store(++n)) {
          c->table->setParamNormalized(c, n % 5, valueOf(n));
          if (n % 7 == 0) c->table->setParamNormalized(c, kProgram, static_cast<double>(n / 7 % 8) / 7.0);
          fx.value(n % 5);
        }
      });
      while (writes.load() < 100) std::this_thread::yield();
    }
    StereoBuffer in(kFrames), out(kFrames * kBlocks);
    Changes changes;
    for (int b = 0; b < kBlocks; ++b) {
      for (int i = 0; i < kFrames; ++i) in.left[i] = in.right[i] = static_cast<float>(valueOf(b * kFrames + i)) - 0.5f;
      changes.clear();
      changes.add(static_cast<ParamId>(b % 5), b * 37 % kFrames, valueOf(b));
      changes.add(static_cast<ParamId>((b + 2) % 5), b * 91 % kFrames, valueOf(b + 1000));
      if (b % 50 == 25) changes.add(kProgram, 0, static_cast<double>(b / 50 % 8) / 7.0);
      float* o[2] = {out.left.data() + b * kFrames, out.right.data() + b * kFrames};
      fx.process(in.channels(), 2, o, kFrames, &changes);
    }
    done.store(true);
    if (ui.joinable()) ui.join();
    return out;
  };
  const StereoBuffer quiet = render(false), busy = render(true);
  EXPECT_TRUE(quiet.left == busy.left && quiet.right == busy.right);
}

}  // namespace
}  // namespace korro::test
