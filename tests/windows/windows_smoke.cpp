// Loads KORRO_MERIDAN.dll as a Windows host does and checks what a host
// relies on: both entry points, identity and texts, the reverb's first echo,
// and the editor on a real window — painted from the DLL's bitmaps, a click
// on the switch and a value typed into a field with real input events.
// Exits non-zero on the first broken promise it finds of each kind.
#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/host/vst_host.h"

namespace {

using korro::host::Host;
using korro::host::Module;
using korro::host::Plugin;

int failures = 0;

#define CHECK(condition)                                                             \
  do {                                                                               \
    if (!(condition)) {                                                              \
      ++failures;                                                                    \
      std::printf("FAILED %s:%d: %s\n", __FILE__, __LINE__, #condition);             \
    }                                                                                \
  } while (0)

void pump(Plugin& fx, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&msg);
      DispatchMessageA(&msg);
    }
    fx.dispatch(effEditIdle);
    Sleep(15);
  }
}

// A real click at a point of a window's client area.
void click(HWND window, int x, int y, bool down, bool up) {
  POINT p{x, y};
  ClientToScreen(window, &p);
  SetCursorPos(p.x, p.y);
  INPUT input{};
  input.type = INPUT_MOUSE;
  if (down) {
    input.mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
    SendInput(1, &input, sizeof input);
  }
  if (up) {
    input.mi.dwFlags = MOUSEEVENTF_LEFTUP;
    SendInput(1, &input, sizeof input);
  }
}

void checkIdentityAndTexts(Plugin& fx) {
  const AEffect* e = fx.effect();
  CHECK(e->magic == 0x56737450);
  CHECK(e->uniqueID == 0x4B725477);
  CHECK(e->flags == 25);
  CHECK(e->numInputs == 2 && e->numOutputs == 2);
  CHECK(e->numPrograms == 8 && e->numParams == 5);
  CHECK(fx.dispatch(effGetVstVersion) == 2200);
  CHECK(fx.dispatch(effGetCurrentMidiProgram) == -1);
  CHECK(fx.text(effGetEffectName) == "Korro Tarrow");
  CHECK(fx.text(effGetProgramNameIndexed, 6) == "Singing in the bathroom");
  CHECK(fx.text(effGetParamName, 3) == " Output ");
  CHECK(fx.text(effGetParamDisplay, 3) == "-6.02059");
  CHECK(fx.text(effGetParamLabel, 1) == "    %    ");
}

// An impulse into the left input of "Typical Spring", wet only: the first echo
// is 0.2968 · 0.78 · dampCoeff · (1 − 0.3 · toneCoeff) at sample 1279.
void checkFirstEcho(Plugin& fx) {
  fx.start(44100.0f, 512);
  fx.dispatch(effSetProgram, 0, 2);
  fx.setParameter(4, 1.0f);
  std::vector<float> inL(2048, 0.0f), inR(2048, 0.0f), outL(2048), outR(2048);
  inL[0] = 1.0f;
  for (int pos = 0; pos < 2048; pos += 512) {
    float* in[2] = {inL.data() + pos, inR.data() + pos};
    float* out[2] = {outL.data() + pos, outR.data() + pos};
    fx.processReplacing(in, out, 512);
  }
  int first = -1;
  float right = 0.0f;
  for (int i = 0; i < 2048; ++i) {
    if (first < 0 && std::fabs(outL[i]) > 1e-6f) first = i;
    right = std::fmax(right, std::fabs(outR[i]));
  }
  const double toneCoeff = std::pow(0.005, 2000.0 / 44100.0);
  const double expected = 0.2968 * 0.78 * 0.8 * (1.0 - 0.3 * toneCoeff);
  CHECK(first == 1279);
  CHECK(first >= 0 && std::fabs(outL[first] - expected) < 1e-6);
  CHECK(right < 1e-6f);
}

LRESULT CALLBACK hostWindowProc(HWND hwnd, UINT message, WPARAM w, LPARAM l) {
  return DefWindowProcA(hwnd, message, w, l);
}

// The panel, away from every control, shows the skin picture `id` as the DLL
// carries it, at `scale` screen pixels per layout pixel.
bool panelShowsSkin(HWND editor, HMODULE dll, int id, int scale) {
  HBITMAP skin = LoadBitmapA(dll, MAKEINTRESOURCEA(id));
  if (!skin) return false;
  HDC screen = GetDC(editor);
  HDC memory = CreateCompatibleDC(screen);
  HGDIOBJ old = SelectObject(memory, skin);
  int differing = 0;
  const POINT spots[] = {{4, 4}, {150, 130}, {290, 60}, {20, 180}, {280, 120}};
  for (POINT p : spots)
    differing += GetPixel(screen, p.x * scale, p.y * scale) != GetPixel(memory, p.x * scale, p.y * scale);
  SelectObject(memory, old);
  DeleteDC(memory);
  DeleteObject(skin);
  ReleaseDC(editor, screen);
  return differing == 0;
}

