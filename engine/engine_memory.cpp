#include "engine_memory.h"

#include <algorithm>
#include <atomic>

namespace korro {

namespace {

constexpr int kLineFloats = 64 / sizeof(float);
constexpr int kRingsPerChannel = 2 * kSpringLines + 3 * kSpringLines;
constexpr std::size_t kRingFloats = 2 * (2 * kSpringLines * kDelayRingSize + 3 * kSpringLines * kAllpassRingSize);
// One cache line between rings; instances start up to 63 lines apart.
constexpr std::size_t kBlockFloats = kRingFloats + (2 * kRingsPerChannel + 64) * kLineFloats;

std::atomic<unsigned> instancesMade{0};

}  // namespace

DelayMemory::DelayMemory() : block_(std::make_unique<float[]>(kBlockFloats)) {
  // An odd step visits all 64 line offsets before repeating.
  const unsigned offsetLines = (instancesMade.fetch_add(1, std::memory_order_relaxed) * 23u) % 64u;
  float* next = block_.get() + offsetLines * kLineFloats;
  auto take = [&](int size) {
    float* ring = next;
    next += size + kLineFloats;
    return ring;
  };
  for (TankLines& ch : channels_) {
    for (int n = 0; n < kSpringLines; ++n) {
      ch.forwardDelay[n] = take(kDelayRingSize);
      ch.returnDelay[n] = take(kDelayRingSize);
      ch.allpass1[n] = take(kAllpassRingSize);
      ch.allpass2[n] = take(kAllpassRingSize);
      ch.allpass3[n] = take(kAllpassRingSize);
    }
  }
}

void DelayMemory::clearPartial() {
  for (TankLines& ch : channels_) {
    std::fill_n(ch.forwardDelay[0], kDelayRingSize, 0.0f);
    std::fill_n(ch.returnDelay[1], kDelayRingSize, 0.0f);
    std::fill_n(ch.returnDelay[2], kDelayRingSize, 0.0f);
    for (int n = 0; n < kSpringLines; ++n) {
      std::fill_n(ch.allpass1[n], kAllpassRingSize, 0.0f);
      std::fill_n(ch.allpass2[n], kAllpassRingSize, 0.0f);
      std::fill_n(ch.allpass3[n], kAllpassRingSize, 0.0f);
    }
  }
}

void DelayMemory::clearAll() { std::fill_n(block_.get(), kBlockFloats, 0.0f); }

ScratchBuffers::ScratchBuffers(int frames) { resize(frames); }

void ScratchBuffers::clear() {
  for (auto& buffer : storage_) std::fill_n(buffer.get(), frames_, 0.0f);
}

void ScratchBuffers::resize(int frames) {
  if (frames == frames_) return;
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
}

}  // namespace korro
