// A small LV2 host: loads a bundle's DSP binary, and for every preset in the
// bundle's presets.ttl renders a fixed test signal at the given rate in blocks
// of the given length, writing the outputs as raw floats. Run on two
// processors with the same Turtle, the files must be the same byte for byte.
//   korro-lv2-render BUNDLE_DIR RATE BLOCK OUT_FILE
#include <dlfcn.h>
#include <lv2/core/lv2.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "lv2/ports.h"

namespace {

using korro::lv2::kControlPorts;

struct Preset {
  std::string label;
  float controls[std::size(kControlPorts)];
};

// The text between `open` and the next quote, from `from` on; npos when absent.
std::string quotedAfter(const std::string& text, const std::string& open, std::size_t& from) {
  from = text.find(open, from);
  if (from == std::string::npos) return {};
  from += open.size();
  const std::size_t end = text.find('"', from);
  return text.substr(from, end - from);
}

// Each preset's label and its port values, read the way the bundle writes them.
std::vector<Preset> readPresets(const std::string& bundle) {
  std::ifstream file(bundle + "/presets.ttl");
  std::stringstream text;
  text << file.rdbuf();
  const std::string ttl = text.str();
  std::vector<Preset> presets;
  for (std::size_t at = 0;;) {
    Preset p;
    p.label = quotedAfter(ttl, "rdfs:label \"", at);
    if (at == std::string::npos) break;
    std::fill(std::begin(p.controls), std::end(p.controls), NAN);
    const std::size_t end = ttl.find(" .\n", at);
    for (std::size_t k = at;;) {
      const std::string symbol = quotedAfter(ttl, "lv2:symbol \"", k);
      if (k == std::string::npos || k > end) break;
      k = ttl.find("pset:value ", k) + 11;
      for (std::size_t i = 0; i < std::size(kControlPorts); ++i)
        if (symbol == kControlPorts[i].symbol) p.controls[i] = std::strtof(ttl.c_str() + k, nullptr);
    }
    if (std::any_of(std::begin(p.controls), std::end(p.controls), [](float v) { return std::isnan(v); })) {
      std::fprintf(stderr, "preset %s lacks a control\n", p.label.c_str());
      std::exit(1);
    }
    presets.push_back(p);
  }
  return presets;
}

// Noise bursts with silences between them, the same on every processor: the
// noise is integer arithmetic scaled by a power of two.
std::vector<float> testSignal(int frames, int rate, std::uint32_t seed) {
  std::vector<float> s(frames);
  for (int i = 0; i < frames; ++i) {
    seed = seed * 1664525u + 1013904223u;
    const bool on = (i * 5 / rate) % 2 == 0;  // 0.2 s on, 0.2 s off
    s[i] = on ? static_cast<float>(static_cast<std::int32_t>(seed) >> 8) * 0x1p-24f : 0.0f;
  }
  s[0] = 1.0f;
  return s;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: korro-lv2-render BUNDLE_DIR RATE BLOCK OUT_FILE\n");
    return 2;
  }
  const std::string bundle = argv[1];
  const int rate = std::atoi(argv[2]);
  const int block = std::atoi(argv[3]);
  if (rate <= 0 || block <= 0 || block > korro::lv2::kDefaultMaxBlock) {
    std::fprintf(stderr, "korro-lv2-render: bad rate or block length\n");
    return 2;
  }
  void* binary = dlopen((bundle + "/korro-tarrow.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  const auto entry = binary ? reinterpret_cast<LV2_Descriptor_Function>(dlsym(binary, "lv2_descriptor")) : nullptr;
  const LV2_Descriptor* d = entry ? entry(0) : nullptr;
  if (!d) {
    std::fprintf(stderr, "korro-lv2-render: no plug-in in %s: %s\n", bundle.c_str(), dlerror());
    return 1;
  }
  const std::vector<Preset> presets = readPresets(bundle);
  if (presets.empty()) {
    std::fprintf(stderr, "korro-lv2-render: no presets in %s\n", bundle.c_str());
    return 1;
  }

  const int frames = rate * 4 / 5;
  const std::vector<float> inL = testSignal(frames, rate, 1), inR = testSignal(frames, rate, 2);
  std::vector<float> outL(frames), outR(frames);
  std::FILE* out = std::fopen(argv[4], "wb");
  if (!out) {
    std::fprintf(stderr, "korro-lv2-render: cannot write %s\n", argv[4]);
    return 1;
  }
  const LV2_Feature* const features[] = {nullptr};
  for (const Preset& p : presets) {
    LV2_Handle h = d->instantiate(d, rate, bundle.c_str(), features);
    if (!h) {
      std::fprintf(stderr, "korro-lv2-render: instantiate failed\n");
      return 1;
    }
    float controls[std::size(kControlPorts)], meter[2];
    std::copy(std::begin(p.controls), std::end(p.controls), controls);
    for (std::size_t i = 0; i < std::size(kControlPorts); ++i) d->connect_port(h, kControlPorts[i].port, &controls[i]);
    d->connect_port(h, korro::lv2::kPeakPort, &meter[0]);
    d->connect_port(h, korro::lv2::kClipPort, &meter[1]);
    d->activate(h);
    for (int pos = 0; pos < frames; pos += block) {
      // Half-way Decay and Damp move; for the last quarter the springs are no longer fed.
      if (pos >= frames / 2 && pos - block < frames / 2) {
        controls[1] = 100.0f - controls[1];
        controls[2] = 100.0f - controls[2];
      }
      if (pos >= frames * 3 / 4) controls[0] = 0.0f;
      const int n = std::min(block, frames - pos);
      d->connect_port(h, korro::lv2::kInputLeft, const_cast<float*>(inL.data() + pos));
      d->connect_port(h, korro::lv2::kInputRight, const_cast<float*>(inR.data() + pos));
      d->connect_port(h, korro::lv2::kOutputLeft, outL.data() + pos);
      d->connect_port(h, korro::lv2::kOutputRight, outR.data() + pos);
      d->run(h, static_cast<std::uint32_t>(n));
    }
    d->deactivate(h);
    d->cleanup(h);
    // Renders without a tail would compare equal on any processor: the first
    // 50 ms after the first burst must ring.
    float tail = 0.0f;
    for (int i = rate / 5; i < rate / 4; ++i) tail = std::max({tail, std::fabs(outL[i]), std::fabs(outR[i])});
    if (!(tail > 1e-3f)) {
      std::fprintf(stderr, "korro-lv2-render: %s: no reverb after the first burst (peak %g)\n", p.label.c_str(), tail);
      return 1;
    }
    std::fwrite(outL.data(), sizeof(float), frames, out);
    std::fwrite(outR.data(), sizeof(float), frames, out);
  }
  if (std::fclose(out) != 0) return 1;
  std::printf("%zu presets, %d frames each at %d Hz in blocks of %d\n", presets.size(), frames, rate, block);
  return 0;
}
