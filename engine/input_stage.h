// Host input to the tank: dry copy at the host rate and the tank's input,
// decimated 2:1 through a 31-tap FIR when the tank runs at half rate.
#pragma once

#include <cstdint>

#include "half_rate_kernels.h"
#include "half_rate_ring.h"
#include "isa.h"

namespace korro {

class InputStage {
 public:
  InputStage() { useIsa(bestIsa()); }

  // inR is the left input again for a mono source. Answers the number of
  // engine-rate frames written to core.
  int process(const float* inL, const float* inR, float* const core[2], float* const dry[2], int frames,
              bool decimate);

  void resetForSuspend();
  void resetForResume();
  // The flush: decimator history only.
  void clearHistory() { decimator.clearRings(); }

  // Picks the decimator's form; an unavailable one is refused.
  bool useIsa(Isa isa);
  Isa isa() const { return isa_; }

  HalfRateRing decimator;
  // Changeover ramps. Nothing arms the countdown in operation, so the fades
  // only rise to 1 after a suspend; they are kept as state.
  std::int32_t flushCountdown = 0;
  float fadeGainFast = 0.0f;
  float fadeGainSlow = 0.0f;

 private:
  void stepFades(int frames);
  int decimatePlain(const float* const in[2], float* const core[2], int frames);
  int decimateVectorised(const float* const in[2], float* const core[2], int frames);

  Isa isa_ = Isa::Plain;
  half_rate_kernels::Decimate decimate_ = nullptr;
};

}  // namespace korro
