// The effect's own editor window.
#pragma once

#include "shell/aeff_editor.h"

class AudioEffect;

class ReverbEditor : public AEffEditor {
 public:
  explicit ReverbEditor(AudioEffect* effect);

  std::intptr_t getRect(ERect** rect) override;
  std::intptr_t open(void* parentWindow) override;
  void close() override;
  void idle() override {}
  std::intptr_t onKeyDown(VstKeyCode&) override { return -1; }
  std::intptr_t onKeyUp(VstKeyCode&) override { return -1; }
  std::intptr_t setKnobMode(int mode) override;
  void setParameter(std::int32_t, float) override {}

  bool isOpen() const { return parent_ != nullptr; }

 private:
  AudioEffect* effect_;
  ERect rect_{0, 0, 196, 300};
  void* parent_ = nullptr;
  int knobMode_ = 2;
};
