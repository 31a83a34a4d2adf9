// What an editor may ask of the effect it edits, whatever the plug-in format:
// read a parameter, change one as the user's gesture (the host records it),
// bracket a gesture, and take the level meter. An editor calls these on its
// own thread only; the effect tells the editor of changes made elsewhere
// through AEffEditor::setParameter, which may come from any thread.
#pragma once

#include <cstdint>

namespace korro {
struct LevelMeter;
}

class EditController {
 public:
  virtual float getParameter(std::int32_t index) = 0;
  // Sets the parameter, then lets the host record the change.
  virtual void setParameterAutomated(std::int32_t index, float value) = 0;
  virtual void beginEdit(std::int32_t index) = 0;
  virtual void endEdit(std::int32_t index) = 0;
  // Null when the effect has no meter to show.
  virtual korro::LevelMeter* levelMeter() { return nullptr; }
  // A gesture holds the user-interface thread: let the host do its own idle work.
  virtual void idleHost() {}

 protected:
  ~EditController() = default;
};
