// The engine's kernel entry points for one instruction set: the tank's
// network and the half-rate kernels over that set's lane type. Expanded once
// by each kernels_<set>.cpp after the kernel templates.
#pragma once

#define KORRO_KERNEL_ENTRIES(Suffix, Lanes)                                                                        \
  namespace korro::tank_kernels {                                                                                   \
  void process##Suffix(TankState& state, const TankLines lines[2], const float* const in[2], float* const out[2],  \
                       int frames, bool feedInput) {                                                                \
    KORRO_KERNEL_ISA::processWith<Lanes>(state, lines, in, out, frames, feedInput);                                 \
  }                                                                                                                 \
  }                                                                                                                 \
  namespace korro::half_rate_kernels {                                                                              \
  int decimate##Suffix(const float* const lin[2], int frames, int first, float* const core[2]) {                   \
    return KORRO_KERNEL_ISA::decimate<tank_kernels::Lanes>(lin, frames, first, core);                               \
  }                                                                                                                 \
  void output##Suffix(const float* const wet[2], int first, OutputMix& mix, int frames) {                           \
    KORRO_KERNEL_ISA::output<tank_kernels::Lanes>(wet, first, mix, frames);                                         \
  }                                                                                                                 \
  }
