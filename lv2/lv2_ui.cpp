// The LV2 editor: the effect's own window on the host's X11 window. It talks
// to the plug-in through its control ports, not the effect object: a gesture
// is written to a port through the host, and the host's port events move the
// controls. The meter follows the plug-in's peak output port.
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>

#include "engine/level_meter.h"
#include "gui/frame.h"
#include "gui/gui_editor.h"
#include "ports.h"
#include "shell/base/edit_controller.h"
#include "editor/editor_factory.h"
#include "shell/programs.h"

namespace korro::lv2 {
namespace {

constexpr int kParameterCount = static_cast<int>(std::size(kControlPorts));

// The meter holds a falling peak for two seconds; here its "blocks" are milliseconds.
constexpr std::int32_t kHoldMilliseconds = 2000;

const ControlPort* portOfParameter(std::int32_t index) {
  for (const ControlPort& c : kControlPorts)
    if (c.parameter == index) return &c;
  return nullptr;
}

const ControlPort* controlPort(std::uint32_t port) {
  for (const ControlPort& c : kControlPorts)
    if (c.port == port) return &c;
  return nullptr;
}

// What the editor reads and writes: the parameters as the plug-in's ports
// last told, and gestures sent back through the host's write function.
class PortController final : public EditController {
 public:
  PortController(LV2UI_Write_Function write, LV2UI_Controller host, const LV2UI_Touch* touch)
      : write_(write), host_(host), touch_(touch) {
    // What a new plug-in holds until the host tells its ports.
    const FactoryProgram& start = kFactoryPrograms[0];
    const float values[kParameterCount] = {1.0f, start.decay, start.damp, start.output, start.mix};
    std::copy(std::begin(values), std::end(values), values_);
    meter_.meterHoldBlocks.store(kHoldMilliseconds, std::memory_order_relaxed);
  }

  float getParameter(std::int32_t index) override {
    return index >= 0 && index < kParameterCount ? values_[index] : 0.0f;
  }

  void setParameterAutomated(std::int32_t index, float value) override {
    const ControlPort* c = portOfParameter(index);
    if (!c) return;
    values_[index] = value;
    const float shown = static_cast<float>(portFromParameter(*c, value));
    if (write_) write_(host_, c->port, sizeof shown, 0, &shown);
    // Hosts do not echo a UI's own writes: tell the editor, as the effect does.
    if (editor_) editor_->setParameter(index, value);
  }

  void attach(AEffEditor* editor) { editor_ = editor; }

  void beginEdit(std::int32_t index) override { touch(index, true); }
  void endEdit(std::int32_t index) override { touch(index, false); }
  LevelMeter* levelMeter() override { return &meter_; }

  // A control port's new value: the parameter it stands for. Answers the
  // parameter index, or -1 for anything that is not a control input.
  int portChanged(std::uint32_t port, float value) {
    if (port == kPeakPort) {
      latestPeak_ = value;
      return -1;
    }
    const ControlPort* c = controlPort(port);
    const float parameter = c ? parameterFromPort(*c, value) : NAN;
    if (std::isnan(parameter)) return -1;
    values_[c->parameter] = parameter;
    return c->parameter;
  }

  // Before each of the editor's idles: the peak port's value, counted over
  // the milliseconds since the last feed.
  void feedMeter() {
    const auto now = std::chrono::steady_clock::now();
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now - lastFeed_).count();
    if (ms <= 0) return;
    lastFeed_ += std::chrono::milliseconds(ms);
    meter_.raise(latestPeak_, 0.0f, static_cast<std::int32_t>(ms < kHoldMilliseconds ? ms : kHoldMilliseconds));
  }

 private:
  void touch(std::int32_t index, bool grabbed) {
    const ControlPort* c = portOfParameter(index);
    if (c && touch_ && touch_->touch) touch_->touch(touch_->handle, c->port, grabbed);
  }

