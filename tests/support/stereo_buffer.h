// A stereo pair of channel buffers, handed out as the pointer pairs hosts and
// the engine's stages take.
#pragma once

#include <vector>

namespace korro::test {

struct StereoBuffer {
  explicit StereoBuffer(int frames, float fill = 0.0f) : left(frames, fill), right(frames, fill) {}
  float** channels() {
    ptrs[0] = left.data();
    ptrs[1] = right.data();
    return ptrs;
  }
  const float* const* in() { return channels(); }
  float* const* out() { return channels(); }

  std::vector<float> left, right;
  float* ptrs[2] = {};
};

}  // namespace korro::test
