// An effect with its editor opened as a host opens it, on the headless
// backend: the host's requests are recorded, gestures are scripted and the
// window's pixels are compared with the skin pictures.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "editor/reverb_editor.h"
#include "gui/geometry.h"
#include "gui/platform/headless/headless.h"
#include "gui/platform/software/surface.h"
#include "shell/reverb_effect.h"

namespace korro::test {

namespace hl = korro::headless;
using platform::kAltKey;
using platform::kControlKey;
using platform::kLeftButton;
using platform::kShiftKey;

struct HostCall {
  std::int32_t opcode;
  std::int32_t index;
  float opt;
  std::intptr_t value;
};

// What the host was asked, in order.
std::vector<HostCall>& hostCalls();
std::intptr_t KORRO_CDECL recordingHost(AEffect*, std::int32_t opcode, std::int32_t index, std::intptr_t, void*,
                                        float opt);

// A decoded skin picture.
const software::Surface& picture(int resourceId);

// Pixels of `area` in the window that differ from the picture block at (srcX, srcY).
int mismatches(const platform::Window* window, const CRect& area, int resourceId, int srcX, int srcY);
// Pixels of `area` that differ from the skin with `text` drawn over it as the editor draws its texts.
int textMismatches(const platform::Window* window, const CRect& area, const char* text, platform::Rgb colour);
// The value field under the knob of parameter `index`.
CRect fieldRect(std::int32_t index);

class EditorTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::intptr_t dispatch(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0, void* ptr = nullptr,
                         float opt = 0.0f) {
    return effect->dispatcher(effect, opcode, index, value, ptr, opt);
  }
  void open();
  void idle() { dispatch(effEditIdle); }
  void close() { dispatch(effEditClose); }
  ReverbEditor* editor() { return static_cast<ReverbEditor*>(fx->getEditor()); }
  platform::Window* window() { return hl::currentWindow(); }
  // Whether the value field of parameter `index` shows exactly `text` over the skin.
  bool fieldShows(std::int32_t index, const char* text) {
    return textMismatches(window(), fieldRect(index), text, {75, 75, 80}) == 0;
  }

  // A press at (x, y) with `buttons`, then the scripted steps, delivered by one host idle.
  void press(int x, int y, int buttons, std::initializer_list<hl::Step> steps = {});
  // A left-button drag from (x, y) through the points, released at the last one.
  void drag(int x, int y, int buttons, const std::vector<std::pair<int, int>>& path);

  std::vector<float> automated(std::int32_t index) const;
  int count(std::int32_t opcode) const {
    return static_cast<int>(std::count_if(hostCalls().begin(), hostCalls().end(),
                                          [&](const HostCall& c) { return c.opcode == opcode; }));
  }

  ReverbEffect* fx = nullptr;
  AEffect* effect = nullptr;
  int parentWindow = 0;  // any non-null handle stands for the host's window
};

}  // namespace korro::test
