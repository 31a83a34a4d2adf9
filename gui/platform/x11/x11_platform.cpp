// The X11 backend. Every window has a display connection of its own (hosts
// neither hand their events to plug-ins nor share their connection safely),
// its pixels in a software surface, and puts each drawn area on screen at once.
// Events are read from that connection when the editor idles; the pointer and
// the buttons come from XQueryPointer, so drag loops see the live state.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "gui/platform/software/edit_field.h"
#include "gui/platform/software/surface.h"
#include "gui/platform/software/text.h"

struct korro::platform::Window {
  Display* display = nullptr;
  ::Window xid = 0;
  Visual* visual = nullptr;
  int depth = 0;
  GC gc = nullptr;
  XImage* image = nullptr;  // the screen format of `surface`
  software::Surface surface;
  WindowHandler* handler = nullptr;
  bool paintPending = true;
};

struct korro::platform::EditBox {
  Window* window = nullptr;
  EditBoxHandler* handler = nullptr;
  software::EditField field;
  bool hadFocus = false;  // only a loss after the focus arrived ends the edit
};

namespace korro {

namespace {

std::vector<platform::Window*>& windows() {
  static std::vector<platform::Window*> list;
  return list;
}

std::vector<platform::EditBox*>& editBoxes() {
  static std::vector<platform::EditBox*> list;
  return list;
}

bool alive(const platform::Window* w) {
  return w && std::find(windows().begin(), windows().end(), w) != windows().end();
}

bool alive(const platform::EditBox* b) {
  return b && std::find(editBoxes().begin(), editBoxes().end(), b) != editBoxes().end();
}

// A protocol error on our own connection (typically: the host destroyed its
// window, and ours with it) must not reach the default handler, which ends
// the process. Errors read while a guard lives are dropped; a syncing guard
// waits for the answers to everything sent, so they all arrive in time.
class ErrorGuard {
 public:
  explicit ErrorGuard(Display* d, bool sync = true)
      : display_(d), sync_(sync), previous_(XSetErrorHandler(&ignore)) {}
  ~ErrorGuard() {
    if (sync_) XSync(display_, False);
    XSetErrorHandler(previous_);
  }
  ErrorGuard(const ErrorGuard&) = delete;
  ErrorGuard& operator=(const ErrorGuard&) = delete;

