// The editor base: connects a frame to the effect and to the host's editor
// requests, and keeps the host alive while a control tracks the mouse.
#pragma once

#include "shell/aeff_editor.h"

class AudioEffect;
class CFrame;

class AEffGUIEditor : public AEffEditor {
 public:
  // Attaches itself to the effect, which raises the effect's has-editor flag.
  explicit AEffGUIEditor(AudioEffect* effect);
  ~AEffGUIEditor() override;

  std::intptr_t getRect(ERect** rect) override;
  // Remembers the parent and asks for an update; the real editor builds its frame.
  std::intptr_t open(void* parentWindow) override;
  void close() override {}
  // Delivers the window's events, runs a pending update, then the frame's idle.
  void idle() override;
  virtual void update() {}
  virtual void postUpdate() { updateFlag = 1; }
  std::intptr_t onKeyDown(VstKeyCode&) override { return -1; }
  std::intptr_t onKeyUp(VstKeyCode&) override { return -1; }
  std::intptr_t setKnobMode(int mode) override;
  virtual bool onWheel(float distance);
  void setParameter(std::int32_t index, float value) override;
  virtual void draw(ERect* rect = nullptr);
  // Called over and over while a control tracks the mouse.
  virtual void doIdleStuff();

  void beginEdit(std::int32_t index);
  void endEdit(std::int32_t index);

  AudioEffect* getEffect() const { return effect; }
  CFrame* getFrame() const { return frame; }
  void* getParentWindow() const { return parentWindow; }
  // One mode for every editor of the module: 2 makes knobs follow straight drags.
  static std::int32_t getKnobMode() { return knobMode; }

 protected:
  AudioEffect* effect;
  void* parentWindow = nullptr;
  std::int32_t updateFlag = 0;
  ERect rect{0, 0, 0, 0};
  CFrame* frame = nullptr;
  std::uint32_t lastTicks = 0;
  bool inIdleStuff = false;

  static std::int32_t knobMode;
};
