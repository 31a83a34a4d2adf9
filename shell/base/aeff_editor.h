// What the effect needs of an editor: the host's editor requests, and the
// parameter echo the effect sends after every parameter write.
#pragma once

#include <cstdint>

#include "vst_abi.h"

class AEffEditor {
 public:
  virtual ~AEffEditor() = default;

  // Stores a pointer to the editor's own rectangle in *rect; answers 1, or 0 for a null rect.
  virtual std::intptr_t getRect(ERect** rect) = 0;
  virtual std::intptr_t open(void* parentWindow) = 0;
  virtual void close() = 0;
  virtual void idle() = 0;
  virtual std::intptr_t onKeyDown(VstKeyCode& key) = 0;
  virtual std::intptr_t onKeyUp(VstKeyCode& key) = 0;
  virtual std::intptr_t setKnobMode(int mode) = 0;
  // The host's display scale (2 on a 200 % desktop). True when an open
  // window changed size, so the host must resize its own.
  virtual bool setScale(float /*scale*/) { return false; }
  // May come from any thread, the audio thread too: an editor only notes the
  // index here and shows the change on its own thread.
  virtual void setParameter(std::int32_t index, float value) = 0;
};
