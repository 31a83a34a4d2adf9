#include "input_stage.h"

namespace korro {

void InputStage::resetForSuspend() {
  decimator.resetForSuspend();
  flushCountdown = 0;
  fadeGainFast = 0.0f;
  fadeGainSlow = 0.0f;
}

void InputStage::resetForResume() { decimator.resetForResume(); }

void InputStage::stepFades() {
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

int InputStage::process(const float* inL, const float* inR, float* const core[2], float* const dry[2], int frames,
                        bool decimate) {
  int j = 0;
  for (int i = 0; i < frames; ++i) {
    stepFades();
    const float xL = inL[i];
    const float xR = inR[i];
    dry[0][i] = xL;
    dry[1][i] = xR;
    if (!decimate) {
      core[0][i] = xL;
      core[1][i] = xR;
      continue;
    }
    const int p = decimator.index;
    decimator.ring[0][p] = xL;
    decimator.ring[1][p] = xR;
    decimator.phase = (decimator.phase - 1) & 1;
    if (decimator.phase == 1) {
      for (int c = 0; c < 2; ++c) {
        const float* r = decimator.ring[c];
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
  return decimate ? j : frames;
}

}  // namespace korro
