// The Windows backend: a child window of the host's window whose messages the
// host's own loop delivers; drawing goes straight to the window's device
// context through GDI; pictures are the module's bitmap resources; text
// entry is the native EDIT control.
#include <windows.h>
#include <windowsx.h>

#include <algorithm>
#include <string>

#include "gui/platform/platform.h"
#include "shell/base/module_handle.h"

struct korro::platform::Bitmap {
  HBITMAP handle = nullptr;
  int width = 0;
  int height = 0;
};

struct korro::platform::Window {
  HWND hwnd = nullptr;
  HDC paintDC = nullptr;  // set while a WM_PAINT is being answered
  WindowHandler* handler = nullptr;
  int width = 0, height = 0;   // the picture's part; the host may make the window larger
  HBRUSH background = nullptr;  // for the rest
};

struct korro::platform::EditBox {
  HWND hwnd = nullptr;
  Window* window = nullptr;
  EditBoxHandler* handler = nullptr;
  WNDPROC previous = nullptr;
  HFONT font = nullptr;
  HBRUSH brush = nullptr;
  EditBoxStyle style;
};

namespace korro {

namespace {

HINSTANCE instance() { return static_cast<HINSTANCE>(moduleHandle()); }

// The window class is shared by every editor of the process and released with the last one.
int classUsers = 0;
std::string className;

COLORREF colourOf(platform::Rgb c) { return RGB(c.r, c.g, c.b); }

HFONT makeFont(const platform::Font& f) {
  return CreateFontA(-f.pixelSize, 0, 0, 0, f.bold ? FW_BOLD : FW_NORMAL, f.italic, f.underline, FALSE,
                     ANSI_CHARSET, OUT_STRING_PRECIS, CLIP_STROKE_PRECIS, DEFAULT_QUALITY, VARIABLE_PITCH | FF_SWISS,
                     f.face ? f.face : "Arial");
}

// The device context to draw with: the paint's while one is answered, else the window's own.
class DrawingContext {
 public:
  explicit DrawingContext(platform::Window* w) : w_(w), dc_(w->paintDC ? w->paintDC : GetDC(w->hwnd)) {}
  ~DrawingContext() {
    if (dc_ && dc_ != w_->paintDC) ReleaseDC(w_->hwnd, dc_);
  }
  DrawingContext(const DrawingContext&) = delete;
  DrawingContext& operator=(const DrawingContext&) = delete;
  operator HDC() const { return dc_; }

