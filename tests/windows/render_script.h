// The stream both platform renderers play through a front, and the VST 2
// module's render of it: odd block lengths, parameter changes at odd offsets
// and, for a format with a program parameter, a program chosen inside a block
// now and then. The same numbers on every platform: no library generator.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tools/host/vst_host.h"

namespace korro::test {

struct Lcg {
  std::uint32_t state = 12345;
  std::uint32_t next() { return state = state * 1664525u + 1013904223u; }
  float sample() { return static_cast<float>(static_cast<std::int32_t>(next()) >> 8) / 8388608.0f * 0.8f; }
};

struct ScriptChange {
  std::uint32_t offset;
  std::uint32_t id;
  double value;
};

struct ScriptBlock {
  std::uint32_t frames;
  std::vector<ScriptChange> changes;
  std::vector<float> in[2];
};

// programId 0: the format has no program parameter.
inline std::vector<ScriptBlock> renderScript(int count, std::uint32_t programId = 0) {
  std::vector<ScriptBlock> blocks;
  Lcg r, noise;
  const std::uint32_t lengths[] = {512, 333, 64, 512, 1, 257};
  for (int b = 0; b < count; ++b) {
    ScriptBlock block{lengths[b % 6], {}, {}};
    if (b % 4 == 1) {
      const std::uint32_t t = r.next() % block.frames;
      block.changes.push_back({t, r.next() % 5, (r.next() % 1001) / 1000.0});
      block.changes.push_back({t + (block.frames - t) / 2, 1, (r.next() % 1001) / 1000.0});
    }
    if (programId && b % 25 == 12) block.changes.push_back({block.frames / 2, programId, (b / 25 + 3) % 8 / 7.0});
    for (auto& channel : block.in) channel.resize(block.frames);
    for (std::uint32_t i = 0; i < block.frames; ++i) {
      block.in[0][i] = noise.sample();
      block.in[1][i] = noise.sample() * 0.5f;
    }
    blocks.push_back(std::move(block));
  }
  return blocks;
}

// The VST 2 module's render of one block: a program change before it, the
// block split at each parameter change.
inline void renderWithModule(host::Plugin& vst, ScriptBlock& b, std::vector<float> (&out)[2],
                             std::uint32_t programId, long& program) {
  for (auto& channel : out) channel.assign(b.frames, 0.0f);
  for (const ScriptChange& c : b.changes)
    if (programId && c.id == programId && std::lround(c.value * 7) != program)
      vst.dispatch(effSetProgram, 0, program = std::lround(c.value * 7));
  std::uint32_t done = 0;
  auto runTo = [&](std::uint32_t t) {
    if (t <= done) return;
    float* i[2] = {b.in[0].data() + done, b.in[1].data() + done};
    float* o[2] = {out[0].data() + done, out[1].data() + done};
    vst.processReplacing(i, o, static_cast<std::int32_t>(t - done));
    done = t;
  };
  for (const ScriptChange& c : b.changes) {
    if (programId && c.id == programId) continue;
    runTo(c.offset);
    vst.setParameter(static_cast<std::int32_t>(c.id), static_cast<float>(c.value));
  }
  runTo(b.frames);
}

// Appends the front's block, interleaved; counts the frames not bit-identical to the module's.
inline int appendAndCompare(std::vector<float>& written, const std::vector<float> (&out)[2],
                            const std::vector<float> (&ref)[2], std::uint32_t frames) {
  int differ = 0;
  for (std::uint32_t i = 0; i < frames; ++i) {
    written.push_back(out[0][i]);
    written.push_back(out[1][i]);
    if (std::memcmp(&out[0][i], &ref[0][i], 4) || std::memcmp(&out[1][i], &ref[1][i], 4)) ++differ;
  }
  return differ;
}

}  // namespace korro::test
