#include "engine_memory.h"

#include <algorithm>

namespace korro {

namespace {
constexpr int kReserveSmallCleared = 32;
constexpr int kReserveSmallKept = 14;
}  // namespace

float* DelayMemory::add(int size, bool clearedPartially) {
  Line line;
  line.data = std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(size));
  line.size = size;
  line.clearedPartially = clearedPartially;
  float* data = line.data.get();
  lines_.push_back(std::move(line));
  return data;
}

DelayMemory::DelayMemory() {
  lines_.reserve(kLineCount);
  for (TankLines& ch : channels_) {
    ch.dryHistory = add(kLargeLineSize, true);
    ch.forwardDelay[0] = add(kLargeLineSize, true);
    add(kLargeLineSize, true);  // reserve
  }
  for (TankLines& ch : channels_) {
    ch.forwardDelay[1] = add(kTankRingSize, false);
    ch.forwardDelay[2] = add(kTankRingSize, false);
    ch.returnDelay[0] = add(kTankRingSize, false);
    ch.returnDelay[1] = add(kTankRingSize, true);
    ch.returnDelay[2] = add(kTankRingSize, true);
    for (float*& line : ch.allpass1) line = add(kTankRingSize, true);
    for (float*& line : ch.allpass2) line = add(kTankRingSize, true);
    add(kTankRingSize, true);  // fourth of the allpass2 group, never read
    for (float*& line : ch.allpass3) line = add(kTankRingSize, true);
  }
  for (int i = 0; i < kReserveSmallCleared; ++i) add(kTankRingSize, true);
  for (int i = 0; i < kReserveSmallKept; ++i) add(kTankRingSize, false);
}

void DelayMemory::clearPartial() {
  for (Line& line : lines_)
    if (line.clearedPartially) std::fill_n(line.data.get(), line.size, 0.0f);
}

void DelayMemory::clearHeads() {
  for (Line& line : lines_) std::fill_n(line.data.get(), kTankRingSize, 0.0f);
}

ScratchBuffers::ScratchBuffers(int frames) { resize(frames); }

bool ScratchBuffers::resize(int frames) {
  if (frames == frames_) return false;
  frames_ = frames;
  // Zeroed: at half rate the output stage can take one engine frame that the
  // tank has not written yet, and fresh memory must not reach the output.
  for (auto& buffer : storage_) {
    buffer.reset();
    buffer = std::make_unique<float[]>(static_cast<std::size_t>(frames));
  }
  for (int c = 0; c < 2; ++c) {
    coreInput[c] = storage_[c].get();
    coreOutput[c] = storage_[2 + c].get();
    dryInput[c] = storage_[4 + c].get();
  }
  return true;
}

}  // namespace korro
