#include "output_stage.h"

#include <cmath>

namespace korro {

void OutputStage::process(float* const dry[2], float* const core[2], float** outputs, int frames, bool decimate,
                          bool stereo, double mix, double gain, Store store, OutputPeaks& peaks) {
  float peakL = peaks.left;
  float peakR = peaks.right;
  float* outL = outputs[0];
  float* outR = outputs[1];
  int j = 0;
  for (int i = 0; i < frames; ++i) {
    const double dL = dry[0][i];
    const double dR = dry[1][i];
    double wL, wR;
    if (!decimate) {
      wL = core[0][i];
      wR = core[1][i];
    } else {
      HalfRateRing& ip = interpolator;
      const int q = ip.index;
      ip.phase = (ip.phase - 1) & 1;
      if (ip.phase == 1) {
        ip.ring[0][q] = core[0][j];
        ip.ring[1][q] = core[1][j];
        ++j;
      } else {
        ip.ring[0][q] = 0.0f;
        ip.ring[1][q] = 0.0f;
      }
      double w[2];
      for (int c = 0; c < 2; ++c) {
        const float* r = ip.ring[c];
        double acc = 0.0;
        for (int k = 0; k < 8; ++k)
          acc += kInterpolatorTaps[k] *
                 (static_cast<double>(r[(q + 2 * k) & HalfRateRing::kMask]) + r[(q + 30 - 2 * k) & HalfRateRing::kMask]);
        w[c] = acc + r[(q + 15) & HalfRateRing::kMask];
      }
      wL = w[0];
      wR = w[1];
      ip.index = (q - 1) & HalfRateRing::kMask;
    }

    const float oL = static_cast<float>(((wL - dL) * mix + dL) * gain);
    const float oR = static_cast<float>(((wR - dR) * mix + dR) * gain);
    if (std::fabs(oL) > peakL) peakL = std::fabs(oL);
    if (std::fabs(oR) > peakR) peakR = std::fabs(oR);

    if (stereo) {
      if (store == Store::Adding) {
        outL[i] += oL;
        outR[i] += oR;
      } else {
        outL[i] = oL;
        outR[i] = oR;
      }
    } else {
      const float m = static_cast<float>((static_cast<double>(oL) + oR) * 0.5);
      if (store == Store::Adding)
        outL[i] += m;
      else
        outL[i] = m;
    }
  }
  peaks.left = peakL;
  peaks.right = peakR;
}

}  // namespace korro