// Beyond the picture's 300 × 196, a wider window shows the skin's top-left colour.
bool widenedShowsFrameColour(HWND editor, HMODULE dll) {
  HBITMAP skin = LoadBitmapA(dll, MAKEINTRESOURCEA(11200));
  if (!skin) return false;
  HDC screen = GetDC(editor);
  HDC memory = CreateCompatibleDC(screen);
  HGDIOBJ old = SelectObject(memory, skin);
  const COLORREF frame = GetPixel(memory, 0, 0);
  int differing = 0;
  for (POINT p : {POINT{300, 0}, POINT{340, 100}, POINT{391, 195}})
    differing += GetPixel(screen, p.x, p.y) != frame;
  SelectObject(memory, old);
  DeleteDC(memory);
  DeleteObject(skin);
  ReleaseDC(editor, screen);
  return differing == 0;
}

void checkEditor(Plugin& fx, Host& host, HMODULE dll) {
  WNDCLASSA wc{};
  wc.lpfnWndProc = &hostWindowProc;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.lpszClassName = "KorroSmokeHost";
  RegisterClassA(&wc);
  HWND parent = CreateWindowExA(0, "KorroSmokeHost", "host", WS_POPUP | WS_VISIBLE, 0, 0, 300, 196, nullptr, nullptr,
                                wc.hInstance, nullptr);
  CHECK(parent != nullptr);

  ERect* rect = nullptr;
  CHECK(fx.dispatch(effEditGetRect, 0, 0, &rect) == 1);
  CHECK(rect && rect->right == 300 && rect->bottom == 196);
  CHECK(fx.dispatch(effEditOpen, 0, 0, parent) == 1);
  HWND editor = GetWindow(parent, GW_CHILD);
  CHECK(editor != nullptr);
  if (!editor) return;
  char name[64] = {};
  GetClassNameA(editor, name, sizeof name);
  CHECK(std::string(name).rfind("Plugin", 0) == 0);
  GetWindowTextA(editor, name, sizeof name);
  CHECK(std::string(name) == "Window");
  pump(fx, 10);

  // The panel, away from every control, shows the skin as the DLL carries it.
  CHECK(panelShowsSkin(editor, dll, 11200, 1));
  // A host that makes the editor's window wider than the picture (Ardour fits it to its toolbar).
  SetWindowPos(parent, nullptr, 0, 0, 392, 196, SWP_NOZORDER | SWP_NOMOVE);
  SetWindowPos(editor, nullptr, 0, 0, 392, 196, SWP_NOZORDER | SWP_NOMOVE);
  pump(fx, 3);
  CHECK(widenedShowsFrameColour(editor, dll));
  CHECK(panelShowsSkin(editor, dll, 11200, 1));

  // The bypass switch toggles on the press and tells the host, also when the
  // button is up again before the press is delivered.
  host.clear();
  click(editor, 67, 149, true, true);
  pump(fx, 3);
  CHECK(host.count(audioMasterAutomate) == 1);
  CHECK(fx.getParameter(0) == 0.0f);

  // A click on the Decay field opens a native edit box; Return commits it.
  click(editor, 67, 104, true, false);
  pump(fx, 3);
  click(editor, 67, 104, false, true);
  HWND edit = FindWindowExA(editor, nullptr, "EDIT", nullptr);
  CHECK(edit != nullptr);
  if (edit) {
    CHECK(GetFocus() == edit);
    RECT box{};
    GetWindowRect(edit, &box);
    CHECK(box.right - box.left == 57 && box.bottom - box.top == 15);  // the field (56 × 14) and its edges
    SetWindowTextA(edit, "25");
    SendMessageA(edit, WM_KEYDOWN, VK_RETURN, 0);
    pump(fx, 3);
    CHECK(fx.getParameter(1) == 0.25f);
    CHECK(FindWindowExA(editor, nullptr, "EDIT", nullptr) == nullptr);
  }

  fx.dispatch(effEditClose);
  CHECK(GetWindow(parent, GW_CHILD) == nullptr);
  CHECK(fx.dispatch(effEditOpen, 0, 0, parent) == 1);
  pump(fx, 2);

  // The host destroys its window, and the editor's with it, before closing the
  // editor: the idles after it must not paint on a window that is gone.
  DestroyWindow(parent);
  fx.setParameter(1, 0.7f);
  pump(fx, 3);
  fx.dispatch(effEditClose);
}

