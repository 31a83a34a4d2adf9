// The editor while a host runs its three threads at once: one processes
// blocks, one plays back automation (now and then a value out of range), and
// the user-interface thread opens, idles and closes the editor and selects
// programs from the host's menu every few milliseconds — on an X11 parent (the shipped module, under
// Xvfb) and on the headless backend, where it also clicks, drags and types.
// Built with ThreadSanitizer as well, where any unsynchronised access fails.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <stop_token>
#include <thread>

#include "editor/reverb_editor.h"
#include "gui/knob.h"
#include "gui/param_display.h"
#include "gui/buttons.h"
#include "gui/platform/headless/headless.h"
#include "shell/reverb_effect.h"
#include "support/stereo_buffer.h"
#include "tools/host/vst_host.h"

// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include <X11/Xlib.h>

namespace korro::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kRunTime = std::chrono::seconds(3);
constexpr int kBlock = 512;

std::atomic<long> automations{0};
long programChanges = 0;  // made on the test's own (UI) thread

// A host that may be called from every thread at once.
std::intptr_t KORRO_CDECL threadSafeHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  switch (opcode) {
    case audioMasterVersion:
      return 2400;
    case audioMasterGetBlockSize:
      return kBlock;
    case audioMasterAutomate:
      automations.fetch_add(1, std::memory_order_relaxed);
      return 0;
    default:
      return 0;
  }
}

// The audio and the automation thread, running until stopped or destroyed.
class HostThreads {
 public:
  explicit HostThreads(AEffect* effect) : effect_(effect) {
    effect_->dispatcher(effect_, effSetSampleRate, 0, 0, nullptr, 44100.0f);
    effect_->dispatcher(effect_, effSetBlockSize, 0, kBlock, nullptr, 0.0f);
    effect_->dispatcher(effect_, effMainsChanged, 0, 1, nullptr, 0.0f);
    audio_ = std::jthread([this](std::stop_token running) { processBlocks(running); });
    automation_ = std::jthread([this](std::stop_token running) { automate(running); });
  }
  void stop() { audio_ = {}; automation_ = {}; }  // assigning an empty jthread stops and joins the old one
  long blocks() const { return blocks_; }
  long writes() const { return writes_; }
  bool outputFinite() const { return finite_; }

 private:
  void processBlocks(const std::stop_token& running) {
    StereoBuffer in(kBlock), out(kBlock);
    for (int i = 0; i < kBlock; ++i) in.left[i] = in.right[i] = 0.8f * std::sin(0.05f * static_cast<float>(i));
    while (!running.stop_requested()) {
      effect_->processReplacing(effect_, in.channels(), out.channels(), kBlock);
      for (int i = 0; i < kBlock; ++i) finite_ = finite_ && std::isfinite(out.left[i]) && std::isfinite(out.right[i]);
      ++blocks_;
    }
  }
  void automate(const std::stop_token& running) {
    std::uint32_t seed = 12345;
    while (!running.stop_requested()) {
      seed = seed * 1664525u + 1013904223u;
      const auto index = static_cast<std::int32_t>(writes_ % kNumParams);
      // A buggy lane's values among the normal ones: the engine must hold them to the range.
      const float hostile[] = {NAN, 20.0f, -2.0f, INFINITY, -1e9f};
      const float value = writes_ % 17 == 0 ? hostile[(writes_ / 17) % 5] : static_cast<float>(seed >> 8) / 16777216.0f;
      effect_->setParameter(effect_, index, value);
      if (++writes_ % 64 == 0) std::this_thread::yield();
    }
  }

  AEffect* effect_;
  long blocks_ = 0;
  long writes_ = 0;
  bool finite_ = true;
  std::jthread audio_;
  std::jthread automation_;
};

