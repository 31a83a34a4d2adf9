#include "reverb_editor.h"

#include "shell/audio_effect.h"

// Minimal editor: it answers the host's editor requests; the bitmap editor
// with its controls grows on top of this.
ReverbEditor::ReverbEditor(AudioEffect* effect) : effect_(effect) { effect_->setEditor(this); }

std::intptr_t ReverbEditor::getRect(ERect** rect) {
  if (!rect) return 0;
  *rect = &rect_;
  return 1;
}

std::intptr_t ReverbEditor::open(void* parentWindow) {
  parent_ = parentWindow;
  return 1;
}

void ReverbEditor::close() { parent_ = nullptr; }

std::intptr_t ReverbEditor::setKnobMode(int mode) {
  knobMode_ = mode;
  return 1;
}
