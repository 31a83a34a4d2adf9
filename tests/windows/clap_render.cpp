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
#include "host/vst_host.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

namespace clap = korro::clap;

const void* clapEntry(const char* path) {
#if defined(_WIN32)
  HMODULE m = LoadLibraryA(path);
  return m ? reinterpret_cast<const void*>(GetProcAddress(m, "clap_entry")) : nullptr;
#else
  void* m = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  return m ? dlsym(m, "clap_entry") : nullptr;
#endif
}

// The same numbers on every platform: no library generator.
struct Lcg {
  std::uint32_t state = 12345;
  std::uint32_t next() { return state = state * 1664525u + 1013904223u; }
  float sample() { return static_cast<float>(static_cast<std::int32_t>(next()) >> 8) / 8388608.0f * 0.8f; }
};

struct Change {
  std::uint32_t time;
  clap::Id param;
  double value;
};
struct Block {
  std::uint32_t frames;
  std::vector<Change> changes;
};

std::vector<Block> script() {
  std::vector<Block> blocks;
  Lcg r;
  const std::uint32_t lengths[] = {512, 333, 64, 512, 1, 257};
  for (int b = 0; b < 90; ++b) {
    Block block{lengths[b % 6], {}};
    if (b % 4 == 1) {
      const std::uint32_t t = r.next() % block.frames;
      block.changes.push_back({t, r.next() % 5, (r.next() % 1001) / 1000.0});
      block.changes.push_back({t + (block.frames - t) / 2, 1, (r.next() % 1001) / 1000.0});
    }
    blocks.push_back(block);
  }
  return blocks;
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

    Lcg noise;
    std::vector<float> in[2], out[2], ref[2];
    std::size_t first = written.size();
    for (const Block& b : script()) {
      for (int c = 0; c < 2; ++c) {
        in[c].resize(b.frames);
        out[c].assign(b.frames, 0.0f);
        ref[c].assign(b.frames, 0.0f);
      }
      for (std::uint32_t i = 0; i < b.frames; ++i) {
        in[0][i] = noise.sample();
        in[1][i] = noise.sample() * 0.5f;
      }
      Events events;
      for (const Change& c : b.changes) {
        clap::ParamValueEvent e{};
        e.header = {sizeof e, c.time, clap::kCoreEventSpace, clap::kParamValueEvent, 0};
        e.paramId = c.param;
        e.value = c.value;
        events.list.push_back(e);
      }
      float* ip[2] = {in[0].data(), in[1].data()};
      float* op[2] = {out[0].data(), out[1].data()};
      clap::AudioBuffer ib{ip, nullptr, 2, 0, 0}, ob{op, nullptr, 2, 0, 0};
      clap::Process pr{-1, b.frames, nullptr, &ib, &ob, 1, 1, &events.in, nullptr};
      p->process(p, &pr);

      std::uint32_t done = 0;
      auto runTo = [&](std::uint32_t t) {
        if (t <= done) return;
        float* i2[2] = {in[0].data() + done, in[1].data() + done};
        float* o2[2] = {ref[0].data() + done, ref[1].data() + done};
        vst.processReplacing(i2, o2, static_cast<std::int32_t>(t - done));
        done = t;
      };
      for (const Change& c : b.changes) {
        runTo(c.time);
        vst.setParameter(static_cast<std::int32_t>(c.param), static_cast<float>(c.value));
      }
      runTo(b.frames);
      for (std::uint32_t i = 0; i < b.frames; ++i) {
        written.push_back(out[0][i]);
        written.push_back(out[1][i]);
        if (std::memcmp(&out[0][i], &ref[0][i], 4) || std::memcmp(&out[1][i], &ref[1][i], 4)) ++failures;
      }
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