// Opens, idles and closes until the run time is over; `whileOpen` runs between idles.
long openIdleClose(AEffect* effect, void* parent, const std::function<void(int)>& whileOpen) {
  long opens = 0;
  for (const auto end = Clock::now() + kRunTime; Clock::now() < end;) {
    ERect* rect = nullptr;
    EXPECT_EQ(effect->dispatcher(effect, effEditGetRect, 0, 0, &rect, 0.0f), 1);
    EXPECT_EQ(effect->dispatcher(effect, effEditOpen, 0, 0, parent, 0.0f), 1);
    ++opens;
    for (int i = 0; i < 8; ++i) {
      effect->dispatcher(effect, effEditIdle, 0, 0, nullptr, 0.0f);
      whileOpen(i);
      if (i % 2 == 1) {
        effect->dispatcher(effect, effSetProgram, 0, static_cast<std::int32_t>(programChanges % 8), nullptr, 0.0f);
        ++programChanges;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    effect->dispatcher(effect, effEditClose, 0, 0, nullptr, 0.0f);
    effect->dispatcher(effect, effEditIdle, 0, 0, nullptr, 0.0f);  // hosts idle closed editors too
  }
  return opens;
}

// Stops the host's threads and checks that all three really ran side by side.
void finish(const char* where, HostThreads& threads, long opens) {
  threads.stop();
  std::printf(
      "%s: %ld blocks processed, %ld parameter writes, %ld program changes, %ld editor opens, %ld automated by the "
      "editor\n",
      where, threads.blocks(), threads.writes(), programChanges, opens, automations.load());
  EXPECT_GT(threads.blocks(), 10);
  EXPECT_GT(threads.writes(), 1000);
  EXPECT_GE(opens, 3);
  EXPECT_GE(programChanges, 4 * opens);
  EXPECT_TRUE(threads.outputFinite());
}

TEST(EditorThreads, X11EditorOfTheModuleWhileAudioAndAutomationRun) {
  Display* display = XOpenDisplay(nullptr);
  ASSERT_NE(display, nullptr) << "no X server";
  const int screen = DefaultScreen(display);
  const ::Window parent = XCreateSimpleWindow(display, RootWindow(display, screen), 0, 0, 300, 196, 0, 0,
                                              WhitePixel(display, screen));
  XMapWindow(display, parent);
  XSync(display, False);

  programChanges = 0;
  host::Module module(KORRO_MODULE_PATH);
  ASSERT_TRUE(module.loaded()) << module.error();
  AEffect* effect = module.entry()(&threadSafeHost);
  ASSERT_NE(effect, nullptr);
  {
    HostThreads threads(effect);
    const long opens = openIdleClose(effect, reinterpret_cast<void*>(static_cast<std::uintptr_t>(parent)), [](int) {});
    finish("x11", threads, opens);
  }
  // Left open: closing the effect takes the editor and its window down.
  effect->dispatcher(effect, effEditOpen, 0, 0, reinterpret_cast<void*>(static_cast<std::uintptr_t>(parent)), 0.0f);
  effect->dispatcher(effect, effEditIdle, 0, 0, nullptr, 0.0f);
  effect->dispatcher(effect, effClose, 0, 0, nullptr, 0.0f);
  ::Window root = 0, up = 0, *children = nullptr;
  unsigned count = 0;
  XQueryTree(display, parent, &root, &up, &children, &count);
  if (children) XFree(children);
  EXPECT_EQ(count, 0u);
  XDestroyWindow(display, parent);
  XCloseDisplay(display);
}

TEST(EditorThreads, HeadlessEditorWithGesturesWhileAudioAndAutomationRun) {
  namespace hl = korro::headless;
  hl::resetInput();
  automations = 0;
  programChanges = 0;
  auto* fx = new ReverbEffect(&threadSafeHost, &createReverbEditor);
  AEffect* effect = fx->getAeffect();
  auto* editor = static_cast<ReverbEditor*>(fx->getEditor());
  int parent = 0;
  {
    HostThreads threads(effect);
    // Each open: the switch clicked, the Decay knob dragged, a value typed into the Mix field.
    const long opens = openIdleClose(effect, &parent, [&](int step) {
      platform::Window* window = hl::currentWindow();
      if (step == 1) hl::postButtonDown(window, 67, 149, platform::kLeftButton);
      if (step == 2) {
        hl::script({{platform::kLeftButton, 67, 60}, {platform::kLeftButton, 67, 40}, {0, 67, 40}});
        hl::postButtonDown(window, 67, 70, platform::kLeftButton);
      }
      if (step == 3) hl::postButtonDown(window, 122, 174, platform::kLeftButton);
      if (step == 4 && hl::focusedEditBox()) {
        hl::type(hl::focusedEditBox(), "40");
        hl::pressReturn(hl::focusedEditBox());
      }
    });
    finish("headless", threads, opens);
    EXPECT_GE(automations.load(), 3 * opens) << "every gesture reached the host";
  }

  // Changes made on another thread show at the next idle, none lost.
  effect->dispatcher(effect, effEditOpen, 0, 0, &parent, 0.0f);
  std::thread([effect] {
    for (std::int32_t i = 0; i < kNumParams; ++i) effect->setParameter(effect, i, 0.1f * static_cast<float>(i + 1));
    effect->setParameter(effect, kBypass, 1.0f);
  }).join();
  effect->dispatcher(effect, effEditIdle, 0, 0, nullptr, 0.0f);
  const struct {
    std::int32_t index;
    const char* text;
  } shown[] = {{kDecay, "20%"}, {kDamp, "30%"}, {kOutput, "-3.86dB"}, {kMix, "50%"}};
  for (const auto& f : shown) {
    EXPECT_EQ(editor->knob(f.index)->getValue(), 0.1f * static_cast<float>(f.index + 1)) << f.index;
    EXPECT_STREQ(editor->field(f.index)->text(), f.text);
  }
  EXPECT_EQ(editor->getBypassButton()->getValue(), 1.0f);
  effect->dispatcher(effect, effEditClose, 0, 0, nullptr, 0.0f);
  effect->dispatcher(effect, effClose, 0, 0, nullptr, 0.0f);
  hl::resetInput();
}

}  // namespace
}  // namespace korro::test
