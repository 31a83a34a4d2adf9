// Prints what a host sees of a module: identity, programs and parameter texts.
#include <cstdio>
#include <string>

#include "host/vst_host.h"

using korro::host::Host;
using korro::host::Module;
using korro::host::Plugin;

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: korro-info MODULE\n");
    return 2;
  }
  Module module(argv[1]);
  if (!module.loaded()) {
    std::fprintf(stderr, "korro-info: cannot load %s: %s\n", argv[1], module.error().c_str());
    return 1;
  }
  Host host;
  Plugin plugin(module, host);
  if (!plugin) {
    std::fprintf(stderr, "korro-info: %s refused to start\n", argv[1]);
    return 1;
  }
  AEffect* e = plugin.effect();
  const std::int32_t id = e->uniqueID;
  std::printf("module      %s\n", argv[1]);
  std::printf("effect      %s\n", plugin.text(effGetEffectName).c_str());
  std::printf("product     %s\n", plugin.text(effGetProductString).c_str());
  std::printf("vendor      %s\n", plugin.text(effGetVendorString).c_str());
  std::printf("unique id   %c%c%c%c  version %d  VST %ld\n", (id >> 24) & 0xff, (id >> 16) & 0xff, (id >> 8) & 0xff,
              id & 0xff, e->version, static_cast<long>(plugin.dispatch(effGetVstVersion)));
  std::printf("channels    %d in, %d out  flags %d\n\n", e->numInputs, e->numOutputs, e->flags);

  std::printf("programs\n");
  for (int p = 0; p < e->numPrograms; ++p) {
    plugin.dispatch(effSetProgram, 0, p);
    std::printf("  %d  %-24s", p, plugin.text(effGetProgramName).c_str());
    for (int i = 0; i < e->numParams; ++i) std::printf("  %s %.2f", plugin.text(effGetParamName, i).c_str(),
                                                       plugin.getParameter(i));
    std::printf("\n");
  }
  plugin.dispatch(effSetProgram, 0, 0);

  std::printf("\nparameters (program 0)\n");
  for (int i = 0; i < e->numParams; ++i)
    std::printf("  %d  [%s]  [%s]  [%s]\n", i, plugin.text(effGetParamName, i).c_str(),
                plugin.text(effGetParamDisplay, i).c_str(), plugin.text(effGetParamLabel, i).c_str());
  return 0;
}
