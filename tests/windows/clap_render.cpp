// Renders one fixed stream through a CLAP plug-in, as a host on either
// platform does, checks it against the VST 2 module of the same platform fed
// the same pieces, and writes the samples so the two platforms' renders can
// be compared byte for byte:
//
//   korro-clap-render PLUGIN.clap OUT.raw VST2-MODULE
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "clap/clap_abi.h"
#include "tools/host/vst_host.h"
#include "windows/render_script.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

namespace clap = korro::clap;
using namespace korro::test;

const void* clapEntry(const char* path) {
#if defined(_WIN32)
  HMODULE m = LoadLibraryA(path);
  return m ? reinterpret_cast<const void*>(GetProcAddress(m, "clap_entry")) : nullptr;
#else
  void* m = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  return m ? dlsym(m, "clap_entry") : nullptr;
#endif
}

struct Events {
  std::vector<clap::ParamValueEvent> list;
  clap::InputEvents in{this, [](const clap::InputEvents* l) {
                         return static_cast<std::uint32_t>(static_cast<Events*>(l->ctx)->list.size());
                       },
                       [](const clap::InputEvents* l, std::uint32_t i) -> const clap::EventHeader* {
                         return &static_cast<Events*>(l->ctx)->list[i].header;
                       }};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: korro-clap-render PLUGIN.clap OUT.raw VST2-MODULE\n");
    return 2;
  }
  const auto* entry = static_cast<const clap::PluginEntry*>(clapEntry(argv[1]));
  if (!entry || !entry->init(argv[1])) {
    std::fprintf(stderr, "cannot load %s\n", argv[1]);
    return 1;
  }
  const auto* factory = static_cast<const clap::PluginFactory*>(entry->getFactory(clap::kPluginFactoryId));
  korro::host::Module vstModule(argv[3]);
  if (!factory || !vstModule.loaded()) {
    std::fprintf(stderr, "no factory, or the VST 2 module failed: %s\n", vstModule.error().c_str());
    return 1;
  }

  clap::Host host{};
  host.abi = clap::kAbiVersion;
  host.name = host.vendor = host.url = host.version = "korro-clap-render";
  host.getExtension = [](const clap::Host*, const char*) -> const void* { return nullptr; };
  host.requestRestart = host.requestProcess = host.requestCallback = [](const clap::Host*) {};

  std::vector<float> written;
  int failures = 0;
  for (double rate : {44100.0, 96000.0}) {
    const clap::Plugin* p = factory->createPlugin(factory, &host, factory->getPluginDescriptor(factory, 0)->id);
    if (!p || !p->init(p) || !p->activate(p, rate, 1, 512) || !p->startProcessing(p)) {
      std::fprintf(stderr, "the plug-in did not start at %.0f Hz\n", rate);
      return 1;
    }
    korro::host::Host vstHost;
    korro::host::Plugin vst(vstModule, vstHost);
    vst.start(static_cast<float>(rate), 512);

    std::vector<float> out[2], ref[2];
    std::size_t first = written.size();
    long program = 0;
    for (ScriptBlock& b : renderScript(90)) {
      for (auto& channel : out) channel.assign(b.frames, 0.0f);
      Events events;
      for (const ScriptChange& c : b.changes) {
        clap::ParamValueEvent e{};
        e.header = {sizeof e, c.offset, clap::kCoreEventSpace, clap::kParamValueEvent, 0};
        e.paramId = c.id;
        e.value = c.value;
        events.list.push_back(e);
      }
      float* ip[2] = {b.in[0].data(), b.in[1].data()};
      float* op[2] = {out[0].data(), out[1].data()};
      clap::AudioBuffer ib{ip, nullptr, 2, 0, 0}, ob{op, nullptr, 2, 0, 0};
      clap::Process pr{-1, b.frames, nullptr, &ib, &ob, 1, 1, &events.in, nullptr};
      p->process(p, &pr);
      renderWithModule(vst, b, ref, 0, program);
      failures += appendAndCompare(written, out, ref, b.frames);
    }
    std::printf("%.0f Hz: %zu frames, %d differ from the VST 2 module\n", rate, (written.size() - first) / 2,
                failures);
    p->stopProcessing(p);
    p->deactivate(p);
    p->destroy(p);
  }
  entry->deinit();

  std::FILE* f = std::fopen(argv[2], "wb");
  if (!f || std::fwrite(written.data(), sizeof(float), written.size(), f) != written.size()) return 1;
  std::fclose(f);
  return failures == 0 ? 0 : 1;
}