// Every skin picture at every scale is a bitmap resource of the DLL, each of
// the size its scale gives; listed, so the log shows what the DLL carries.
void checkResources(HMODULE dll) {
  std::vector<int> ids;
  EnumResourceNamesA(
      dll, MAKEINTRESOURCEA(2) /* RT_BITMAP */,
      [](HMODULE, LPCSTR, LPSTR name, LONG_PTR list) -> BOOL {
        if (IS_INTRESOURCE(name)) reinterpret_cast<std::vector<int>*>(list)->push_back(static_cast<int>(reinterpret_cast<std::uintptr_t>(name)));
        return TRUE;
      },
      reinterpret_cast<LONG_PTR>(&ids));
  std::sort(ids.begin(), ids.end());
  std::printf("bitmaps:");
  for (int id : ids) std::printf(" %d", id);
  std::printf("\n");
  std::vector<int> expected;
  for (int scale : {0, 1000, 2000})
    for (int id : {11200, 11201, 11205, 11210, 11211, 11212, 11213, 11215}) expected.push_back(id + scale);
  CHECK(ids == expected);
  // The panel at 1, 1.5 and 2; the Decay strip: 51 pictures of 54, 81 and 108 pixels.
  const struct {
    int id, width, height;
  } sizes[] = {{11200, 300, 196}, {12200, 450, 294}, {13200, 600, 392},
               {11210, 54, 54 * 51}, {12210, 81, 81 * 51}, {13210, 108, 108 * 51}};
  for (const auto& s : sizes) {
    HBITMAP b = LoadBitmapA(dll, MAKEINTRESOURCEA(s.id));
    BITMAP info{};
    CHECK(b && GetObjectA(b, sizeof info, &info) == sizeof info);
    CHECK(info.bmWidth == s.width && info.bmHeight == s.height);
    if (b) DeleteObject(b);
  }
}

// The host's content-scale call at 2: a 600 × 392 editor drawn from the 2x
// pictures, its switch where the 2x skin shows it.
void checkScaledEditor(Plugin& fx, Host& host, HMODULE dll) {
  HWND parent = CreateWindowExA(0, "KorroSmokeHost", "host", WS_POPUP | WS_VISIBLE, 0, 0, 600, 392, nullptr, nullptr,
                                GetModuleHandleA(nullptr), nullptr);
  CHECK(parent != nullptr);
  CHECK(fx.dispatch(effVendorSpecific, fourCharCode('P', 'r', 'e', 'S'), fourCharCode('A', 'e', 'C', 's'), nullptr,
                    2.0f) == 1);
  ERect* rect = nullptr;
  CHECK(fx.dispatch(effEditGetRect, 0, 0, &rect) == 1);
  CHECK(rect && rect->right == 600 && rect->bottom == 392);
  CHECK(fx.dispatch(effEditOpen, 0, 0, parent) == 1);
  HWND editor = GetWindow(parent, GW_CHILD);
  CHECK(editor != nullptr);
  if (!editor) return;
  RECT client{};
  GetClientRect(editor, &client);
  std::printf("editor at scale 2: %ld x %ld\n", client.right - client.left, client.bottom - client.top);
  CHECK(client.right - client.left == 600 && client.bottom - client.top == 392);
  pump(fx, 10);

  CHECK(panelShowsSkin(editor, dll, 13200, 2));

  // The switch's middle at 2; the 1x place is bare panel now.
  const float bypass = fx.getParameter(0);
  host.clear();
  click(editor, 67, 149, true, true);
  pump(fx, 3);
  CHECK(host.count(audioMasterAutomate) == 0);
  click(editor, 134, 298, true, true);
  pump(fx, 3);
  CHECK(host.count(audioMasterAutomate) == 1);
  CHECK(fx.getParameter(0) == (bypass == 0.0f ? 1.0f : 0.0f));
  fx.dispatch(effEditClose);
  DestroyWindow(parent);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : "KORRO_MERIDAN.dll";
  Module module(path);
  CHECK(module.loaded());
  if (!module.loaded()) {
    std::printf("cannot load %s: %s\n", path.c_str(), module.error().c_str());
    return 1;
  }
  CHECK(module.symbol("VSTPluginMain") != nullptr);
  CHECK(module.symbol("main") != nullptr);
  Host host;
  {
    Plugin viaMain(module, host, "main");
    CHECK(viaMain && viaMain.effect()->uniqueID == 0x4B725477);
  }
  Plugin fx(module, host);
  CHECK(fx);
  if (!fx) return 1;
  checkIdentityAndTexts(fx);
  checkFirstEcho(fx);
  checkEditor(fx, host, GetModuleHandleA(path.c_str()));
  checkResources(GetModuleHandleA(path.c_str()));
  checkScaledEditor(fx, host, GetModuleHandleA(path.c_str()));
  std::printf("%s: %d failed check%s\n", path.c_str(), failures, failures == 1 ? "" : "s");
  return failures ? 1 : 0;
}
