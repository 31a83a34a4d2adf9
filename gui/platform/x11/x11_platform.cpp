// The X11 backend. Every window has a display connection of its own (hosts
// neither hand their events to plug-ins nor share their connection safely),
// its pixels in a software surface, and puts what a drawing pass changed on
// screen in one image at the pass's end. Events are read from that connection
// when the editor idles; the pointer and the buttons come from XQueryPointer,
// so drag loops see the live state. Keys are selected only while a field is
// edited: every other key belongs to the host and goes on to its window.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "gui/platform/software/edit_field.h"
#include "gui/platform/software/surface.h"
#include "gui/platform/software/text.h"
#include "toolkit_scale.h"
#include "x11_errors.h"
#include "xft_dpi.h"

struct korro::platform::Window {
  Display* display = nullptr;
  ::Window xid = 0;
  Visual* visual = nullptr;
  int depth = 0;
  Colormap colormap = 0;
  GC gc = nullptr;
  XImage* image = nullptr;  // the screen format of `surface`
  software::Surface surface;
  Box damage;               // drawn but not yet on screen
  WindowHandler* handler = nullptr;
  bool paintPending = true;
  bool destroyed = false;   // with the host's window
};

struct korro::platform::EditBox {
  Window* window = nullptr;
  EditBoxHandler* handler = nullptr;
  software::EditField field;
  bool hadFocus = false;  // only a loss after the focus arrived ends the edit
  ::Window focusBefore = 0;
  int revertBefore = RevertToParent;
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

// Events the window always wants; keys only while a field is edited.
constexpr long kEventMask = ExposureMask | ButtonPressMask | FocusChangeMask | StructureNotifyMask;

// The first button read while a press is delivered answers the press itself:
// hosts idle the editor 15 to 60 times a second, so a quick click is over
// before it is read.
int pressUnread = -1;

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

unsigned long pixelOf(platform::Rgb c, const XImage* img) {
  return channel(c.r, img->red_mask) | channel(c.g, img->green_mask) | channel(c.b, img->blue_mask);
}

// Converts the box of the surface into the window's image and sends it.
void present(platform::Window* w, platform::Box box) {
  box = software::clipBox(w->surface, box);
  if (box.w <= 0 || box.h <= 0 || !w->image || w->destroyed) return;
  XImage* img = w->image;
  for (int y = box.y; y < box.y + box.h; ++y)
    for (int x = box.x; x < box.x + box.w; ++x) XPutPixel(img, x, y, pixelOf(w->surface.at(x, y), img));
  XPutImage(w->display, w->xid, w->gc, img, box.x, box.y, box.x, box.y, static_cast<unsigned>(box.w),
            static_cast<unsigned>(box.h));
  XFlush(w->display);
}

platform::Box unite(platform::Box a, platform::Box b) {
  if (a.w <= 0 || a.h <= 0) return b;
  if (b.w <= 0 || b.h <= 0) return a;
  const int x0 = std::min(a.x, b.x), y0 = std::min(a.y, b.y);
  const int x1 = std::max(a.x + a.w, b.x + b.w), y1 = std::max(a.y + a.h, b.y + b.h);
  return {x0, y0, x1 - x0, y1 - y0};
}

bool overlap(platform::Box a, platform::Box b) {
  return a.x < b.x + b.w && b.x < a.x + a.w && a.y < b.y + b.h && b.y < a.y + a.h;
}

void damage(platform::Window* w, platform::Box box) { w->damage = unite(w->damage, box); }

// One image for everything drawn since the last time. An edit box is a child
// window: whatever the frame drew stays beneath it.
void present(platform::Window* w) {
  for (platform::EditBox* b : editBoxes())
    if (b->window == w && overlap(b->field.area, w->damage)) {
      b->field.render(w->surface);
      damage(w, b->field.area);
    }
  const platform::Box box = w->damage;
  w->damage = {};
  present(w, box);
}

// The contents were lost: all of it again, in one image.
void repaint(platform::Window* w) {
  damage(w, {0, 0, w->surface.width, w->surface.height});
  if (w->handler) w->handler->onPaint();
  if (alive(w)) present(w);
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
  damage(w, box->field.area);
  present(w);
}

platform::Window* pointerWindow() { return windows().empty() ? nullptr : windows().back(); }

// Our window's own colormap and border: the host's window may have another
// visual or depth than the screen's default, which ours would otherwise copy.
::Window createChild(platform::Window* w, ::Window parent, int width, int height) {
  const int screen = DefaultScreen(w->display);
  w->visual = DefaultVisual(w->display, screen);
  w->depth = DefaultDepth(w->display, screen);
  w->colormap = XCreateColormap(w->display, RootWindow(w->display, screen), w->visual, AllocNone);
  XSetWindowAttributes attributes{};
  attributes.event_mask = kEventMask;
  attributes.colormap = w->colormap;
  attributes.border_pixel = 0;
  attributes.background_pixmap = None;  // until the frame names its colour: the paint covers the picture
  return XCreateWindow(w->display, parent, 0, 0, static_cast<unsigned>(width), static_cast<unsigned>(height), 0,
                       w->depth, InputOutput, w->visual, CWEventMask | CWColormap | CWBorderPixel | CWBackPixmap,
                       &attributes);
}

void closeConnection(platform::Window* w) {
  if (w->image) XDestroyImage(w->image);  // frees the pixel buffer too
  if (w->gc) XFreeGC(w->display, w->gc);
  if (w->xid && !w->destroyed) XDestroyWindow(w->display, w->xid);
  if (w->colormap) XFreeColormap(w->display, w->colormap);
  XCloseDisplay(w->display);
  x11::unwatchErrors(w->display);
}

// The keyboard goes back where it was before the edit, unless it has already gone elsewhere.
void returnFocus(platform::EditBox* box) {
  platform::Window* w = box->window;
  ::Window focus = 0;
  int revert = 0;
  XGetInputFocus(w->display, &focus, &revert);
  if (focus == w->xid && box->focusBefore != w->xid)
    XSetInputFocus(w->display, box->focusBefore, box->revertBefore, CurrentTime);
}

}  // namespace