 private:
  platform::Window* w_;
  HDC dc_;
};

platform::EditBox* editBoxOf(HWND edit) {
  return reinterpret_cast<platform::EditBox*>(GetWindowLongPtrA(edit, GWLP_USERDATA));
}

int buttonsNow() {
  const bool swapped = GetSystemMetrics(SM_SWAPBUTTON) != 0;
  const auto down = [](int key) { return (GetAsyncKeyState(key) & 0x8000) != 0; };
  int b = 0;
  if (down(swapped ? VK_RBUTTON : VK_LBUTTON)) b |= platform::kLeftButton;
  if (down(VK_MBUTTON)) b |= platform::kMiddleButton;
  if (down(swapped ? VK_LBUTTON : VK_RBUTTON)) b |= platform::kRightButton;
  if (down(VK_SHIFT)) b |= platform::kShiftKey;
  if (down(VK_CONTROL)) b |= platform::kControlKey;
  if (down(VK_MENU)) b |= platform::kAltKey;
  return b;
}

// The first button read while a press is delivered answers the press itself:
// a quick click may be over before the host's loop delivers it.
int pressUnread = -1;

int pressOf(UINT message, WPARAM wParam) {
  int b = message == WM_LBUTTONDOWN ? platform::kLeftButton
          : message == WM_RBUTTONDOWN ? platform::kRightButton
                                      : platform::kMiddleButton;
  if (wParam & MK_LBUTTON) b |= platform::kLeftButton;
  if (wParam & MK_MBUTTON) b |= platform::kMiddleButton;
  if (wParam & MK_RBUTTON) b |= platform::kRightButton;
  if (wParam & MK_SHIFT) b |= platform::kShiftKey;
  if (wParam & MK_CONTROL) b |= platform::kControlKey;
  if (GetKeyState(VK_MENU) < 0) b |= platform::kAltKey;
  return b;
}

LRESULT CALLBACK windowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* w = reinterpret_cast<platform::Window*>(GetWindowLongPtrA(hwnd, GWLP_USERDATA));
  switch (message) {
    case WM_PAINT: {
      if (!w || !GetUpdateRect(hwnd, nullptr, FALSE)) break;
      PAINTSTRUCT ps;
      w->paintDC = BeginPaint(hwnd, &ps);
      if (w->handler) w->handler->onPaint();
      EndPaint(hwnd, &ps);
      w->paintDC = nullptr;
      return 0;
    }
    case WM_ERASEBKGND:
      // Only beyond the picture: the paint covers the picture itself without flicker.
      if (w && w->background) {
        RECT client{};
        GetClientRect(hwnd, &client);
        const HDC dc = reinterpret_cast<HDC>(wParam);
        const RECT right{w->width, 0, client.right, client.bottom}, below{0, w->height, w->width, client.bottom};
        if (right.left < right.right) FillRect(dc, &right, w->background);
        if (below.top < below.bottom) FillRect(dc, &below, w->background);
      }
      return 1;
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
    case WM_MBUTTONDOWN:
      if (w && w->handler) {
        pressUnread = pressOf(message, wParam);
        w->handler->onButtonDown(GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam), pressUnread);
        pressUnread = -1;
      }
      return 0;
    case WM_DESTROY:
      // The host destroyed its window and ours with it; the frame stops painting.
      if (w) {
        SetWindowLongPtrA(hwnd, GWLP_USERDATA, 0);
        w->hwnd = nullptr;
        if (w->handler) w->handler->onDestroyed();
      }
      break;
    case WM_CTLCOLOREDIT:
      if (platform::EditBox* box = editBoxOf(reinterpret_cast<HWND>(lParam))) {
        HDC dc = reinterpret_cast<HDC>(wParam);
        SetTextColor(dc, colourOf(box->style.text));
        SetBkColor(dc, colourOf(box->style.back));
        return reinterpret_cast<LRESULT>(box->brush);
      }
      break;
    default:
      break;
  }
  return DefWindowProcA(hwnd, message, wParam, lParam);
}

// The edit box's own procedure, wrapped: Return and the loss of the keyboard
// end the edit; everything else, and these too, go on to the control.
LRESULT CALLBACK editProc(HWND edit, UINT message, WPARAM wParam, LPARAM lParam) {
  platform::EditBox* box = editBoxOf(edit);
  if (!box) return DefWindowProcA(edit, message, wParam, lParam);
  const WNDPROC previous = box->previous;
  if (message == WM_KILLFOCUS || (message == WM_KEYDOWN && wParam == VK_RETURN)) {
    if (box->handler) box->handler->onEditEnd(box);
    if (!IsWindow(edit) || editBoxOf(edit) != box) return 0;  // the handler closed the box
  }
  return CallWindowProcA(previous, edit, message, wParam, lParam);
}

}  // namespace

namespace platform {

Bitmap* loadBitmap(int resourceId) {
  HBITMAP handle = LoadBitmapA(instance(), MAKEINTRESOURCEA(resourceId & 0xffff));
  if (!handle) return nullptr;
  BITMAP info{};
  GetObjectA(handle, sizeof info, &info);
  return new Bitmap{handle, static_cast<int>(info.bmWidth), static_cast<int>(info.bmHeight)};
}

void freeBitmap(Bitmap* bitmap) {
  if (!bitmap) return;
  DeleteObject(bitmap->handle);
  delete bitmap;
}

int bitmapWidth(const Bitmap* b) { return b ? b->width : 0; }
int bitmapHeight(const Bitmap* b) { return b ? b->height : 0; }

Rgb bitmapPixel(const Bitmap* b, int x, int y) {
  if (!b || x < 0 || y < 0 || x >= b->width || y >= b->height) return {};
  HDC memory = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(memory, b->handle);
  const COLORREF c = GetPixel(memory, x, y);
  SelectObject(memory, old);
  DeleteDC(memory);
  return {GetRValue(c), GetGValue(c), GetBValue(c)};
}

Window* createWindow(void* parent, int width, int height, const char* windowClass, const char* title,
                     WindowHandler* handler) {
  if (!parent || width <= 0 || height <= 0) return nullptr;
  if (classUsers++ == 0) {
    className = windowClass ? windowClass : "Plugin";
    WNDCLASSA wc{};
    wc.style = CS_GLOBALCLASS;
    wc.lpfnWndProc = &windowProc;
    wc.hInstance = instance();
    wc.hCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));  // the arrow
    wc.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    wc.lpszClassName = className.c_str();
    RegisterClassA(&wc);
  }
  HWND hwnd = CreateWindowExA(0, className.c_str(), title ? title : "", WS_CHILD | WS_VISIBLE, 0, 0, width, height,
                              static_cast<HWND>(parent), nullptr, instance(), nullptr);
  if (!hwnd) {
    if (--classUsers == 0) UnregisterClassA(className.c_str(), instance());
    return nullptr;
  }
  auto* w = new Window{hwnd, nullptr, handler, width, height, nullptr};
  SetWindowLongPtrA(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(w));
  return w;
}

