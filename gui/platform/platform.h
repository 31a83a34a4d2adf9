// Everything the GUI toolkit asks of the operating system. The toolkit is
// written once against these few calls; each backend (gui/platform/<name>/)
// implements all of them. Coordinates are pixels in the window, rectangles are
// half-open (right and bottom exclusive), colours are 8-bit RGB.
//
// All calls come from the one user-interface thread; none is re-entrant except
// where noted (a handler may destroy the edit box it is told about).
#pragma once

#include <cstdint>

namespace korro::platform {

struct Bitmap;   // a decoded picture, owned by the caller of loadBitmap
struct Window;   // the editor's child window with its pixels
struct EditBox;  // a native single-line text entry on a window

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  friend bool operator==(Rgb a, Rgb b) { return a.r == b.r && a.g == b.g && a.b == b.b; }
};

struct Box {  // x, y, width, height
  int x = 0, y = 0, w = 0, h = 0;
};

// Mouse buttons and modifier keys, as one bit set.
enum Buttons : int {
  kLeftButton = 1,
  kMiddleButton = 2,
  kRightButton = 4,
  kShiftKey = 8,
  kControlKey = 16,
  kAltKey = 32,
};

enum class Align { Left, Centre, Right };

struct Font {
  const char* face = "Arial";  // fontconfig finds a metric-compatible face when absent
  int pixelSize = 12;          // em size in pixels
  bool bold = false;
  bool italic = false;
  bool underline = false;
};

// ---------------------------------------------------------------- bitmaps
// The module's picture resource with this number; null when there is none.
Bitmap* loadBitmap(int resourceId);
void freeBitmap(Bitmap* bitmap);
int bitmapWidth(const Bitmap* bitmap);
int bitmapHeight(const Bitmap* bitmap);
// The colour of the picture's pixel (x, y); black outside it.
Rgb bitmapPixel(const Bitmap* bitmap, int x, int y);

// ---------------------------------------------------------------- windows
// Receives a window's events. Both are delivered from dispatchEvents or pumpOnePaint.
class WindowHandler {
 public:
  virtual ~WindowHandler() = default;
  // The window's contents were lost (first show, uncovered): repaint all of it.
  virtual void onPaint() = 0;
  // A mouse button went down at (x, y); `buttons` is the state at that moment.
  // The first mouseButtons() read while this runs answers that state, even
  // if the button is up again by now.
  virtual void onButtonDown(int x, int y, int buttons) = 0;
  // The window is gone with its parent: nothing more may be drawn on it.
  virtual void onDestroyed() {}
};

// A child window of the host's window `parent`, shown at once with a paint pending.
// Null when there is no parent or the window cannot be made.
Window* createWindow(void* parent, int width, int height, const char* className, const char* title,
                     WindowHandler* handler);
void destroyWindow(Window* window);
// What the window shows beyond its width × height when the host makes it
// larger: this colour, painted without waiting for the editor's idle.
void setWindowBackground(Window* window, Rgb colour);
// The operating system's own handle of the window (an X11 window id, an HWND),
// for a host that embeds it.
void* nativeWindow(const Window* window);
// Delivers what is pending for this window: a paint first, then button presses in order.
void dispatchEvents(Window* window);
// Delivers one pending paint of any window, if there is one; true if it did.
bool pumpOnePaint();
// Shows what was drawn since the last flush; a backend may hold drawing back until then.
void flush(Window* window);

// ---------------------------------------------------------------- drawing (clipped to the window)
// Copies the w × h block at (srcX, srcY) of the bitmap to `dst`. With `keyed`,
// pixels of the key colour (255, 0, 255) are left out. Parts outside the bitmap are not drawn.
void copyBitmap(Window* window, const Bitmap* bitmap, Box dst, int srcX, int srcY, bool keyed);
void fillBox(Window* window, Box box, Rgb colour);
// A one-pixel line from (x0, y0) to (x1, y1), the end point excluded.
void drawLine(Window* window, int x0, int y0, int x1, int y1, Rgb colour);
// One line of text, vertically centred in `box` and clipped to it. With `opaque`
// the text's cell is filled with `back` first.
void drawText(Window* window, const char* text, Box box, const Font& font, Rgb colour, Align align, bool opaque,
              Rgb back);

// ---------------------------------------------------------------- input
// The buttons and modifiers held now.
int mouseButtons();
// The pointer in the window's coordinates.
void pointerPosition(const Window* window, int& x, int& y);

// ---------------------------------------------------------------- edit box
class EditBoxHandler {
 public:
  virtual ~EditBoxHandler() = default;
  // Return was pressed or the box lost the keyboard focus: the edit is over.
  // The handler may destroy the box from here.
  virtual void onEditEnd(EditBox* box) = 0;
};

struct EditBoxStyle {
  Font font;
  Rgb text;
  Rgb back;
  Align align = Align::Centre;
};

// A single-line edit box over `box` holding `text`, all of it selected, with the
// keyboard focus.
EditBox* createEditBox(Window* window, Box box, const char* text, const EditBoxStyle& style,
                       EditBoxHandler* handler);
// Copies at most size − 1 characters of the box's text to out, terminated.
void editBoxText(const EditBox* box, char* out, int size);
void destroyEditBox(EditBox* box);

// ---------------------------------------------------------------- time
std::uint32_t tickCount();  // milliseconds
void sleepMs(int milliseconds);

// The desktop's scale for a window on `parent` (the system's dots per inch over
// 96), 0 when unknown; asked only when the host names no scale.
double desktopScale(void* parent);
// The factor by which the host's own toolkit enlarges every size the plug-in
// reports to it (and so the scale its desktop wants): GDK_SCALE in a process
// with GTK 3 loaded, QT_SCALE_FACTOR in one with Qt 5 or 6; 1 elsewhere.
double toolkitScale();
// An edge of `pixels` screen pixels in the units of a toolkit that enlarges by
// `toolkit`, rounded up so the toolkit's frame never cuts the picture.
inline int toolkitEdge(int pixels, double toolkit) {
  if (!(toolkit > 0.0)) return pixels;
  const double edge = pixels / toolkit;
  const int whole = static_cast<int>(edge);
  return whole < edge ? whole + 1 : whole;
}

// A number that identifies this module in the process (names the window class).
std::uintptr_t moduleInstance();

}  // namespace korro::platform
