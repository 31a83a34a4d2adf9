// Tank output back to the host: 1:2 half-band interpolation at half rate, the
// dry/wet mix and output gain, the mono fold-down and the peak meter feed.
#pragma once

#include <atomic>

#include "half_rate_kernels.h"
#include "half_rate_ring.h"
#include "isa.h"

namespace korro {

struct OutputPeaks {
  float left = 0.0f;
  float right = 0.0f;
};

class OutputStage {
 public:
  enum class Store { Adding, Replacing };

  OutputStage() { useIsa(bestIsa()); }

  // outputs[1] is written only when stereo is true; mono output takes the
  // mean of both channels on outputs[0]. Mix and gain may change from another
  // thread at any time: they are read once per frame. Peaks only grow.
  void process(float* const dry[2], float* const core[2], float** outputs, int frames, bool decimate, bool stereo,
               const std::atomic<float>& mix, const std::atomic<float>& gain, Store store, OutputPeaks& peaks);

  void resetForSuspend() { interpolator.resetForSuspend(); }
  void resetForResume() { interpolator.resetForResume(); }
  void clearHistory() { interpolator.clearRings(); }

  // Picks the interpolator's and mix's form; an unavailable one is refused.
  bool useIsa(Isa isa);
  Isa isa() const { return isa_; }

  HalfRateRing interpolator;

 private:
  void processPlain(float* const dry[2], float* const core[2], float** outputs, int frames, bool decimate,
                    bool stereo, const std::atomic<float>& mix, const std::atomic<float>& gain, Store store,
                    OutputPeaks& peaks);

  Isa isa_ = Isa::Plain;
  half_rate_kernels::Output output_ = nullptr;
};

}  // namespace korro