void setWindowBackground(Window* window, Rgb colour) {
  if (!window) return;
  if (window->background) DeleteObject(window->background);
  window->background = CreateSolidBrush(colourOf(colour));
  if (window->hwnd) InvalidateRect(window->hwnd, nullptr, TRUE);
}

void* nativeWindow(const Window* window) { return window ? window->hwnd : nullptr; }

void destroyWindow(Window* window) {
  if (!window) return;
  if (window->hwnd) {
    SetWindowLongPtrA(window->hwnd, GWLP_USERDATA, 0);
    DestroyWindow(window->hwnd);  // takes the edit box, a child, with it
  }
  if (window->background) DeleteObject(window->background);
  delete window;
  if (--classUsers == 0) UnregisterClassA(className.c_str(), instance());
}

// The host's message loop delivers this window's messages; a paint still
// pending is answered now.
void dispatchEvents(Window* window) {
  if (window && window->hwnd) UpdateWindow(window->hwnd);
}

// GDI draws on the window at once.
void flush(Window*) {}

bool pumpOnePaint() {
  MSG msg;
  if (!PeekMessageA(&msg, nullptr, WM_PAINT, WM_PAINT, PM_REMOVE)) return false;
  DispatchMessageA(&msg);
  return true;
}

void copyBitmap(Window* window, const Bitmap* bitmap, Box dst, int srcX, int srcY, bool keyed) {
  if (!window || !window->hwnd || !bitmap) return;
  // Only the part that lies inside the picture is drawn.
  const int x0 = std::max(srcX, 0), y0 = std::max(srcY, 0);
  const int x1 = std::min(srcX + dst.w, bitmap->width), y1 = std::min(srcY + dst.h, bitmap->height);
  if (x1 <= x0 || y1 <= y0) return;
  const int dx = dst.x + (x0 - srcX), dy = dst.y + (y0 - srcY);
  DrawingContext dc(window);
  HDC memory = CreateCompatibleDC(dc);
  HGDIOBJ old = SelectObject(memory, bitmap->handle);
  if (keyed)
    GdiTransparentBlt(dc, dx, dy, x1 - x0, y1 - y0, memory, x0, y0, x1 - x0, y1 - y0, RGB(255, 0, 255));
  else
    BitBlt(dc, dx, dy, x1 - x0, y1 - y0, memory, x0, y0, SRCCOPY);
  SelectObject(memory, old);
  DeleteDC(memory);
}

void fillBox(Window* window, Box box, Rgb colour) {
  if (!window || !window->hwnd) return;
  DrawingContext dc(window);
  HBRUSH brush = CreateSolidBrush(colourOf(colour));
  const RECT r{box.x, box.y, box.x + box.w, box.y + box.h};
  FillRect(dc, &r, brush);
  DeleteObject(brush);
}

void drawLine(Window* window, int x0, int y0, int x1, int y1, Rgb colour) {
  if (!window || !window->hwnd) return;
  DrawingContext dc(window);
  HPEN pen = CreatePen(PS_SOLID, 1, colourOf(colour));
  HGDIOBJ old = SelectObject(dc, pen);
  MoveToEx(dc, x0, y0, nullptr);
  LineTo(dc, x1, y1);
  SelectObject(dc, old);
  DeleteObject(pen);
}