 private:
  static int ignore(Display*, XErrorEvent*) { return 0; }
  Display* display_;
  bool sync_;
  int (*previous_)(Display*, XErrorEvent*);
};

int shiftOf(unsigned long mask) {
  int shift = 0;
  while (mask && !(mask & 1)) {
    mask >>= 1;
    ++shift;
  }
  return shift;
}

int bitsOf(unsigned long mask) {
  int bits = 0;
  for (mask >>= shiftOf(mask); mask & 1; mask >>= 1) ++bits;
  return bits;
}

unsigned long channel(std::uint8_t value, unsigned long mask) {
  const int bits = bitsOf(mask);
  const unsigned long scaled = bits >= 8 ? static_cast<unsigned long>(value) << (bits - 8) : value >> (8 - bits);
  return (scaled << shiftOf(mask)) & mask;
}

// Converts the box of the surface into the window's image and sends it.
void present(platform::Window* w, platform::Box box) {
  box = software::clipBox(w->surface, box);
  if (box.w <= 0 || box.h <= 0 || !w->image) return;
  ErrorGuard guard(w->display, false);
  XImage* img = w->image;
  for (int y = box.y; y < box.y + box.h; ++y)
    for (int x = box.x; x < box.x + box.w; ++x) {
      const platform::Rgb c = w->surface.at(x, y);
      XPutPixel(img, x, y, channel(c.r, img->red_mask) | channel(c.g, img->green_mask) | channel(c.b, img->blue_mask));
    }
  XPutImage(w->display, w->xid, w->gc, img, box.x, box.y, box.x, box.y, static_cast<unsigned>(box.w),
            static_cast<unsigned>(box.h));
  XFlush(w->display);
}

void presentAll(platform::Window* w) { present(w, {0, 0, w->surface.width, w->surface.height}); }

// An edit box is a child window: whatever the frame draws stays beneath it.
void drawEditBoxes(platform::Window* w, platform::Box damage) {
  for (platform::EditBox* b : editBoxes()) {
    if (b->window != w) continue;
    b->field.render(w->surface);
    const platform::Box a = b->field.area;
    const int x0 = std::min(damage.x, a.x), y0 = std::min(damage.y, a.y);
    const int x1 = std::max(damage.x + damage.w, a.x + a.w), y1 = std::max(damage.y + damage.h, a.y + a.h);
    damage = {x0, y0, x1 - x0, y1 - y0};
  }
  present(w, damage);
}

void endEdit(platform::EditBox* box) {
  if (alive(box) && box->handler) box->handler->onEditEnd(box);
}

int buttonsFromState(unsigned int state) {
  int b = 0;
  if (state & Button1Mask) b |= platform::kLeftButton;
  if (state & Button2Mask) b |= platform::kMiddleButton;
  if (state & Button3Mask) b |= platform::kRightButton;
  if (state & ShiftMask) b |= platform::kShiftKey;
  if (state & ControlMask) b |= platform::kControlKey;
  if (state & Mod1Mask) b |= platform::kAltKey;
  return b;
}

platform::EditBox* editBoxOf(const platform::Window* w) {
  for (platform::EditBox* b : editBoxes())
    if (b->window == w) return b;
  return nullptr;
}

void onKey(platform::Window* w, XKeyEvent& event) {
  platform::EditBox* box = editBoxOf(w);
  if (!box) return;
  char typed[16] = {};
  KeySym sym = NoSymbol;
  const int n = XLookupString(&event, typed, sizeof typed - 1, &sym, nullptr);
  if (sym == XK_Return || sym == XK_KP_Enter) {
    endEdit(box);
    return;
  }
  if (sym == XK_BackSpace || sym == XK_Delete)
    box->field.erase();
  else if (n > 0 && static_cast<unsigned char>(typed[0]) >= 0x20 && typed[0] != 0x7f)
    box->field.type(std::string(typed, static_cast<std::size_t>(n)));
  else
    return;
  drawEditBoxes(w, box->field.area);
}

platform::Window* pointerWindow() { return windows().empty() ? nullptr : windows().back(); }

}  // namespace

namespace platform {

Window* createWindow(void* parent, int width, int height, const char*, const char* title, WindowHandler* handler) {
  if (!parent || width <= 0 || height <= 0) return nullptr;
  Display* display = XOpenDisplay(nullptr);
  if (!display) return nullptr;
  auto* w = new Window;
  w->display = display;
  w->handler = handler;
  {
    ErrorGuard guard(display);
    const int screen = DefaultScreen(display);
    w->visual = DefaultVisual(display, screen);
    w->depth = DefaultDepth(display, screen);
    XSetWindowAttributes attributes{};
    attributes.event_mask = ExposureMask | ButtonPressMask | KeyPressMask | FocusChangeMask;
    attributes.background_pixel = BlackPixel(display, screen);
    w->xid = XCreateWindow(display, static_cast<::Window>(reinterpret_cast<std::uintptr_t>(parent)), 0, 0,
                           static_cast<unsigned>(width), static_cast<unsigned>(height), 0, w->depth, InputOutput,
                           w->visual, CWEventMask | CWBackPixel, &attributes);
    if (w->xid) {
      XStoreName(display, w->xid, title ? title : "");
      w->gc = XCreateGC(display, w->xid, 0, nullptr);
      XMapWindow(display, w->xid);
    }
  }
  if (w->visual->c_class == TrueColor || w->visual->c_class == DirectColor)
    w->image = XCreateImage(display, w->visual, static_cast<unsigned>(w->depth), ZPixmap, 0, nullptr,
                            static_cast<unsigned>(width), static_cast<unsigned>(height), 32, 0);
  if (w->image) {
    w->image->data = static_cast<char*>(calloc(static_cast<std::size_t>(w->image->bytes_per_line), height));
    if (!w->image->data) {
      XDestroyImage(w->image);
      w->image = nullptr;
    }
  }
  if (!w->xid || !w->image) {
    if (w->image) XDestroyImage(w->image);
    if (w->gc) XFreeGC(display, w->gc);
    XCloseDisplay(display);
    delete w;
    return nullptr;
  }
  XFlush(display);
  w->surface.resize(width, height);
  windows().push_back(w);
  return w;
}

void destroyWindow(Window* window) {
  if (!alive(window)) return;
  auto& boxes = editBoxes();
  for (auto it = boxes.begin(); it != boxes.end();) {
    if ((*it)->window == window) {
      delete *it;
      it = boxes.erase(it);
    } else {
      ++it;
    }
  }
  windows().erase(std::find(windows().begin(), windows().end(), window));
  {
    ErrorGuard guard(window->display);
    XDestroyImage(window->image);  // frees the pixel buffer too
    XFreeGC(window->display, window->gc);
    XDestroyWindow(window->display, window->xid);
  }
  XCloseDisplay(window->display);
  delete window;
}

void dispatchEvents(Window* window) {
  if (!alive(window)) return;
  struct Press {
    int x, y, buttons;
  };
  std::vector<Press> presses;
  {
    ErrorGuard guard(window->display);
    while (XPending(window->display) > 0) {
      XEvent event;
      XNextEvent(window->display, &event);
      switch (event.type) {
        case Expose:
          window->paintPending = true;
          break;
        case ButtonPress: {
          const unsigned b = event.xbutton.button;
          if (b < Button1 || b > Button3) break;  // the wheel does nothing here
          const int pressed = b == Button1 ? kLeftButton : b == Button2 ? kMiddleButton : kRightButton;
          presses.push_back({event.xbutton.x, event.xbutton.y, buttonsFromState(event.xbutton.state) | pressed});
          break;
        }
        case KeyPress:
          onKey(window, event.xkey);
          break;
        case FocusIn:
        case FocusOut: {
          // Pointer-root bookkeeping and moves between our own windows are not
          // the keyboard going elsewhere.
          const int detail = event.xfocus.detail;
          if (event.xfocus.mode != NotifyNormal || detail == NotifyPointer || detail == NotifyInferior) break;
          EditBox* box = editBoxOf(window);
          if (!box) break;
          if (event.type == FocusIn)
            box->hadFocus = true;
          else if (box->hadFocus)
            endEdit(box);
          break;
        }
        default:
          break;
      }
      if (!alive(window)) return;
    }
  }
  if (window->paintPending) {
    window->paintPending = false;
    if (window->handler) window->handler->onPaint();
    if (!alive(window)) return;
    presentAll(window);
  }
  for (const Press& p : presses) {
    if (!alive(window)) return;
    if (window->handler) window->handler->onButtonDown(p.x, p.y, p.buttons);
  }
}

bool pumpOnePaint() {
  for (Window* w : windows()) {
    XEvent event;
    bool exposed = w->paintPending;
    while (XCheckTypedWindowEvent(w->display, w->xid, Expose, &event)) exposed = true;
    if (!exposed) continue;
    w->paintPending = false;
    if (w->handler) w->handler->onPaint();
    if (alive(w)) presentAll(w);
    return true;
  }
  return false;
}

void copyBitmap(Window* window, const Bitmap* bitmap, Box dst, int srcX, int srcY, bool keyed) {
  if (!alive(window) || !bitmap) return;
  software::copy(window->surface, bitmap->surface, dst, srcX, srcY, keyed);
  drawEditBoxes(window, dst);
}

void fillBox(Window* window, Box box, Rgb colour) {
  if (!alive(window)) return;
  software::fill(window->surface, box, colour);
  drawEditBoxes(window, box);
}

void drawLine(Window* window, int x0, int y0, int x1, int y1, Rgb colour) {
  if (!alive(window)) return;
  software::line(window->surface, x0, y0, x1, y1, colour);
  drawEditBoxes(window, {std::min(x0, x1), std::min(y0, y1), std::abs(x1 - x0) + 1, std::abs(y1 - y0) + 1});
}

void drawText(Window* window, const char* text, Box box, const Font& font, Rgb colour, Align align, bool opaque,
              Rgb back) {
  if (!alive(window)) return;
  software::drawText(window->surface, text, box, font, colour, align, opaque, back);
  drawEditBoxes(window, box);
}

int mouseButtons() {
  Window* w = pointerWindow();
  if (!w) return 0;
  ::Window root = 0, child = 0;
  int rootX = 0, rootY = 0, x = 0, y = 0;
  unsigned int state = 0;
  ErrorGuard guard(w->display);
  if (!XQueryPointer(w->display, w->xid, &root, &child, &rootX, &rootY, &x, &y, &state)) return 0;
  return buttonsFromState(state);
}

void pointerPosition(const Window* window, int& x, int& y) {
  x = y = 0;
  if (!alive(window)) return;
  ::Window root = 0, child = 0;
  int rootX = 0, rootY = 0;
  unsigned int state = 0;
  ErrorGuard guard(window->display);
  XQueryPointer(window->display, window->xid, &root, &child, &rootX, &rootY, &x, &y, &state);
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
  editBoxes().push_back(b);
  {
    // Some hosts never pass the keyboard on: take it explicitly.
    ErrorGuard guard(window->display);
    XSetInputFocus(window->display, window->xid, RevertToParent, CurrentTime);
  }
  drawEditBoxes(window, box);
  return b;
}

void editBoxText(const EditBox* box, char* out, int size) {
  if (out && size > 0) out[0] = 0;
  if (alive(box)) box->field.copyText(out, size);
}

void destroyEditBox(EditBox* box) {
  if (!alive(box)) return;
  editBoxes().erase(std::find(editBoxes().begin(), editBoxes().end(), box));
  delete box;
}

std::uint32_t tickCount() {
  using namespace std::chrono;
  return static_cast<std::uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void sleepMs(int milliseconds) {
  if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace platform

}  // namespace korro
