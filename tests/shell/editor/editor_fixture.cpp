#include "editor_fixture.h"

#include <map>

#include "gui/platform/software/text.h"

namespace korro::test {

std::vector<HostCall>& hostCalls() {
  static std::vector<HostCall> calls;
  return calls;
}

std::intptr_t KORRO_CDECL recordingHost(AEffect*, std::int32_t opcode, std::int32_t index, std::intptr_t value,
                                        void*, float opt) {
  hostCalls().push_back({opcode, index, opt, value});
  return opcode == audioMasterVersion ? 2400 : 0;
}

const software::Surface& picture(int resourceId) {
  static std::map<int, software::Surface> loaded;
  auto [it, added] = loaded.try_emplace(resourceId);
  if (platform::Bitmap* bitmap = added ? platform::loadBitmap(resourceId) : nullptr) {
    it->second = bitmap->surface;
    platform::freeBitmap(bitmap);
  }
  return it->second;
}

int mismatches(const platform::Window* window, const CRect& area, int resourceId, int srcX, int srcY) {
  const software::Surface& src = picture(resourceId);
  int wrong = 0;
  for (int y = 0; y < area.height(); ++y)
    for (int x = 0; x < area.width(); ++x) {
      const bool inside = src.contains(srcX + x, srcY + y);
      if (!inside || !(hl::pixel(window, area.left + x, area.top + y) == src.at(srcX + x, srcY + y))) ++wrong;
    }
  return wrong;
}

int textMismatches(const platform::Window* window, const CRect& area, const char* text, platform::Rgb colour) {
  software::Surface expected = picture(kBackgroundBitmap);
  platform::Font font;
  font.face = "Arial";
  font.pixelSize = 9;  // font 6 of the editor
  software::drawText(expected, text, {area.left, area.top, area.width(), area.height()}, font, colour,
                     platform::Align::Centre, false, {});
  int wrong = 0;
  for (int y = area.top; y < area.bottom; ++y)
    for (int x = area.left; x < area.right; ++x)
      if (!(hl::pixel(window, x, y) == expected.at(x, y))) ++wrong;
  return wrong;
}

CRect fieldRect(std::int32_t index) {
  switch (index) {
    case kDecay: return CRect(40, 97, 96, 111);
    case kDamp: return CRect(205, 97, 261, 111);
    case kOutput: return CRect(155, 167, 199, 181);
    case kMix: return CRect(101, 167, 145, 181);
    default: return CRect();
  }
}

void EditorTest::SetUp() {
  hl::resetInput();
  hostCalls().clear();
  fx = new ReverbEffect(&recordingHost, &createReverbEditor);
  effect = fx->getAeffect();
  hostCalls().clear();
}

void EditorTest::TearDown() {
  hl::resetInput();
  dispatch(effEditClose);
  dispatch(effClose);  // deletes the effect and its editor
  fx = nullptr;
  EXPECT_EQ(hl::liveWindows(), 0);
}

void EditorTest::open() {
  ERect* rect = nullptr;
  ASSERT_EQ(dispatch(effEditGetRect, 0, 0, &rect), 1);
  ASSERT_EQ(dispatch(effEditOpen, 0, 0, &parentWindow), 1);
  ASSERT_NE(window(), nullptr);
  idle();  // the first paint
}

void EditorTest::press(int x, int y, int buttons, std::initializer_list<hl::Step> steps) {
  hl::script(steps);
  hl::postButtonDown(window(), x, y, buttons);
  idle();
}

void EditorTest::drag(int x, int y, int buttons, const std::vector<std::pair<int, int>>& path) {
  std::vector<hl::Step> steps;
  for (const auto& p : path) steps.push_back({buttons, p.first, p.second});
  const int last = static_cast<int>(steps.size()) - 1;
  steps.push_back({buttons & ~kLeftButton, steps[last].x, steps[last].y});
  hl::script(steps);
  hl::postButtonDown(window(), x, y, buttons);
  idle();
}

std::vector<float> EditorTest::automated(std::int32_t index) const {
  std::vector<float> out;
  for (const HostCall& c : hostCalls())
    if (c.opcode == audioMasterAutomate && c.index == index) out.push_back(c.opt);
  return out;
}

}  // namespace korro::test