namespace platform {

Window* createWindow(void* parent, int width, int height, const char*, const char* title, WindowHandler* handler) {
  if (!parent || width <= 0 || height <= 0) return nullptr;
  Display* display = XOpenDisplay(nullptr);
  if (!display) return nullptr;
  x11::watchErrors(display);
  auto* w = new Window;
  w->display = display;
  w->handler = handler;
  w->xid = createChild(w, static_cast<::Window>(reinterpret_cast<std::uintptr_t>(parent)), width, height);
  if (w->xid) {
    XStoreName(display, w->xid, title ? title : "");
    // Hosts that wrap a foreign window in their toolkit (suil) size their frame
    // from these, in that toolkit's units.
    if (XSizeHints* hints = XAllocSizeHints()) {
      const double toolkit = toolkitScale();
      hints->flags = PMinSize | PBaseSize;
      hints->min_width = hints->base_width = toolkitEdge(width, toolkit);
      hints->min_height = hints->base_height = toolkitEdge(height, toolkit);
      XSetWMNormalHints(display, w->xid, hints);
      XFree(hints);
    }
    w->gc = XCreateGC(display, w->xid, 0, nullptr);
    XMapWindow(display, w->xid);
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
    closeConnection(w);
    delete w;
    return nullptr;
  }
  XFlush(display);
  w->surface.resize(width, height);
  windows().push_back(w);
  return w;
}

// The server paints the background wherever the window is uncovered or grows,
// so what lies beyond the picture is never left stale.
void setWindowBackground(Window* window, Rgb colour) {
  if (!alive(window) || window->destroyed) return;
  XSetWindowBackground(window->display, window->xid, pixelOf(colour, window->image));
  // Whatever the host has already made larger than the picture.
  XClearArea(window->display, window->xid, window->surface.width, 0, 0, 0, False);
  XClearArea(window->display, window->xid, 0, window->surface.height, 0, 0, False);
  XFlush(window->display);
}

void* nativeWindow(const Window* window) {
  return window ? reinterpret_cast<void*>(static_cast<std::uintptr_t>(window->xid)) : nullptr;
}

void destroyWindow(Window* window) {
  if (!alive(window)) return;
  auto& boxes = editBoxes();
  for (auto it = boxes.begin(); it != boxes.end();) {
    if ((*it)->window == window) {
      returnFocus(*it);
      delete *it;
      it = boxes.erase(it);
    } else {
      ++it;
    }
  }
  windows().erase(std::find(windows().begin(), windows().end(), window));
  closeConnection(window);
  delete window;
}

void dispatchEvents(Window* window) {
  if (!alive(window)) return;
  struct Press {
    int x, y, buttons;
  };
  std::vector<Press> presses;
  {
    while (XPending(window->display) > 0) {
      XEvent event;
      XNextEvent(window->display, &event);
      switch (event.type) {
        case Expose:
          window->paintPending = true;
          break;
        case ConfigureNotify: {
          // A host that sizes our window in its toolkit's units (suil under
          // GDK_SCALE) makes it smaller than the picture: the picture wins.
          const XConfigureEvent& c = event.xconfigure;
          if (c.window != window->xid || window->destroyed) break;
          if (c.width < window->surface.width || c.height < window->surface.height)
            XResizeWindow(window->display, window->xid,
                          static_cast<unsigned>(std::max(c.width, window->surface.width)),
                          static_cast<unsigned>(std::max(c.height, window->surface.height)));
          break;
        }
        case DestroyNotify:
          if (event.xdestroywindow.window != window->xid) break;
          window->destroyed = true;
          if (window->handler) window->handler->onDestroyed();
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
  if (window->paintPending && !window->destroyed) {
    window->paintPending = false;
    repaint(window);
  }
  for (const Press& p : presses) {
    if (!alive(window) || window->destroyed) return;
    pressUnread = p.buttons;
    if (window->handler) window->handler->onButtonDown(p.x, p.y, p.buttons);
    pressUnread = -1;
  }
}

bool pumpOnePaint() {
  for (Window* w : windows()) {
    XEvent event;
    bool exposed = w->paintPending;
    while (XCheckTypedWindowEvent(w->display, w->xid, Expose, &event)) exposed = true;
    if (!exposed || w->destroyed) continue;
    w->paintPending = false;
    repaint(w);
    return true;
  }
  return false;
}

void flush(Window* window) {
  if (alive(window)) present(window);
}

void copyBitmap(Window* window, const Bitmap* bitmap, Box dst, int srcX, int srcY, bool keyed) {
  if (!alive(window) || !bitmap) return;
  software::copy(window->surface, bitmap->surface, dst, srcX, srcY, keyed);
  damage(window, dst);
}

void fillBox(Window* window, Box box, Rgb colour) {
  if (!alive(window)) return;
  software::fill(window->surface, box, colour);
  damage(window, box);
}

void drawLine(Window* window, int x0, int y0, int x1, int y1, Rgb colour) {
  if (!alive(window)) return;
  software::line(window->surface, x0, y0, x1, y1, colour);
  damage(window, {std::min(x0, x1), std::min(y0, y1), std::abs(x1 - x0) + 1, std::abs(y1 - y0) + 1});
}

void drawText(Window* window, const char* text, Box box, const Font& font, Rgb colour, Align align, bool opaque,
              Rgb back) {
  if (!alive(window)) return;
  software::drawText(window->surface, text, box, font, colour, align, opaque, back);
  damage(window, box);
}

int mouseButtons() {
  if (pressUnread >= 0) {
    const int press = pressUnread;
    pressUnread = -1;
    return press;
  }
  Window* w = pointerWindow();
  if (!w) return 0;
  ::Window root = 0, child = 0;
  int rootX = 0, rootY = 0, x = 0, y = 0;
  unsigned int state = 0;
  if (!XQueryPointer(w->display, w->xid, &root, &child, &rootX, &rootY, &x, &y, &state)) return 0;
  return buttonsFromState(state);
}

void pointerPosition(const Window* window, int& x, int& y) {
  x = y = 0;
  if (!alive(window)) return;
  ::Window root = 0, child = 0;
  int rootX = 0, rootY = 0;
  unsigned int state = 0;
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
  // Some hosts never pass the keyboard on: take it explicitly, and remember
  // whose it was to give it back.
  XGetInputFocus(window->display, &b->focusBefore, &b->revertBefore);
  XSelectInput(window->display, window->xid, kEventMask | KeyPressMask);
  XSetInputFocus(window->display, window->xid, RevertToParent, CurrentTime);
  damage(window, box);
  return b;
}

void editBoxText(const EditBox* box, char* out, int size) {
  if (out && size > 0) out[0] = 0;
  if (alive(box)) box->field.copyText(out, size);
}

void destroyEditBox(EditBox* box) {
  if (!alive(box)) return;
  editBoxes().erase(std::find(editBoxes().begin(), editBoxes().end(), box));
  Window* w = box->window;
  if (!editBoxOf(w)) XSelectInput(w->display, w->xid, kEventMask);
  returnFocus(box);
  XFlush(w->display);
  delete box;
}

// Xft.dpi from the screen's resources (what desktops set for their scale).
double desktopScale(void*) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) return 0.0;
  double dpi = 0.0;
  if (const char* resources = XResourceManagerString(display)) dpi = x11::xftDpi(resources);
  XCloseDisplay(display);
  return dpi > 0.0 ? dpi / 96.0 : 0.0;
}

// Desktops often set both variables for every program, and GTK 2 and Qt
// ignore GDK_SCALE: only the toolkit the host has loaded counts.
double toolkitScale() {
  auto loaded = [](const char* library) {
    void* handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
  };
  const char* gdk = std::getenv("GDK_SCALE");
  if (gdk && loaded("libgtk-3.so.0")) return x11::gdkScale(gdk);
  const char* qt = std::getenv("QT_SCALE_FACTOR");
  if (qt && (loaded("libQt5Gui.so.5") || loaded("libQt6Gui.so.6"))) return x11::qtScaleFactor(qt);
  return 1.0;
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
