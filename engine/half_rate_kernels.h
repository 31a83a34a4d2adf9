// The 2:1 decimator, the 1:2 interpolator with the output mix, vectorised
// across frames. Kept free of library headers for the same reason as
// tank_state.h. The stages hand them the filters' history as plain arrays:
// kHistory earlier samples, oldest first, then the block's own.
#pragma once

namespace korro {

// Symmetric taps h[0..15] of the decimator; h[30 - k] = h[k].
inline constexpr double kDecimatorTaps[16] = {
    0.0018, 0.007,   -0.0025, -0.016,  -0.0012, 0.029,   0.01,   -0.032,
    -0.0242, 0.0372, 0.0478,  -0.0408, -0.0962, 0.0428,  0.314,  0.455,
};

// Even taps g[0], g[2], ..., g[14] of the symmetric half-band interpolator;
// the odd taps are zero and the centre tap is 1.
inline constexpr double kInterpolatorTaps[8] = {-0.004, 0.0106, -0.0268, 0.0524, -0.0812, 0.1224, -0.2097, 0.6351};

namespace half_rate_kernels {

// Samples of history both filters need before the current one.
inline constexpr int kHistory = 30;
// Host frames per call at most; the kernels keep their working lines on the stack.
inline constexpr int kMaxFrames = 256;
// Entries past the end of a line that a kernel may read and ignore.
inline constexpr int kPadding = 8;

// Each output sample of a chunk: ((wet - dry)·mix + dry)·gain, with mix and
// gain per frame. out[1] is null for mono output, which takes the mean of
// both channels on out[0]. Peaks only grow.
struct OutputMix {
  const float* dry[2];
  const float* mix;
  const float* gain;
  float* out[2];
  bool adding;
  float peak[2];
};

// Decimates frames host frames of lin (kHistory + frames + kPadding entries
// per channel) into core, taking the host frames first, first + 2, ...;
// answers the number written.
using Decimate = int (*)(const float* const lin[2], int frames, int first, float* const core[2]);
// The output samples of frames host frames. With first 0 or 1, wet holds
// kHistory + frames entries per channel (and kPadding more, ignored): the
// engine-rate frames on host frames first, first + 2, ..., zeros between.
// With first -1, frames wet samples at the host rate.
using Output = void (*)(const float* const wet[2], int first, OutputMix& mix, int frames);

int decimateSse2(const float* const lin[2], int frames, int first, float* const core[2]);
int decimateAvx2(const float* const lin[2], int frames, int first, float* const core[2]);
void outputSse2(const float* const wet[2], int first, OutputMix& mix, int frames);
void outputAvx2(const float* const wet[2], int first, OutputMix& mix, int frames);

}  // namespace half_rate_kernels
}  // namespace korro
