#include "front_buffers.h"

#include <algorithm>
#include <new>

namespace korro {

bool FrontBuffers::prepare(std::int32_t maxFrames) {
  const auto n = static_cast<std::size_t>(std::max(maxFrames, 1));
  // Some hosts switch a plug-in off and on from their audio thread: the same
  // size again allocates nothing.
  if (n == silence_.size()) return true;
  try {
    std::vector<float> silence(n, 0.0f), left(n, 0.0f), right(n, 0.0f);
    silence_.swap(silence);
    spare_[0].swap(left);
    spare_[1].swap(right);
  } catch (const std::bad_alloc&) {
    return false;
  }
  maxFrames_ = static_cast<std::int32_t>(n);
  in_[0] = in_[1] = silence_.data();
  out_[0] = spare_[0].data();
  out_[1] = spare_[1].data();
  return true;
}

void FrontBuffers::bind(float* const* in, std::int64_t inCount, float* const* out, std::int64_t outCount) {
  in_[0] = in_[1] = silence_.data();
  if (in && inCount > 0 && in[0]) {
    in_[0] = in[0];
    in_[1] = inCount > 1 && in[1] ? in[1] : in[0];
  }
  out_[0] = spare_[0].data();
  out_[1] = spare_[1].data();
  if (out && outCount > 0 && out[0]) out_[0] = out[0];
  if (out && outCount > 1 && out[1]) out_[1] = out[1];
}

float* FrontBuffers::at(float* channel, std::int32_t frame) const {
  const bool standIn = channel == silence_.data() || channel == spare_[0].data() || channel == spare_[1].data();
  return standIn ? channel : channel + frame;
}

void FrontBuffers::run(AEffect* effect, std::int32_t from, std::int32_t n) const {
  if (maxFrames_ <= 0) return;
  const bool standIns = in_[0] == silence_.data() || out_[0] == spare_[0].data() || out_[1] == spare_[1].data();
  const std::int32_t piece = standIns ? maxFrames_ : n;
  for (std::int32_t done = 0; done < n; done += piece) {
    const std::int32_t frame = from + done;
    float* i[2] = {at(in_[0], frame), at(in_[1], frame)};
    float* o[2] = {at(out_[0], frame), at(out_[1], frame)};
    effect->processReplacing(effect, i, o, std::min(piece, n - done));
  }
}

}  // namespace korro