  LV2UI_Write_Function write_;
  LV2UI_Controller host_;
  const LV2UI_Touch* touch_;
  AEffEditor* editor_ = nullptr;
  float values_[kParameterCount] = {};
  LevelMeter meter_;
  float latestPeak_ = 0.0f;
  std::chrono::steady_clock::time_point lastFeed_ = std::chrono::steady_clock::now();
};

struct Ui {
  Ui(LV2UI_Write_Function write, LV2UI_Controller host, const LV2UI_Touch* touch)
      : controller(write, host, touch), editor(createReverbEditor(controller)) {
    controller.attach(editor);
  }
  ~Ui() {
    editor->close();
    delete editor;
  }
  PortController controller;
  AEffEditor* editor;
};

const void* feature(const LV2_Feature* const* features, const char* uri) {
  for (const LV2_Feature* const* f = features; f && *f; ++f)
    if ((*f)->URI && std::strcmp((*f)->URI, uri) == 0) return (*f)->data;
  return nullptr;
}

// The host's ui:scaleFactor (a float option, keys mapped through urid:map); 0 when it gives none.
float scaleFactor(const LV2_Feature* const* features) {
  const auto* options = static_cast<const LV2_Options_Option*>(feature(features, LV2_OPTIONS__options));
  const auto* map = static_cast<const LV2_URID_Map*>(feature(features, LV2_URID__map));
  if (!options || !map || !map->map) return 0.0f;
  const LV2_URID key = map->map(map->handle, LV2_UI__scaleFactor);
  const LV2_URID floatType = map->map(map->handle, LV2_ATOM__Float);
  for (const LV2_Options_Option* o = options; o->key != 0; ++o)
    if (o->key == key && o->type == floatType && o->size == sizeof(float) && o->value) {
      float value;
      std::memcpy(&value, o->value, sizeof value);
      return value;
    }
  return 0.0f;
}

LV2UI_Handle instantiate(const LV2UI_Descriptor*, const char*, const char*, LV2UI_Write_Function write,
                         LV2UI_Controller host, LV2UI_Widget* widget, const LV2_Feature* const* features) {
  void* parent = const_cast<void*>(feature(features, LV2_UI__parent));
  if (!parent) return nullptr;  // an X11 editor needs the host's window
  auto* ui = new (std::nothrow) Ui(write, host, static_cast<const LV2UI_Touch*>(feature(features, LV2_UI__touch)));
  if (!ui) return nullptr;
  // Without the host's word the desktop's scale holds.
  if (const float scale = scaleFactor(features); scale > 0.0f) ui->editor->setScale(scale);
  ui->editor->open(parent);
  CFrame* frame = static_cast<AEffGUIEditor*>(ui->editor)->getFrame();
  void* window = frame ? frame->getNativeWindow() : nullptr;
  if (!window) {
    delete ui;
    return nullptr;
  }
  if (widget) *widget = window;
  // The host fits its frame to this; a host whose toolkit scales multiplies it again.
  if (auto* resize = static_cast<const LV2UI_Resize*>(feature(features, LV2_UI__resize)); resize && resize->ui_resize) {
    ERect* rect = nullptr;
    if (ui->editor->getRect(&rect) && rect) {
      const HostSize size = hostEditorSize(rect->right - rect->left, rect->bottom - rect->top);
      resize->ui_resize(resize->handle, size.width, size.height);
    }
  }
  return ui;
}

void cleanup(LV2UI_Handle handle) { delete static_cast<Ui*>(handle); }

void portEvent(LV2UI_Handle handle, std::uint32_t port, std::uint32_t size, std::uint32_t format, const void* buffer) {
  if (!handle || format != 0 || size != sizeof(float) || !buffer) return;
  auto* ui = static_cast<Ui*>(handle);
  float value;
  std::memcpy(&value, buffer, sizeof value);
  const int index = ui->controller.portChanged(port, value);
  // Only noted here; the controls move at the next idle.
  if (index >= 0) ui->editor->setParameter(index, ui->controller.getParameter(index));
}

int idle(LV2UI_Handle handle) {
  auto* ui = static_cast<Ui*>(handle);
  ui->controller.feedMeter();
  ui->editor->idle();
  return 0;
}

const LV2UI_Idle_Interface kIdle = {idle};

const void* extensionData(const char* uri) {
  return uri && std::strcmp(uri, LV2_UI__idleInterface) == 0 ? &kIdle : nullptr;
}

const LV2UI_Descriptor kDescriptor = {kUiUri, instantiate, cleanup, portEvent, extensionData};

}  // namespace
}  // namespace korro::lv2

extern "C" LV2_SYMBOL_EXPORT const LV2UI_Descriptor* lv2ui_descriptor(std::uint32_t index) {
  return index == 0 ? &korro::lv2::kDescriptor : nullptr;
}
