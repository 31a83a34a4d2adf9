#include "input_stage.h"

#include <algorithm>

namespace korro {

bool InputStage::useIsa(Isa isa) {
  if (!isaAvailable(isa)) return false;
  isa_ = isa;
#if KORRO_X86_KERNELS
  decimate_ = isa == Isa::Avx2 ? half_rate_kernels::decimateAvx2 : half_rate_kernels::decimateSse2;
#endif
  return true;
}

void InputStage::resetForSuspend() {
  decimator.resetForSuspend();
  flushCountdown = 0;
  fadeGainFast = 0.0f;
  fadeGainSlow = 0.0f;
}

void InputStage::resetForResume() { decimator.resetForResume(); }

void InputStage::stepFades(int frames) {
  // Settled, as they are in operation, a step changes nothing.
  if (flushCountdown == 0 && fadeGainFast == 1.0f && fadeGainSlow == 1.0f) return;
  for (int i = 0; i < frames; ++i) {
    if (flushCountdown != 0) {
      fadeGainFast = fadeGainFast > 0 ? static_cast<float>(fadeGainFast - 0.001) : 0.0f;
      fadeGainSlow = fadeGainSlow > 0 ? static_cast<float>(fadeGainSlow - 0.0002) : 0.0f;
      --flushCountdown;
    }
    if (flushCountdown == 0) {
      fadeGainFast = fadeGainFast < 1.0f ? static_cast<float>(fadeGainFast + 0.0002) : 1.0f;
      fadeGainSlow = fadeGainSlow < 1.0f ? static_cast<float>(fadeGainSlow + 0.0002) : 1.0f;
    }
  }
}

int InputStage::process(const float* inL, const float* inR, float* const core[2], float* const dry[2], int frames,
                        bool decimate) {
  if (frames <= 0) return 0;
  stepFades(frames);
  const float* const in[2] = {inL, inR};
  for (int c = 0; c < 2; ++c) std::copy_n(in[c], frames, dry[c]);
  if (!decimate) {
    for (int c = 0; c < 2; ++c) std::copy_n(in[c], frames, core[c]);
    return frames;
  }
  return isa_ == Isa::Plain ? decimatePlain(in, core, frames) : decimateVectorised(in, core, frames);
}

// One host frame at a time: into the ring, and on every second frame one
// engine-rate frame out of the FIR.
int InputStage::decimatePlain(const float* const in[2], float* const core[2], int frames) {
  int j = 0;
  for (int i = 0; i < frames; ++i) {
    const int p = decimator.index;
    decimator.ring[0][p] = in[0][i];
    decimator.ring[1][p] = in[1][i];
    decimator.phase = (decimator.phase - 1) & 1;
    if (decimator.phase == 1) {
      for (int c = 0; c < 2; ++c) {
        const float* r = decimator.ring[c];
        // Symmetric pairs first, from the outside in; the centre tap last.
        double acc = 0.0;
        for (int k = 0; k < 15; ++k)
          acc += kDecimatorTaps[k] *
                 (static_cast<double>(r[(p + k) & HalfRateRing::kMask]) + r[(p + 30 - k) & HalfRateRing::kMask]);
        acc += kDecimatorTaps[15] * r[(p + 15) & HalfRateRing::kMask];
        core[c][j] = static_cast<float>(acc);
      }
      ++j;
    }
    decimator.index = (p - 1) & HalfRateRing::kMask;
  }
  return j;
}

int InputStage::decimateVectorised(const float* const in[2], float* const core[2], int frames) {
  using half_rate_kernels::kHistory;
  using half_rate_kernels::kMaxFrames;
  using half_rate_kernels::kPadding;
  int written = 0;
  for (int done = 0; done < frames; done += kMaxFrames) {
    const int n = std::min(kMaxFrames, frames - done);
    float line[2][kHistory + kMaxFrames + kPadding];
    for (int c = 0; c < 2; ++c) {
      decimator.copyHistory(c, line[c]);
      std::copy_n(in[c] + done, n, line[c] + kHistory);
      std::fill_n(line[c] + kHistory + n, kPadding, 0.0f);
    }
    const float* const lines[2] = {line[0], line[1]};
    float* const out[2] = {core[0] + written, core[1] + written};
    written += decimate_(lines, n, decimator.phase, out);
    const float* const fresh[2] = {in[0] + done, in[1] + done};
    decimator.push(fresh, n);
  }
  return written;
}

}  // namespace korro
