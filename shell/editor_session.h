// The editor in a window the host gives it: opened, idled, sized, scaled and
// closed through the effect's record, as a VST 2 host does it. On Windows a
// timer on the host's window idles it; elsewhere the front idles it from its
// host's timer or run loop. Main thread.
#pragma once

#include <cstdint>

namespace korro {

class HostedEffect;

class EditorSession {
 public:
  // How often an open editor wants to idle.
  static constexpr std::uint32_t kIdleMs = 30;

  explicit EditorSession(HostedEffect& effect) : effect_(effect) {}
  ~EditorSession() { close(); }
  EditorSession(const EditorSession&) = delete;
  EditorSession& operator=(const EditorSession&) = delete;

  // On the host's window (an X11 window id or an HWND); false when the editor does not open.
  bool open(void* parent);
  void close();
  bool isOpen() const { return open_; }
  void idle();
  // The editor's width and height in pixels; false when it has none.
  bool size(int& width, int& height);
  // The host's display scale; true when the effect has an editor to take it.
  bool setScale(float scale);

 private:
  HostedEffect& effect_;
  bool open_ = false;
  void* timerWindow_ = nullptr;  // Windows: the window whose timer idles the editor
};

}  // namespace korro
