// The editor through the built module, as a host drives it: rectangle, open on
// a parent window, idle, close, again and again, and idle while closed.
#include <gtest/gtest.h>

#include "support/module_fixture.h"

namespace korro::test {
namespace {

TEST_F(ModuleTest, EditorOpensAndClosesRepeatedlyThroughTheModule) {
  fx().start(48000.0f, 256);
  int parent = 0;
  std::vector<float> in(256, 0.25f), out(256, 0.0f);
  float* ins[2] = {in.data(), in.data()};
  float* outs[2] = {out.data(), out.data()};
  for (int i = 0; i < 100; ++i) {
    ERect* rect = nullptr;
    ASSERT_EQ(fx().dispatch(effEditGetRect, 0, 0, &rect), 1);
    ASSERT_NE(rect, nullptr);
    ASSERT_EQ(rect->right - rect->left, 300);
    ASSERT_EQ(rect->bottom - rect->top, 196);
    ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, &parent), 1);
    fx().processReplacing(ins, outs, 256);
    fx().dispatch(effEditIdle);
    fx().setParameter(1, static_cast<float>(i % 10) / 10.0f);
    fx().dispatch(effEditIdle);
    fx().dispatch(effEditClose);
    fx().dispatch(effEditIdle);  // hosts keep idling a closed editor
  }
  EXPECT_EQ(fx().dispatch(effSetEditKnobMode, 0, 1), 1);
  EXPECT_EQ(fx().dispatch(effEditKeyDown, 'x', 0), -1);
  // Opened and left open: closing the effect takes the editor down with it.
  ASSERT_EQ(fx().dispatch(effEditOpen, 0, 0, &parent), 1);
  fx().dispatch(effEditIdle);
  fx().close();
}

}  // namespace
}  // namespace korro::test
