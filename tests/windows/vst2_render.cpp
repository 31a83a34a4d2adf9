// Renders the platform renderers' stream through a VST 2 module alone and
// writes the samples, so modules built for different platforms (the 32-bit
// Windows DLL under Wine, the Linux module) can be compared byte for byte:
//
//   korro-vst2-render MODULE OUT.raw
#include <cstdio>
#include <vector>

#include "host/vst_host.h"
#include "windows/render_script.h"

int main(int argc, char** argv) {
  using namespace korro::test;
  if (argc != 3) {
    std::fprintf(stderr, "usage: korro-vst2-render MODULE OUT.raw\n");
    return 2;
  }
  korro::host::Module module(argv[1]);
  if (!module.loaded()) {
    std::fprintf(stderr, "cannot load %s: %s\n", argv[1], module.error().c_str());
    return 1;
  }
  std::vector<float> written, out[2];
  for (double rate : {44100.0, 96000.0}) {
    korro::host::Host host;
    korro::host::Plugin vst(module, host);
    vst.start(static_cast<float>(rate), 512);
    long program = 0;
    for (ScriptBlock& b : renderScript(90)) {
      renderWithModule(vst, b, out, 0, program);
      appendAndCompare(written, out, out, b.frames);
    }
  }
  std::FILE* f = std::fopen(argv[2], "wb");
  if (!f || std::fwrite(written.data(), sizeof(float), written.size(), f) != written.size()) return 1;
  std::fclose(f);
  std::printf("%zu frames\n", written.size() / 2);
  return 0;
}
