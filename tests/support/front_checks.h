// Checks the CLAP and VST3 front tests share: the state streams a front must
// refuse, and how long a render really rings.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "support/stereo_buffer.h"

namespace korro::test {

struct BadState {
  std::vector<unsigned char> bytes;
  std::size_t failAt;  // the position from which the host's stream fails
  const char* what;
};

// Streams made from a good one that a front must refuse with nothing changed.
inline std::vector<BadState> badStates(const std::vector<unsigned char>& good) {
  std::vector<BadState> bad;
  for (std::size_t n : {std::size_t{0}, std::size_t{3}, std::size_t{11}, std::size_t{12}, std::size_t{200},
                        good.size() - 1})
    bad.push_back({{good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n)}, SIZE_MAX, "truncated"});
  bad.push_back({good, 100, "a stream that fails midway"});
  auto changed = [&](std::size_t at, unsigned char v, const char* what) {
    BadState b{good, SIZE_MAX, what};
    b.bytes[at] = v;
    bad.push_back(b);
  };
  changed(0, 'X', "unknown magic");
  changed(4, 2, "unknown version");
  changed(8, 0xd7, "another length");
  changed(12, 8, "program number out of range");
  BadState nan{good, SIZE_MAX, "a value that is not finite"};
  const float notFinite = NAN;
  std::memcpy(nan.bytes.data() + 12 + 4 + 20 + 56 * 3 + 8, &notFinite, 4);  // program 3's Damp
  bad.push_back(nan);
  BadState garbage{std::vector<unsigned char>(600), SIZE_MAX, "garbage"};
  std::mt19937 rng(1);
  for (auto& c : garbage.bytes) c = static_cast<unsigned char>(rng());
  bad.push_back(garbage);
  return bad;
}

// The last frame at or above −120 dBFS after a 0 dBFS burst ends;
// `process(in, out, frames)` runs one block through the front.
template <typename Process>
std::int64_t lastAudibleFrame(Process&& process, std::int64_t frames) {
  constexpr int kBlock = 4096;
  StereoBuffer in(kBlock), out(kBlock);
  std::int64_t last = -1;
  for (std::int64_t pos = -kBlock * 11; pos < frames; pos += kBlock) {
    for (int i = 0; i < kBlock; ++i) in.left[i] = in.right[i] = pos < 0 ? ((i / 37) % 2 ? 1.0f : -1.0f) : 0.0f;
    process(in.channels(), out.channels(), kBlock);
    for (int i = 0; i < kBlock; ++i)
      if (pos >= 0 && (std::fabs(out.left[i]) >= 1e-6f || std::fabs(out.right[i]) >= 1e-6f)) last = pos + i;
  }
  return last;
}

}  // namespace korro::test
