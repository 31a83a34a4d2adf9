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
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "lv2/ports.h"

namespace {

using namespace korro::lv2;
constexpr std::size_t kControls = std::size(kControlPorts);

int fail(const std::string& why) {
  std::fprintf(stderr, "korro-lv2-render: %s\n", why.c_str());
  return 1;
}

// The text from `open` on to the next quote; `at` moves past `open` (npos when absent).
std::string quoted(const std::string& text, const char* open, std::size_t& at) {
  at = text.find(open, at);
  if (at == std::string::npos) return {};
  at += std::strlen(open);
  return text.substr(at, text.find('"', at) - at);
}

// Each preset's control values by port, read as the bundle writes them.
std::vector<std::vector<float>> readPresets(const std::string& bundle) {
  std::stringstream file;
  file << std::ifstream(bundle + "/presets.ttl").rdbuf();
  const std::string ttl = file.str();
  std::vector<std::vector<float>> presets;
  for (std::size_t at = 0; quoted(ttl, "rdfs:label \"", at), at != std::string::npos;) {
    std::vector<float> values(kControls, NAN);
    const std::size_t end = ttl.find(" .\n", at);
    for (std::size_t k = at;;) {
      const std::string symbol = quoted(ttl, "lv2:symbol \"", k);
      if (k == std::string::npos || k > end) break;
      const float v = std::strtof(ttl.c_str() + ttl.find("pset:value ", k) + 11, nullptr);
      for (std::size_t i = 0; i < kControls; ++i)
        if (symbol == kControlPorts[i].symbol) values[i] = v;
    }
    presets.push_back(values);
  }
  return presets;
}

// Noise bursts, 0.2 s on and 0.2 s off, after a full-scale click; the same on
// every processor (integer noise scaled by a power of two).
std::vector<float> testSignal(int frames, int rate, std::uint32_t seed) {
  std::vector<float> s(frames);
  for (int i = 0; i < frames; ++i) {
    seed = seed * 1664525u + 1013904223u;
    s[i] = (i * 5 / rate) % 2 == 0 ? static_cast<float>(static_cast<std::int32_t>(seed) >> 8) * 0x1p-24f : 0.0f;
  }
  s[0] = 1.0f;
  return s;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return fail("usage: korro-lv2-render BUNDLE_DIR RATE BLOCK OUT_FILE");
  const std::string bundle = argv[1];
  const int rate = std::atoi(argv[2]), block = std::atoi(argv[3]);
  if (rate <= 0 || block <= 0 || block > kDefaultMaxBlock) return fail("bad rate or block length");
  void* binary = dlopen((bundle + "/korro-tarrow.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  const auto entry = binary ? reinterpret_cast<LV2_Descriptor_Function>(dlsym(binary, "lv2_descriptor")) : nullptr;
  const LV2_Descriptor* d = entry ? entry(0) : nullptr;
  if (!d) return fail("no plug-in in " + bundle);
  const auto presets = readPresets(bundle);
  if (presets.empty()) return fail("no presets in " + bundle);
  std::FILE* out = std::fopen(argv[4], "wb");
  if (!out) return fail(std::string("cannot write ") + argv[4]);

  const int frames = rate * 4 / 5;
  const std::vector<float> inL = testSignal(frames, rate, 1), inR = testSignal(frames, rate, 2);
  std::vector<float> outL(frames), outR(frames);
  const LV2_Feature* const features[] = {nullptr};
  for (std::vector<float> controls : presets) {
    if (std::any_of(controls.begin(), controls.end(), [](float v) { return std::isnan(v); }))
      return fail("a preset lacks a control");
    LV2_Handle h = d->instantiate(d, rate, bundle.c_str(), features);
    if (!h) return fail("instantiate failed");
    float meter[2];
    for (std::size_t i = 0; i < kControls; ++i) d->connect_port(h, kControlPorts[i].port, &controls[i]);
    d->connect_port(h, kPeakPort, &meter[0]);
    d->connect_port(h, kClipPort, &meter[1]);
    d->activate(h);
    for (int pos = 0; pos < frames; pos += block) {
      // Half-way Decay and Damp move; for the last quarter the springs are no longer fed.
      if (pos >= frames / 2 && pos - block < frames / 2) {
        controls[1] = 100.0f - controls[1];
        controls[2] = 100.0f - controls[2];
      }
      if (pos >= frames * 3 / 4) controls[0] = 0.0f;
      d->connect_port(h, kInputLeft, const_cast<float*>(&inL[pos]));
      d->connect_port(h, kInputRight, const_cast<float*>(&inR[pos]));
      d->connect_port(h, kOutputLeft, &outL[pos]);
      d->connect_port(h, kOutputRight, &outR[pos]);
      d->run(h, static_cast<std::uint32_t>(std::min(block, frames - pos)));
    }
    d->deactivate(h);
    d->cleanup(h);
    // Renders without a tail would compare equal on any processor: the first
    // 50 ms after the first burst must ring.
    float tail = 0.0f;
    for (int i = rate / 5; i < rate / 4; ++i) tail = std::max({tail, std::fabs(outL[i]), std::fabs(outR[i])});
    if (!(tail > 1e-3f)) return fail("no reverb after the first burst");
    std::fwrite(outL.data(), sizeof(float), frames, out);
    std::fwrite(outR.data(), sizeof(float), frames, out);
  }
  if (std::fclose(out) != 0) return fail("cannot write the output");
  std::printf("%zu presets, %d frames each at %d Hz in blocks of %d\n", presets.size(), frames, rate, block);
  return 0;
}
