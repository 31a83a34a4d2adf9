// The headless backend: every window is an RGB surface in memory, input comes
// from a script, time from a virtual clock that only sleeps move.
#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "gui/platform/headless/headless.h"
#include "gui/platform/software/edit_field.h"
#include "gui/platform/software/surface.h"
#include "gui/platform/software/text.h"

struct korro::platform::Window {
  software::Surface surface;
  void* parent = nullptr;
  WindowHandler* handler = nullptr;
  std::string className;
  std::string title;
  bool paintPending = true;
  struct Press {
    int x, y, buttons;
  };
  std::deque<Press> presses;
};

struct korro::platform::EditBox {
  Window* window = nullptr;
  EditBoxHandler* handler = nullptr;
  software::EditField field;
};

namespace korro {

namespace {

struct State {
  std::vector<platform::Window*> windows;
  std::vector<platform::EditBox*> editBoxes;
  platform::EditBox* focused = nullptr;
  std::deque<headless::Step> steps;
  headless::Step pointer{0, 0, 0};
  bool pressUnread = false;
  std::uint64_t polls = 0;
  std::uint32_t clock = 1000;
  std::uint64_t slept = 0;
  double desktopScale = 0.0;
  double toolkitScale = 1.0;
};

State& state() {
  static State s;
  return s;
}

bool alive(const platform::Window* w) {
  const auto& ws = state().windows;
  return w && std::find(ws.begin(), ws.end(), w) != ws.end();
}

bool alive(const platform::EditBox* b) {
  const auto& bs = state().editBoxes;
  return b && std::find(bs.begin(), bs.end(), b) != bs.end();
}

void render(platform::EditBox* box) {
  if (alive(box->window)) box->field.render(box->window->surface);
}

// An edit box is a child window: whatever the frame draws stays beneath it.
void keepEditBoxesOnTop(platform::Window* window) {
  for (platform::EditBox* b : state().editBoxes)
    if (b->window == window) render(b);
}

void endEdit(platform::EditBox* box) {
  if (!alive(box)) return;
  if (state().focused == box) state().focused = nullptr;
  if (box->handler) box->handler->onEditEnd(box);
}

}  // namespace

namespace platform {

Window* createWindow(void* parent, int width, int height, const char* className, const char* title,
                     WindowHandler* handler) {
  if (!parent || width <= 0 || height <= 0) return nullptr;
  auto* w = new Window;
  w->surface.resize(width, height);
  w->parent = parent;
  w->handler = handler;
  w->className = className ? className : "";
  w->title = title ? title : "";
  state().windows.push_back(w);
  return w;
}

// Every window is exactly the picture's size here.
void setWindowBackground(Window*, Rgb) {}

// In memory the window is its own handle.
void* nativeWindow(const Window* window) { return const_cast<Window*>(window); }

void destroyWindow(Window* window) {
  if (!alive(window)) return;
  State& s = state();
  // Edit boxes die with their window, without a word to their handlers.
  for (auto it = s.editBoxes.begin(); it != s.editBoxes.end();) {
    if ((*it)->window == window) {
      if (s.focused == *it) s.focused = nullptr;
      delete *it;
      it = s.editBoxes.erase(it);
    } else {
      ++it;
    }
  }
  s.windows.erase(std::find(s.windows.begin(), s.windows.end(), window));
  delete window;
}

void dispatchEvents(Window* window) {
  if (!alive(window)) return;
  if (window->paintPending) {
    window->paintPending = false;
    if (window->handler) window->handler->onPaint();
  }
  while (alive(window) && !window->presses.empty()) {
    const Window::Press p = window->presses.front();
    window->presses.pop_front();
    State& s = state();
    s.pointer = {p.buttons, p.x, p.y};
    s.pressUnread = true;
    if (window->handler) window->handler->onButtonDown(p.x, p.y, p.buttons);
  }
}

// Every drawing call lands in the surface at once.
void flush(Window*) {}

bool pumpOnePaint() {
  for (Window* w : state().windows) {
    if (!w->paintPending) continue;
    w->paintPending = false;
    if (w->handler) w->handler->onPaint();
    return true;
  }
  return false;
}

void copyBitmap(Window* window, const Bitmap* bitmap, Box dst, int srcX, int srcY, bool keyed) {
  if (!alive(window) || !bitmap) return;
  software::copy(window->surface, bitmap->surface, dst, srcX, srcY, keyed);
  keepEditBoxesOnTop(window);
}

void fillBox(Window* window, Box box, Rgb colour) {
  if (!alive(window)) return;
  software::fill(window->surface, box, colour);
  keepEditBoxesOnTop(window);
}

void drawLine(Window* window, int x0, int y0, int x1, int y1, Rgb colour) {
  if (!alive(window)) return;
  software::line(window->surface, x0, y0, x1, y1, colour);
  keepEditBoxesOnTop(window);
}

void drawText(Window* window, const char* text, Box box, const Font& font, Rgb colour, Align align, bool opaque,
              Rgb back) {
  if (!alive(window)) return;
  software::drawText(window->surface, text, box, font, colour, align, opaque, back);
  keepEditBoxesOnTop(window);
}

int mouseButtons() {
  State& s = state();
  ++s.polls;
  if (s.pressUnread) {
    s.pressUnread = false;
  } else if (!s.steps.empty()) {
    s.pointer = s.steps.front();
    s.steps.pop_front();
  } else {
    s.pointer.buttons &= ~(kLeftButton | kMiddleButton | kRightButton);
  }
  return s.pointer.buttons;
}

void pointerPosition(const Window*, int& x, int& y) {
  x = state().pointer.x;
  y = state().pointer.y;
}

EditBox* createEditBox(Window* window, Box box, const char* text, const EditBoxStyle& style,
                       EditBoxHandler* handler) {
  if (!alive(window)) return nullptr;
  auto* b = new EditBox;
  b->window = window;
  b->handler = handler;
  b->field.area = box;
  b->field.style = style;
  b->field.text = text ? text : "";
  state().editBoxes.push_back(b);
  state().focused = b;
  render(b);
  return b;
}

void editBoxText(const EditBox* box, char* out, int size) {
  if (out && size > 0) out[0] = 0;
  if (alive(box)) box->field.copyText(out, size);
}

void destroyEditBox(EditBox* box) {
  if (!alive(box)) return;
  State& s = state();
  if (s.focused == box) s.focused = nullptr;
  s.editBoxes.erase(std::find(s.editBoxes.begin(), s.editBoxes.end(), box));
  delete box;
}

std::uint32_t tickCount() { return state().clock; }

double desktopScale(void*) { return state().desktopScale; }
double toolkitScale() { return state().toolkitScale; }

void sleepMs(int milliseconds) {
  if (milliseconds <= 0) return;
  state().clock += static_cast<std::uint32_t>(milliseconds);
  state().slept += static_cast<std::uint64_t>(milliseconds);
}

}  // namespace platform

namespace headless {

Window* currentWindow() { return state().windows.empty() ? nullptr : state().windows.back(); }
int liveWindows() { return static_cast<int>(state().windows.size()); }
void* parentOf(const Window* w) { return alive(w) ? w->parent : nullptr; }
int width(const Window* w) { return alive(w) ? w->surface.width : 0; }
int height(const Window* w) { return alive(w) ? w->surface.height : 0; }

Rgb pixel(const Window* w, int x, int y) {
  if (!alive(w) || !w->surface.contains(x, y)) return {};
  return w->surface.at(x, y);
}

const std::uint8_t* pixels(const Window* w) { return alive(w) ? w->surface.rgb.data() : nullptr; }

void invalidate(Window* w) {
  if (alive(w)) w->paintPending = true;
}

bool paintPending(const Window* w) { return alive(w) && w->paintPending; }

void postButtonDown(Window* w, int x, int y, int buttons) {
  if (alive(w)) w->presses.push_back({x, y, buttons});
}

void script(std::initializer_list<Step> steps) { state().steps.assign(steps.begin(), steps.end()); }
void script(const std::vector<Step>& steps) { state().steps.assign(steps.begin(), steps.end()); }
std::size_t stepsLeft() { return state().steps.size(); }

void setPointer(int buttons, int x, int y) {
  state().pointer = {buttons, x, y};
  state().pressUnread = false;
}

std::uint64_t buttonPolls() { return state().polls; }

EditBox* focusedEditBox() { return state().focused; }
std::string editBoxText(const EditBox* box) { return alive(box) ? box->field.text : std::string(); }
platform::Box editBoxArea(const EditBox* box) { return alive(box) ? box->field.area : platform::Box{}; }
bool editBoxAllSelected(const EditBox* box) { return alive(box) && box->field.allSelected; }

void type(EditBox* box, const std::string& text) {
  if (!alive(box)) return;
  box->field.type(text);
  render(box);
}

void pressReturn(EditBox* box) { endEdit(box); }
void moveFocusAway(EditBox* box) { endEdit(box); }

std::uint32_t now() { return state().clock; }
void advance(std::uint32_t ms) { state().clock += ms; }
std::uint64_t sleptMs() { return state().slept; }
void setDesktopScale(double scale) { state().desktopScale = scale; }
void setToolkitScale(double scale) { state().toolkitScale = scale; }

void resetInput() {
  State& s = state();
  s.steps.clear();
  s.pointer = {0, 0, 0};
  s.pressUnread = false;
  s.slept = 0;
  for (Window* w : s.windows) w->presses.clear();
}

}  // namespace headless

}  // namespace korro
