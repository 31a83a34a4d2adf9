// The LV2 editor as a host runs it on a real X server (Xvfb): opened on the
// host's window, a drag written to the plug-in's port through the host, and
// the host's port events shown on the controls and the meter.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/atom.h>
#include <lv2/options/options.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "lv2/ports.h"
#include "support/host_toolkit.h"
// Last: Xlib's macros clash with names above.
#include "support/x11_host.h"

namespace korro::test {
namespace {

using lv2::kDecayPort;

struct HostSide {
  std::vector<std::pair<std::uint32_t, float>> writes;
  std::vector<std::pair<std::uint32_t, bool>> touches;

  static void write(LV2UI_Controller self, std::uint32_t port, std::uint32_t size, std::uint32_t protocol,
                    const void* buffer) {
    if (protocol == 0 && size == sizeof(float))
      static_cast<HostSide*>(self)->writes.emplace_back(port, *static_cast<const float*>(buffer));
  }
  static void touch(LV2UI_Feature_Handle self, std::uint32_t port, bool grabbed) {
    static_cast<HostSide*>(self)->touches.emplace_back(port, grabbed);
  }
};

class Lv2Ui : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(window_.display, nullptr) << "no X server";
    library_ = dlopen(KORRO_LV2_UI_BINARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library_, nullptr) << dlerror();
    auto entry = reinterpret_cast<const LV2UI_Descriptor* (*)(std::uint32_t)>(dlsym(library_, "lv2ui_descriptor"));
    ASSERT_NE(entry, nullptr);
    ui_ = entry(0);
    ASSERT_NE(ui_, nullptr);
    EXPECT_EQ(entry(1), nullptr);
    handle_ = instantiate(window_.handle());
    ASSERT_NE(handle_, nullptr);
    idle_ = static_cast<const LV2UI_Idle_Interface*>(ui_->extension_data(LV2_UI__idleInterface));
    ASSERT_NE(idle_, nullptr);
    // Hosts tell the ports' current values first.
    const float start[][2] = {{lv2::kBypassPort, 1}, {kDecayPort, 50}, {lv2::kDampPort, 10}, {lv2::kOutputPort, 0},
                              {lv2::kMixPort, 50}};
    for (auto [port, value] : start) portEvent(static_cast<std::uint32_t>(port), value);
    idle(5);
  }
  void TearDown() override {
    if (handle_) ui_->cleanup(handle_);
    if (library_) dlclose(library_);
  }

  LV2UI_Handle instantiate(void* parent) {
    touch_ = {&host_, &HostSide::touch};
    const LV2_Feature parentFeature{LV2_UI__parent, parent};
    const LV2_Feature touchFeature{LV2_UI__touch, &touch_};
    const LV2_Feature* features[] = {&parentFeature, &touchFeature, nullptr};
    return ui_->instantiate(ui_, lv2::kPluginUri, KORRO_LV2_BUNDLE, &HostSide::write, &host_, &widget_,
                            parent ? features : features + 1);
  }
  void portEvent(std::uint32_t port, float value) { ui_->port_event(handle_, port, sizeof value, 0, &value); }
  void idle(int times) {
    for (int i = 0; i < times; ++i) {
      idle_->idle(handle_);
      pause(10);
    }
  }

  HostWindow window_;
  Pointer pointer_;
  HostSide host_;
  LV2UI_Touch touch_{};
  void* library_ = nullptr;
  const LV2UI_Descriptor* ui_ = nullptr;
  LV2UI_Handle handle_ = nullptr;
  LV2UI_Widget widget_ = nullptr;
  const LV2UI_Idle_Interface* idle_ = nullptr;
};

TEST_F(Lv2Ui, OpensAsTheHostWindowsChildAndNeedsOne) {
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(widget_), window_.child());
  EXPECT_EQ(instantiate(nullptr), nullptr) << "no parent window, no editor";
}

TEST_F(Lv2Ui, DraggingAKnobWritesItsPortInsideATouch) {
  pointer_.drag(67, 70, 67, 20, [&] { idle(1); });  // Decay at 50 %, 50 pixels up: a quarter of the range
  idle(2);
  ASSERT_FALSE(host_.writes.empty());
  EXPECT_EQ(host_.writes.back(), std::make_pair(std::uint32_t{kDecayPort}, 75.0f));
  for (const auto& w : host_.writes) EXPECT_EQ(w.first, kDecayPort);
  const std::vector<std::pair<std::uint32_t, bool>> gesture{{kDecayPort, true}, {kDecayPort, false}};
  EXPECT_EQ(host_.touches, gesture);

  // The field under the knob follows at once, though no host echoes the write.
  auto decayField = [&] { return window_.capture(window_.child(), 40, 97, 56, 14); };
  const auto afterDrag = decayField();
  portEvent(kDecayPort, 75.0f);
  idle(2);
  EXPECT_EQ(decayField(), afterDrag) << "the field shows what 75 % shows";
}

