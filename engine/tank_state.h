// The spring tank's running state as plain data, shared by the tank's
// processing kernels. Kept free of library headers: the wide-instruction
// kernel is compiled on its own and must not pull in inline library code.
#pragma once

#include <cstdint>

namespace korro {

// Read and write positions run over 0..16,383 whatever the ring sizes; each
// ring masks them with its own mask, and since every ring size divides 16,384
// a position always lands on the same entry.
inline constexpr int kTankPositions = 16384;
inline constexpr int kTankPositionMask = kTankPositions - 1;
// Delays are at most 1,681 samples and all-passes 202. The all-pass rings are
// the smallest that hold their lines: in a session of many instances what a
// block touches comes back from far out in the cache hierarchy, and at 1,024
// entries a block wrote 512 that had lain untouched for two blocks.
inline constexpr int kDelayRingSize = 2048;
inline constexpr int kDelayRingMask = kDelayRingSize - 1;
inline constexpr int kAllpassRingSize = 256;
inline constexpr int kAllpassRingMask = kAllpassRingSize - 1;
inline constexpr int kSpringLines = 3;

// One channel's rings: forward and return delays of kDelayRingSize floats,
// all-passes of kAllpassRingSize.
struct TankLines {
  float* forwardDelay[kSpringLines] = {};
  float* returnDelay[kSpringLines] = {};
  float* allpass1[kSpringLines] = {};
  float* allpass2[kSpringLines] = {};
  float* allpass3[kSpringLines] = {};
};

struct SpringLine {
  // forwardDelay and returnDelay share one read position.
  std::int32_t delayRead = 0;
  std::int32_t allpass1Read = 0;
  std::int32_t allpass2Read = 0;
  std::int32_t allpass3Read = 0;
  float dampState = 0.0f;
  float tapValue = 0.0f;
  float returnValue = 0.0f;
};

struct TankChannel {
  float preLowpassState = 0.0f;
  float dcBlockPrevious = 0.0f;
  float dcBlockState = 0.0f;
  float toneState = 0.0f;
  float levelEnvelope = 0.0f;
  float feedbackGain = 0.0f;
  SpringLine lines[kSpringLines];
};

// Set at every block's update from Decay, Damp and the engine rate; the costly
// powers are kept from the last block unless Decay or the rate changed.
struct TankCoefficients {
  float allpassGain = 0.78f;
  float decayGain = 0.0f;
  float dampCoeff = 0.0f;
  float preLowpassCoeff = 0.0f;
  float dcBlockCoeff = 0.0f;
  float toneCoeff = 0.0f;
  float toneMix = 0.7f;
  float envAttackCoeff = 0.0f;
  float envReleaseCoeff = 0.0f;
};

// Everything the per-sample network reads and writes besides the rings.
struct TankState {
  TankChannel channels[2];
  TankCoefficients coeffs;
  std::int32_t writePos = kTankPositionMask;
  // Never set in operation; the stages stay for completeness of the network.
  bool preLowpassEnabled = false;
  bool dcBlockEnabled = false;
};

inline constexpr double kTankOutputScale = 0.2968;
// The single-precision value nearest 1e-8; its sign alternates every frame.
inline constexpr double kTankAntiDenormal = static_cast<double>(1e-8f);

// frames engine-rate frames from in to out. With feedInput false the input is
// not read: nothing new enters and the tail rings out.
using TankKernel = void (*)(TankState& state, const TankLines lines[2], const float* const in[2],
                            float* const out[2], int frames, bool feedInput);

namespace tank_kernels {
// One frame at a time, in the order of the network's steps: the readable form.
void processPlain(TankState& state, const TankLines lines[2], const float* const in[2], float* const out[2],
                  int frames, bool feedInput);
// Two lanes of double precision: any x86-64.
void processSse2(TankState& state, const TankLines lines[2], const float* const in[2], float* const out[2],
                 int frames, bool feedInput);
// Four lanes; only on processors with AVX2.
void processAvx2(TankState& state, const TankLines lines[2], const float* const in[2], float* const out[2],
                 int frames, bool feedInput);
}  // namespace tank_kernels

}  // namespace korro