void drawText(Window* window, const char* text, Box box, const Font& font, Rgb colour, Align align, bool opaque,
              Rgb back) {
  if (!window || !window->hwnd || !text) return;
  DrawingContext dc(window);
  HFONT f = makeFont(font);
  HGDIOBJ old = SelectObject(dc, f);
  SetTextColor(dc, colourOf(colour));
  SetBkColor(dc, colourOf(back));
  SetBkMode(dc, opaque ? OPAQUE : TRANSPARENT);
  RECT r{box.x, box.y, box.x + box.w, box.y + box.h};
  const UINT horizontal = align == Align::Centre ? DT_CENTER : align == Align::Right ? DT_RIGHT : DT_LEFT;
  DrawTextA(dc, text, -1, &r, horizontal | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
  SetBkMode(dc, TRANSPARENT);
  SelectObject(dc, old);
  DeleteObject(f);
}

int mouseButtons() {
  const int press = pressUnread;
  pressUnread = -1;
  return press >= 0 ? press : buttonsNow();
}

void pointerPosition(const Window* window, int& x, int& y) {
  POINT p{0, 0};
  GetCursorPos(&p);
  if (window && window->hwnd) ScreenToClient(window->hwnd, &p);
  x = p.x;
  y = p.y;
}

EditBox* createEditBox(Window* window, Box box, const char* text, const EditBoxStyle& style,
                       EditBoxHandler* handler) {
  if (!window || !window->hwnd) return nullptr;
  DWORD styleBits = WS_CHILD | WS_VISIBLE | ES_AUTOHSCROLL;
  if (style.align == Align::Centre) styleBits |= ES_CENTER;
  if (style.align == Align::Right) styleBits |= ES_RIGHT;
  // The box already covers the field's edges.
  HWND edit = CreateWindowExA(0, "EDIT", text ? text : "", styleBits, box.x, box.y, box.w, box.h, window->hwnd,
                              nullptr, instance(), nullptr);
  if (!edit) return nullptr;
  Font font = style.font;
  font.bold = false;
  auto* b = new EditBox{edit, window, handler, nullptr, makeFont(font), CreateSolidBrush(colourOf(style.back)), style};
  SendMessageA(edit, WM_SETFONT, reinterpret_cast<WPARAM>(b->font), TRUE);
  SendMessageA(edit, EM_SETMARGINS, EC_LEFTMARGIN | EC_RIGHTMARGIN, MAKELONG(EC_USEFONTINFO, EC_USEFONTINFO));
  SendMessageA(edit, EM_SETSEL, 0, -1);
  SetWindowLongPtrA(edit, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(b));
  SetFocus(edit);
  b->previous = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrA(edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&editProc)));
  return b;
}

void editBoxText(const EditBox* box, char* out, int size) {
  if (!out || size <= 0) return;
  out[0] = 0;
  if (box) GetWindowTextA(box->hwnd, out, size);
}

void destroyEditBox(EditBox* box) {
  if (!box) return;
  // Detached first, so the messages destruction sends find no box.
  SetWindowLongPtrA(box->hwnd, GWLP_USERDATA, 0);
  if (box->previous) SetWindowLongPtrA(box->hwnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(box->previous));
  DestroyWindow(box->hwnd);
  DeleteObject(box->font);
  DeleteObject(box->brush);
  delete box;
}

std::uint32_t tickCount() { return GetTickCount(); }

// The parent's monitor DPI where Windows has the call (10 and later), else the
// screen's; a process that is not DPI aware reads 96 either way.
double desktopScale(void* parent) {
  using DpiForWindow = UINT(WINAPI*)(HWND);
  static const auto dpiForWindow = reinterpret_cast<DpiForWindow>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("user32.dll"), "GetDpiForWindow")));
  UINT dpi = 0;
  if (parent && dpiForWindow) dpi = dpiForWindow(static_cast<HWND>(parent));
  if (dpi == 0) {
    HDC screen = GetDC(nullptr);
    if (screen) {
      dpi = static_cast<UINT>(GetDeviceCaps(screen, LOGPIXELSX));
      ReleaseDC(nullptr, screen);
    }
  }
  return dpi > 0 ? dpi / 96.0 : 0.0;
}

// No toolkit of a Windows host was seen enlarging what the plug-in reports.
double toolkitScale() { return 1.0; }

void sleepMs(int milliseconds) {
  if (milliseconds > 0) Sleep(static_cast<DWORD>(milliseconds));
}

std::uintptr_t moduleInstance() { return reinterpret_cast<std::uintptr_t>(moduleHandle()); }

}  // namespace platform

}  // namespace korro