TEST_F(Lv2Ui, PortEventsMoveTheKnobAndFeedTheMeter) {
  const ::Window editor = window_.child();
  auto decayKnob = [&] { return window_.capture(editor, 40, 43, 54, 54); };
  auto readout = [&] { return window_.capture(editor, 211, 162, 43, 14); };
  const auto knobAtHalf = decayKnob();
  const auto silentReadout = readout();

  portEvent(kDecayPort, 20.0f);
  idle(2);
  EXPECT_NE(decayKnob(), knobAtHalf);
  portEvent(kDecayPort, 50.0f);
  idle(2);
  EXPECT_EQ(decayKnob(), knobAtHalf) << "back at 50 % it shows the same picture";
  EXPECT_TRUE(host_.writes.empty()) << "a port event is not a gesture";

  portEvent(lv2::kPeakPort, 0.5f);
  idle(2);
  EXPECT_NE(readout(), silentReadout) << "the held peak is shown";
  portEvent(99, 1.0f);  // no such port
  portEvent(kDecayPort, NAN);
  idle(1);
  EXPECT_EQ(decayKnob(), knobAtHalf);
}

// A host of 200 % screens: the scale comes as the ui:scaleFactor option.
class Lv2UiScale : public Lv2Ui {
 protected:
  static LV2_URID map(LV2_URID_Map_Handle self, const char* uri) {
    auto& uris = *static_cast<std::vector<std::string>*>(self);
    for (std::size_t i = 0; i < uris.size(); ++i)
      if (uris[i] == uri) return static_cast<LV2_URID>(i + 1);
    uris.emplace_back(uri);
    return static_cast<LV2_URID>(uris.size());
  }
  static int resize(LV2UI_Feature_Handle self, int width, int height) {
    *static_cast<std::pair<int, int>*>(self) = {width, height};
    return 0;
  }
  // Opens a second editor on a 600 × 392 host window with the option of `type` and `scale`;
  // answers its window's size.
  std::pair<int, int> openWith(const char* type, float scale, bool withOption = true) {
    HostWindow big(nullptr, 600, 392);
    LV2_URID_Map mapper{&uris_, &Lv2UiScale::map};
    const LV2_Options_Option options[] = {
        {LV2_OPTIONS_INSTANCE, 0, map(&uris_, LV2_UI__scaleFactor), sizeof scale, map(&uris_, type), &scale},
        {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
    const LV2UI_Resize resizer{&asked_, &Lv2UiScale::resize};
    const LV2_Feature parentFeature{LV2_UI__parent, big.handle()};
    const LV2_Feature mapFeature{LV2_URID__map, &mapper};
    const LV2_Feature optionsFeature{LV2_OPTIONS__options, const_cast<LV2_Options_Option*>(options)};
    const LV2_Feature resizeFeature{LV2_UI__resize, const_cast<LV2UI_Resize*>(&resizer)};
    const LV2_Feature* features[] = {&parentFeature, &mapFeature, &resizeFeature,
                                     withOption ? &optionsFeature : nullptr, nullptr};
    LV2UI_Widget widget = nullptr;
    LV2UI_Handle ui = ui_->instantiate(ui_, lv2::kPluginUri, KORRO_LV2_BUNDLE, &HostSide::write, &host_, &widget, features);
    if (!ui) return {0, 0};
    for (int i = 0; i < 3; ++i) {
      idle_->idle(ui);
      pause(10);
    }
    const std::pair<int, int> size = big.size(big.child());
    ui_->cleanup(ui);
    return size;
  }
  std::vector<std::string> uris_;
  std::pair<int, int> asked_{0, 0};
};

TEST_F(Lv2UiScale, ScaleFactorTwoOpensAt600By392AndTheHostIsAskedForThat) {
  EXPECT_EQ(openWith(LV2_ATOM__Float, 2.0f), (std::pair<int, int>{600, 392}));
  EXPECT_EQ(asked_, (std::pair<int, int>{600, 392}));
  EXPECT_EQ(openWith(LV2_ATOM__Float, 1.5f), (std::pair<int, int>{450, 294}));
  EXPECT_EQ(openWith(LV2_ATOM__Float, 0.75f), (std::pair<int, int>{300, 196}));
  // A value of another type is not a scale.
  EXPECT_EQ(openWith(LV2_ATOM__Int, 2.0f), (std::pair<int, int>{300, 196}));
  EXPECT_EQ(asked_, (std::pair<int, int>{300, 196}));
}

// A GTK 3 host at GDK_SCALE=2 (jalv.gtk3) names no scale and doubles every size it is told.
TEST_F(Lv2UiScale, InAGtk3HostAtGdkScale2ThePictureIs600By392AndTheHostIsToldHalf) {
  HostToolkit gtk({HostToolkit::kGtk3}, "GDK_SCALE", "2");
  ASSERT_TRUE(gtk.loaded) << "GTK 3 is not installed";
  EXPECT_EQ(openWith(LV2_ATOM__Float, 0.0f, false), (std::pair<int, int>{600, 392}));
  EXPECT_EQ(asked_, (std::pair<int, int>{300, 196}));
  EXPECT_EQ(openWith(LV2_ATOM__Float, 1.0f), (std::pair<int, int>{300, 196}));
  EXPECT_EQ(asked_, (std::pair<int, int>{150, 98}));
}

}  // namespace
}  // namespace korro::test
