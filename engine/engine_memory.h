// Every buffer the engine works in, allocated once with the effect.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "tank_state.h"

namespace korro {

inline constexpr int kLargeLineSize = 65536;

// The delay lines: 32 tank lines plus a reserve of 50 that no stage reads but
// the clearing operations keep clearing, so footprint and clearing cost stay
// those of the design (6 lines of 65,536 and 76 of 16,384 floats).
class DelayMemory {
 public:
  DelayMemory();

  const TankLines& channel(int c) const { return channels_[c]; }

  // Suspend and flush: whole-length zero-fill of every line except the
  // forward delays of spring lines 2 and 3, the return delay of spring line 1
  // and fourteen reserve lines.
  void clearPartial();
  // Resume: the first 16,384 entries of every line.
  void clearHeads();

  struct Line {
    std::unique_ptr<float[]> data;
    int size = 0;
    bool clearedPartially = false;  // zero-filled by clearPartial
  };
  const std::vector<Line>& lines() const { return lines_; }

  static constexpr int kLineCount = 82;
  static constexpr std::int64_t kTotalBytes = (6LL * kLargeLineSize + 76LL * kTankRingSize) * 4;

 private:
  float* add(int size, bool clearedPartially);

  std::vector<Line> lines_;
  TankLines channels_[2];
};

// The three scratch pairs between the stages; sized by resume.
class ScratchBuffers {
 public:
  explicit ScratchBuffers(int frames);

  // Reallocates all six buffers when the capacity changes; they start zeroed.
  // Answers whether it reallocated.
  bool resize(int frames);
  int frames() const { return frames_; }

  float* coreInput[2] = {};
  float* coreOutput[2] = {};
  float* dryInput[2] = {};

 private:
  int frames_ = 0;
  std::array<std::unique_ptr<float[]>, 6> storage_;
};

}  // namespace korro
