// The output level as the editor shows it: peaks the audio thread raises after
// every block, and the hold the editor's idle keeps, counted in blocks
// (meterHoldBlocks: about two seconds of the host's blocks once resumed, 100
// until then; the LV2 UI counts milliseconds of its own instead). Everything is
// a relaxed atomic, so any thread may raise, take or reset it; a peak that
// arrives between a take's read and its clear is lost, as intended.
#pragma once

#include <atomic>
#include <cstdint>

namespace korro {

struct LevelMeter {
  std::atomic<float> peakLeft{0.0f};
  std::atomic<float> peakRight{0.0f};
  std::atomic<std::int32_t> blockCount{0};  // blocks since the hold last counted them
  std::atomic<std::int32_t> meterHoldBlocks{100};
  std::atomic<std::int32_t> meterHoldCount{0};
  std::atomic<double> heldPeak{0.0};

  struct Reading {
    float peak;   // left peak since the previous take
    double held;  // the held peak after this take
  };

  // After a block (or `blocks` of them): the peaks only grow, and a take's
  // clear is never undone by a stale store.
  void raise(float left, float right, std::int32_t blocks = 1) {
    raiseTo(peakLeft, left);
    raiseTo(peakRight, right);
    blockCount.fetch_add(blocks, std::memory_order_relaxed);
  }

  // The editor's idle: hold the largest left peak for meterHoldBlocks blocks, then clear the peaks.
  Reading take() {
    constexpr auto r = std::memory_order_relaxed;
    const float x = peakLeft.load(r);
    if (static_cast<double>(x) >= heldPeak.load(r)) {
      meterHoldCount.store(0, r);
      heldPeak.store(x, r);
    } else {
      // Blocks pile up while the peak rises and are counted once it falls.
      const std::int64_t sum = std::int64_t{meterHoldCount.load(r)} + blockCount.exchange(0, r);
      const auto held = static_cast<std::int32_t>(sum < INT32_MAX ? sum : INT32_MAX);
      if (held >= meterHoldBlocks.load(r)) {
        heldPeak.store(x, r);
        meterHoldCount.store(0, r);
      } else {
        meterHoldCount.store(held, r);
      }
    }
    peakLeft.store(0.0f, r);
    peakRight.store(0.0f, r);
    return {x, heldPeak.load(r)};
  }

  void clearHeld() { heldPeak.store(0.0, std::memory_order_relaxed); }

  // Suspend: nothing held, nothing counted, the hold back to its default length.
  void reset() {
    constexpr auto r = std::memory_order_relaxed;
    heldPeak.store(0.0, r);
    peakLeft.store(0.0f, r);
    peakRight.store(0.0f, r);
    blockCount.store(0, r);
    meterHoldBlocks.store(100, r);
    meterHoldCount.store(0, r);
  }

 private:
  static void raiseTo(std::atomic<float>& peak, float v) {
    float seen = peak.load(std::memory_order_relaxed);
    while (v > seen && !peak.compare_exchange_weak(seen, v, std::memory_order_relaxed)) {
    }
  }
};

}  // namespace korro
