// The meter port's value: each cycle's peak is shown for at least a window of
// 50 ms of audio, so a UI that reads the port 20 times a second or more sees
// every peak, whatever the host's block length.
#pragma once

#include <algorithm>
#include <cstdint>

namespace korro::lv2 {

class PeakHold {
 public:
  void reset(double sampleRate) {
    const double frames = sampleRate * 0.05;
    window_ = frames >= 1.0 && frames < 1e9 ? static_cast<std::int64_t>(frames) : 1;
    previous_ = current_ = 0.0f;
    elapsed_ = 0;
  }

  // Folds in the peak of a cycle of `frames` frames; answers the value to show.
  float add(float peak, std::uint32_t frames) {
    current_ = std::max(current_, peak);
    elapsed_ += frames;
    if (elapsed_ >= window_) {
      previous_ = current_;
      current_ = 0.0f;
      elapsed_ = 0;
    }
    return std::max(previous_, current_);
  }

 private:
  std::int64_t window_ = 1;
  std::int64_t elapsed_ = 0;
  float previous_ = 0.0f;
  float current_ = 0.0f;
};

}  // namespace korro::lv2
