// The editor base: connects a frame to the effect's controller and to the
// host's editor requests, and keeps the host alive while a control tracks
// the mouse. Parameter changes may be announced from any thread; they are
// shown on the editor's own thread, at idle or at once after its own gestures.
#pragma once

#include <atomic>

#include "shell/base/aeff_editor.h"
#include "shell/base/edit_controller.h"

class CFrame;

class AEffGUIEditor : public AEffEditor {
 public:
  // The effect owns the editor and makes it known to the host.
  explicit AEffGUIEditor(EditController* controller);
  ~AEffGUIEditor() override;

  std::intptr_t getRect(ERect** rect) override;
  // Remembers the parent and asks for an update; the real editor builds its frame.
  std::intptr_t open(void* parentWindow) override;
  void close() override {}
  // Delivers the window's events, shows changed parameters, runs a pending
  // update, then the frame's idle.
  void idle() override;
  virtual void update() {}
  virtual void postUpdate() { updateFlag = 1; }
  std::intptr_t onKeyDown(VstKeyCode&) override { return -1; }
  std::intptr_t onKeyUp(VstKeyCode&) override { return -1; }
  std::intptr_t setKnobMode(int mode) override;
  virtual bool onWheel(float distance);
  // Any thread: only notes the index.
  void setParameter(std::int32_t index, float value) override;
  virtual void draw(ERect* rect = nullptr);
  // Called over and over while a control tracks the mouse.
  virtual void doIdleStuff();

  void beginEdit(std::int32_t index);
  void endEdit(std::int32_t index);

  EditController* getController() const { return controller; }
  CFrame* getFrame() const { return frame; }
  void* getParentWindow() const { return parentWindow; }
  // One mode for every editor of the module: 2 makes knobs follow straight drags.
  static std::int32_t getKnobMode() { return knobMode; }

 protected:
  // Shows every parameter changed since the last call; the editor's thread only.
  void applyParameterChanges();
  // Moves the controls of one parameter to its current value.
  virtual void refreshParameter(std::int32_t /*index*/) {}

  EditController* controller;
  void* parentWindow = nullptr;
  std::int32_t updateFlag = 0;
  ERect rect{0, 0, 0, 0};
  CFrame* frame = nullptr;
  std::uint32_t lastTicks = 0;
  bool inIdleStuff = false;

  static std::int32_t knobMode;

 private:
  // One bit per index below 31; bit 31 stands for every other index.
  std::atomic<std::uint32_t> changedParameters{0};
};
