// Renders one fixed stream through a front, as a host on either platform
// does, checks it against the VST 2 module of the same platform fed the same
// pieces, and writes the samples so two platforms' renders can be compared
// byte for byte. Built once per format (KORRO_RENDER_FORMAT):
//
//   korro-vst2-render MODULE OUT.raw
//   korro-clap-render PLUGIN.clap OUT.raw VST2-MODULE
//   korro-vst3-render PLUGIN-BINARY OUT.raw VST2-MODULE
//
// On Windows the VST3 one also opens and closes the editor on a window of its
// own, as a host's HWND, a few times.
#include <cstdio>
#include <cstring>
#include <vector>

#include "fronts/front.h"

#define KORRO_VST2 0
#define KORRO_CLAP 1
#define KORRO_VST3 2
#if KORRO_RENDER_FORMAT == KORRO_VST3
#include "vst3/vst3_host.h"
#endif

namespace korro::test {
#if KORRO_RENDER_FORMAT == KORRO_VST3
const vst3host::Module& vst3ModuleAt(const char* path);
#endif
}  // namespace korro::test

namespace {

using namespace korro::test;

#if KORRO_RENDER_FORMAT == KORRO_VST3
using namespace korro::test::vst3host;

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

// The view on an HWND of ours: its window appears, its timer idles it, and
// after removal neither is left behind (a timer left running would call a
// freed view). Answers the number of checks that failed.
int checkEditor(const char* path) {
  WNDCLASSA wc{};
  wc.lpfnWndProc = &DefWindowProcA;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.lpszClassName = "KorroVst3Host";
  RegisterClassA(&wc);
  HWND parent = CreateWindowExA(0, "KorroVst3Host", "host", WS_POPUP | WS_VISIBLE, 0, 0, 300, 196, nullptr, nullptr,
                                wc.hInstance, nullptr);
  if (!parent) return 1;
  const Module& module = vst3ModuleAt(path);
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

// The ids as this platform lays them out: the format's worked example.
bool idsInThisPlatformsLayout() {
#if defined(_WIN32)
  const unsigned char base[16] = {0xDB, 0x8D, 0x88, 0x22, 0x6E, 0x15, 0xAE, 0x45,
                                  0x83, 0x58, 0xB3, 0x48, 0x08, 0x19, 0x06, 0x25};
#else
  const unsigned char base[16] = {0x22, 0x88, 0x8D, 0xDB, 0x15, 0x6E, 0x45, 0xAE,
                                  0x83, 0x58, 0xB3, 0x48, 0x08, 0x19, 0x06, 0x25};
#endif
  return std::memcmp(kPluginBaseId.bytes, base, 16) == 0;
}
#endif

}  // namespace

int main(int argc, char** argv) {
#if KORRO_RENDER_FORMAT == KORRO_VST2
  const int arguments = 3, blocks = 90;
  const bool programs = false;
  auto make = [&] { return makeVst2Front(argv[1]); };
#elif KORRO_RENDER_FORMAT == KORRO_CLAP
  const int arguments = 4, blocks = 90;
  const bool programs = false;
  auto make = [&] { return makeClapFront(argv[1]); };
#else
  const int arguments = 4, blocks = 120;
  const bool programs = true;
  auto make = [&] { return makeVst3Front(argv[1]); };
  if (!idsInThisPlatformsLayout()) {
    std::fprintf(stderr, "interface ids are not in this platform's layout\n");
    return 1;
  }
#endif
  if (argc != arguments) {
    std::fprintf(stderr, "usage: %s PLUGIN OUT.raw%s\n", argv[0], arguments == 4 ? " VST2-MODULE" : "");
    return 2;
  }
  std::vector<float> written;
  int failures = 0;
  for (double rate : {44100.0, 96000.0}) {
    auto front = make();
    auto vst = makeVst2Front(argv[arguments == 4 ? 3 : 1]);
    if (!front->start(rate, 512) || !vst->start(rate, 512)) {
      std::fprintf(stderr, "the plug-in did not start at %.0f Hz\n", rate);
      return 1;
    }
    const std::size_t first = written.size();
    for (ScriptedBlock& s : platformScript(blocks, programs)) {
      const std::size_t n = static_cast<std::size_t>(s.block.frames);
      std::vector<float> out[2] = {std::vector<float>(n), std::vector<float>(n)};
      std::vector<float> ref[2] = {std::vector<float>(n), std::vector<float>(n)};
      float* in[2] = {s.in[0].data(), s.in[1].data()};
      float* o[2] = {out[0].data(), out[1].data()};
      float* r[2] = {ref[0].data(), ref[1].data()};
      if (!front->process(in, o, s.block.frames, s.block.points)) ++failures;
      if (arguments == 4) vst->process(in, r, s.block.frames, s.block.points);
      for (std::size_t i = 0; i < n; ++i) {
        written.push_back(out[0][i]);
        written.push_back(out[1][i]);
        if (arguments == 4 && (std::memcmp(&out[0][i], &ref[0][i], 4) || std::memcmp(&out[1][i], &ref[1][i], 4)))
          ++failures;
      }
    }
    std::printf("%.0f Hz: %zu frames, %d differ from the VST 2 module\n", rate, (written.size() - first) / 2, failures);
  }
#if KORRO_RENDER_FORMAT == KORRO_VST3 && defined(_WIN32)
  failures += checkEditor(argv[1]);
#endif
  std::FILE* f = std::fopen(argv[2], "wb");
  if (!f || std::fwrite(written.data(), sizeof(float), written.size(), f) != written.size()) return 1;
  std::fclose(f);
  return failures == 0 ? 0 : 1;
}
