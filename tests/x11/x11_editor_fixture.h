// The shipped module with a host window on the X server, for the editor
// tests that drive it with real input events.
#pragma once

#include "support/module_fixture.h"
// Last: Xlib's macros (None, Bool, Status) would clash with names above.
#include "support/x11_host.h"

namespace korro::test {

class X11EditorHost : public ModuleTest {
 protected:
  explicit X11EditorHost(int width = 300, int height = 196) : host_(nullptr, width, height) {}
  void SetUp() override {
    ModuleTest::SetUp();
    ASSERT_NE(host_.display, nullptr) << "no X server (DISPLAY=" << (getenv("DISPLAY") ? getenv("DISPLAY") : "") << ")";
  }
  void TearDown() override {
    fx().dispatch(effEditClose);
    ModuleTest::TearDown();
  }
  // Host idles, a little apart as a host's timer would call them.
  void idle(int times) {
    for (int i = 0; i < times; ++i) {
      fx().dispatch(effEditIdle);
      pause(10);
    }
  }

  HostWindow host_;
  Pointer pointer_;
};

}  // namespace korro::test
