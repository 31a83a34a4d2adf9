#include "gui_editor.h"

#include "frame.h"
#include "platform/platform.h"

namespace platform = korro::platform;

std::int32_t AEffGUIEditor::knobMode = 0;

namespace {
constexpr std::uint32_t kOtherParameters = 1u << 31;
}

AEffGUIEditor::AEffGUIEditor(EditController* c) : controller(c) { lastTicks = platform::tickCount(); }

AEffGUIEditor::~AEffGUIEditor() = default;

std::intptr_t AEffGUIEditor::getRect(ERect** r) {
  if (!r) return 0;
  *r = &rect;
  return 1;
}

std::intptr_t AEffGUIEditor::open(void* parent) {
  postUpdate();
  parentWindow = parent;
  return 0;
}

void AEffGUIEditor::idle() {
  if (inIdleStuff) return;
  if (frame) frame->dispatchEvents();
  applyParameterChanges();
  if (updateFlag) {
    updateFlag = 0;
    update();
  }
  if (frame) frame->idle();
}

std::intptr_t AEffGUIEditor::setKnobMode(int mode) {
  knobMode = mode;
  return 1;
}

bool AEffGUIEditor::onWheel(float distance) {
  return frame ? frame->onWheel(nullptr, CPoint(0, 0), distance) : false;
}

void AEffGUIEditor::setParameter(std::int32_t index, float) {
  const std::uint32_t bit = index >= 0 && index < 31 ? 1u << index : kOtherParameters;
  changedParameters.fetch_or(bit, std::memory_order_relaxed);
}

void AEffGUIEditor::applyParameterChanges() {
  const std::uint32_t changed = changedParameters.exchange(0, std::memory_order_relaxed);
  if (!changed) return;
  for (std::int32_t index = 0; index < 31; ++index)
    if (changed & (1u << index)) refreshParameter(index);
  postUpdate();
}

void AEffGUIEditor::draw(ERect*) {
  if (frame) frame->draw(static_cast<CView*>(nullptr));
}

void AEffGUIEditor::doIdleStuff() {
  std::uint32_t now = platform::tickCount();
  idle();
  if (now < lastTicks + 100) {
    platform::sleepMs(4);
    now += 4;
    if (now < lastTicks + 50) return;
  }
  platform::pumpOnePaint();
  lastTicks = now;
  inIdleStuff = true;
  if (controller) controller->idleHost();
  inIdleStuff = false;
}

void AEffGUIEditor::beginEdit(std::int32_t index) {
  if (controller) controller->beginEdit(index);
}

void AEffGUIEditor::endEdit(std::int32_t index) {
  if (controller) controller->endEdit(index);
}
