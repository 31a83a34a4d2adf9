// Renders one fixed stream through the VST3 bundle's binary, as a host on
// either platform does, checks it against the VST 2 module of the same
// platform fed the same pieces, and writes the samples so the two platforms'
// renders can be compared byte for byte. On Windows it also opens and closes
// the editor on a window of its own, as a host's HWND, a few times:
//
//   korro-vst3-render PLUGIN-BINARY OUT.raw VST2-MODULE
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "tools/host/vst_host.h"
#include "vst3/vst3_host.h"
#include "windows/render_script.h"

namespace {

using namespace korro::test::vst3host;
using namespace korro::test;

constexpr ParamId kProgram = 1000;

bool sameBytes(const Tuid& t, const unsigned char (&bytes)[16]) { return std::memcmp(t.bytes, bytes, 16) == 0; }

#if defined(_WIN32)
void pump(int ms) {
  for (int waited = 0; waited < ms; waited += 10) {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&msg);
      DispatchMessageA(&msg);
    }
    Sleep(10);
  }
}

LRESULT CALLBACK hostWindowProc(HWND hwnd, UINT message, WPARAM w, LPARAM l) {
  return DefWindowProcA(hwnd, message, w, l);
}

// The view on an HWND of ours: its window appears, its timer idles it, and
// after removal neither is left behind (a timer left running would call a
// freed view). Answers the number of checks that failed.
int checkEditor(const Module& module) {
  WNDCLASSA wc{};
  wc.lpfnWndProc = &hostWindowProc;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.lpszClassName = "KorroVst3Host";
  RegisterClassA(&wc);
  HWND parent = CreateWindowExA(0, "KorroVst3Host", "host", WS_POPUP | WS_VISIBLE, 0, 0, 300, 196, nullptr, nullptr,
                                wc.hInstance, nullptr);
  if (!parent) return 1;
  int failures = 0;
  for (int round = 0; round < 10; ++round) {
    Instance fx(module);
    auto* v = static_cast<Interface<PlugViewTable>*>(fx.controller->table->createView(fx.controller, "editor"));
    if (!v) return failures + 1;
    ViewRect r{};
    failures += v->table->isPlatformTypeSupported(v, "HWND") != kTrue;
    failures += v->table->isPlatformTypeSupported(v, "X11EmbedWindowID") == kTrue;
    failures += v->table->getSize(v, &r) != kOk || r.right - r.left != 300 || r.bottom - r.top != 196;
    failures += v->table->attached(v, parent, "HWND") != kOk;
    failures += GetWindow(parent, GW_CHILD) == nullptr;
    pump(80);
    failures += v->table->removed(v) != kOk;
    failures += GetWindow(parent, GW_CHILD) != nullptr;
    v->table->release(v);
    pump(80);
  }
  DestroyWindow(parent);
  std::printf("editor: 10 openings on an HWND, %d checks failed\n", failures);
  return failures;
}
#endif

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: korro-vst3-render PLUGIN-BINARY OUT.raw VST2-MODULE\n");
    return 2;
  }
  // The ids as this platform lays them out: the format's worked example.
#if defined(_WIN32)
  const unsigned char base[16] = {0xDB, 0x8D, 0x88, 0x22, 0x6E, 0x15, 0xAE, 0x45,
                                  0x83, 0x58, 0xB3, 0x48, 0x08, 0x19, 0x06, 0x25};
#else
  const unsigned char base[16] = {0x22, 0x88, 0x8D, 0xDB, 0x15, 0x6E, 0x45, 0xAE,
                                  0x83, 0x58, 0xB3, 0x48, 0x08, 0x19, 0x06, 0x25};
#endif
  if (!sameBytes(kPluginBaseId, base)) {
    std::fprintf(stderr, "interface ids are not in this platform's layout\n");
    return 1;
  }
  Module module(argv[1]);
  korro::host::Module vstModule(argv[3]);
  if (!module.factory() || !vstModule.loaded()) {
    std::fprintf(stderr, "cannot load %s (%s), or the VST 2 module failed: %s\n", argv[1], module.error().c_str(),
                 vstModule.error().c_str());
    return 1;
  }

  std::vector<float> written;
  int failures = 0;
  for (double rate : {44100.0, 96000.0}) {
    Instance fx(module);
    if (!fx || !fx.start(rate, 512)) {
      std::fprintf(stderr, "the plug-in did not start at %.0f Hz\n", rate);
      return 1;
    }
    korro::host::Host vstHost;
    korro::host::Plugin vst(vstModule, vstHost);
    vst.start(static_cast<float>(rate), 512);

    std::vector<float> out[2], ref[2];
    const std::size_t first = written.size();
    long program = 0;
    Changes changes;
    for (ScriptBlock& b : renderScript(120, kProgram)) {
      for (auto& channel : out) channel.assign(b.frames, 0.0f);
      changes.clear();
      for (const ScriptChange& c : b.changes) changes.add(c.id, static_cast<std::int32_t>(c.offset), c.value);
      float* ip[2] = {b.in[0].data(), b.in[1].data()};
      float* op[2] = {out[0].data(), out[1].data()};
      if (fx.process(ip, 2, op, static_cast<std::int32_t>(b.frames), &changes) != kOk) ++failures;
      renderWithModule(vst, b, ref, kProgram, program);
      failures += appendAndCompare(written, out, ref, b.frames);
    }
    std::printf("%.0f Hz: %zu frames, %d differ from the VST 2 module\n", rate, (written.size() - first) / 2,
                failures);
  }

#if defined(_WIN32)
  failures += checkEditor(module);
#endif

  std::FILE* f = std::fopen(argv[2], "wb");
  if (!f || std::fwrite(written.data(), sizeof(float), written.size(), f) != written.size()) return 1;
  std::fclose(f);
  return failures == 0 ? 0 : 1;
}
