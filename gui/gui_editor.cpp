#include "gui_editor.h"

#include "frame.h"
#include "platform/platform.h"
#include "shell/audio_effect.h"

namespace platform = korro::platform;

std::int32_t AEffGUIEditor::knobMode = 0;

AEffGUIEditor::AEffGUIEditor(AudioEffect* e) : effect(e) {
  if (effect) effect->setEditor(this);
  lastTicks = platform::tickCount();
}

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

void AEffGUIEditor::setParameter(std::int32_t, float) { postUpdate(); }

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
  if (effect) effect->masterIdle();
  inIdleStuff = false;
}

void AEffGUIEditor::beginEdit(std::int32_t index) {
  if (effect) effect->beginEdit(index);
}

void AEffGUIEditor::endEdit(std::int32_t index) {
  if (effect) effect->endEdit(index);
}
