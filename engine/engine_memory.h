// Every buffer the engine works in, allocated once with the effect.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "tank_state.h"

namespace korro {

// The tank's thirty rings in one block. Each starts a cache line further
// along the cache sets than the one before, and each instance's block starts
// at its own offset, so rings of one instance and of instances played one
// after another do not all compete for the same sets.
class DelayMemory {
 public:
  DelayMemory();

  const TankLines& channel(int c) const { return channels_[c]; }

  // Suspend and flush: every ring except, per channel, the forward delays of
  // spring lines 2 and 3 and the return delay of spring line 1, whose
  // contents keep circulating.
  void clearPartial();
  // Resume: every ring.
  void clearAll();

 private:
  std::unique_ptr<float[]> block_;
  TankLines channels_[2];
};

// The three scratch pairs between the stages; sized by resume.
class ScratchBuffers {
 public:
  explicit ScratchBuffers(int frames);

  // Reallocates all six buffers when the capacity changes; they start zeroed.
  void resize(int frames);
  int frames() const { return frames_; }
  // Back to zeros without reallocating: what a new engine's buffers hold.
  void clear();

  float* coreInput[2] = {};
  float* coreOutput[2] = {};
  float* dryInput[2] = {};

 private:
  int frames_ = 0;
  std::array<std::unique_ptr<float[]>, 6> storage_;
};

}  // namespace korro
