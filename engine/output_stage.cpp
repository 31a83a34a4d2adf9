#include "output_stage.h"

#include <algorithm>
#include <cmath>

namespace korro {

bool OutputStage::useIsa(Isa isa) {
  if (!isaAvailable(isa)) return false;
  isa_ = isa;
#if KORRO_X86_KERNELS
  output_ = isa == Isa::Avx2 ? half_rate_kernels::outputAvx2 : half_rate_kernels::outputSse2;
#endif
  return true;
}

void OutputStage::process(float* const dry[2], float* const core[2], float** outputs, int frames, bool decimate,
                          bool stereo, const std::atomic<float>& mix, const std::atomic<float>& gain, Store store,
                          OutputPeaks& peaks) {
  if (isa_ == Isa::Plain) {
    processPlain(dry, core, outputs, frames, decimate, stereo, mix, gain, store, peaks);
    return;
  }
  using half_rate_kernels::kHistory;
  using half_rate_kernels::kMaxFrames;
  int taken = 0;
  for (int done = 0; done < frames; done += kMaxFrames) {
    const int n = std::min(kMaxFrames, frames - done);
    float mixes[kMaxFrames], gains[kMaxFrames];
    for (int i = 0; i < n; ++i) {
      mixes[i] = mix.load(std::memory_order_relaxed);
      gains[i] = gain.load(std::memory_order_relaxed);
    }
    half_rate_kernels::OutputMix m{{dry[0] + done, dry[1] + done},
                                   mixes,
                                   gains,
                                   {outputs[0] + done, stereo ? outputs[1] + done : nullptr},
                                   store == Store::Adding,
                                   {peaks.left, peaks.right}};
    if (decimate) {
      // The engine-rate frames zero-stuffed to the host rate, after the history.
      float line[2][kHistory + kMaxFrames + half_rate_kernels::kPadding] = {};
      const int first = interpolator.phase;
      for (int c = 0; c < 2; ++c) {
        interpolator.copyHistory(c, line[c]);
        for (int i = first, j = taken; i < n; i += 2, ++j) line[c][kHistory + i] = core[c][j];
      }
      taken += (n - first + 1) / 2;
      const float* const wet[2] = {line[0], line[1]};
      output_(wet, first, m, n);
      const float* const fresh[2] = {line[0] + kHistory, line[1] + kHistory};
      interpolator.push(fresh, n);
    } else {
      const float* const wet[2] = {core[0] + done, core[1] + done};
      output_(wet, -1, m, n);
    }
    peaks.left = m.peak[0];
    peaks.right = m.peak[1];
  }
}

// One host frame at a time.
void OutputStage::processPlain(float* const dry[2], float* const core[2], float** outputs, int frames,
                               bool decimate, bool stereo, const std::atomic<float>& mix,
                               const std::atomic<float>& gain, Store store, OutputPeaks& peaks) {
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
      // Engine-rate frames on every second host frame, zeros between.
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
      // Symmetric pairs of the even taps first, from the outside in; the
      // centre tap (1) last.
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

    const double m = mix.load(std::memory_order_relaxed);
    const double g = gain.load(std::memory_order_relaxed);
    const float oL = static_cast<float>(((wL - dL) * m + dL) * g);
    const float oR = static_cast<float>(((wR - dR) * m + dR) * g);
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
      const float mono = static_cast<float>((static_cast<double>(oL) + oR) * 0.5);
      if (store == Store::Adding)
        outL[i] += mono;
      else
        outL[i] = mono;
    }
  }
  peaks.left = peakL;
  peaks.right = peakR;
}

}  // namespace korro
