// What the CLAP and VST3 fronts hand the effect for one host block: the
// host's channel pointers, or stand-ins where a bus, a channel or a pointer
// is missing, so no host can make the effect read or write through null.
#pragma once

#include <cstdint>
#include <vector>

#include "shell/base/vst_abi.h"

namespace korro {

class FrontBuffers {
 public:
  // Sizes the stand-ins: allocates unless the size is the one they have.
  // False when out of memory, with nothing changed.
  bool prepare(std::int32_t maxFrames);
  std::int32_t maxFrames() const { return maxFrames_; }

  // The block's channels: silence for a missing input, a mono input feeding
  // both channels, a spare for each missing output.
  void bind(float* const* in, std::int64_t inCount, float* const* out, std::int64_t outCount);

  // Frames [from, from + n) of the bound block through the effect, in pieces
  // no longer than the stand-ins where one stands in.
  void run(AEffect* effect, std::int32_t from, std::int32_t n) const;

 private:
  float* at(float* channel, std::int32_t frame) const;

  std::int32_t maxFrames_ = 0;
  std::vector<float> silence_;
  std::vector<float> spare_[2];
  float* in_[2] = {};
  float* out_[2] = {};
};

}  // namespace korro
