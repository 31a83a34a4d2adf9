// The forms the engine's kernels are built in, chosen at run time.
#pragma once

namespace korro {

// Plain: one frame at a time, the readable form. Sse2 and Avx2: vectorised
// across frames, two and four lanes of double precision. All give the same
// output bit for bit.
enum class Isa { Plain, Sse2, Avx2 };

// The vectorised forms are built for x86-64 only; on any other processor every
// stage runs its plain form.
#if defined(__x86_64__) || defined(_M_X64)
#define KORRO_X86_KERNELS 1
#else
#define KORRO_X86_KERNELS 0
#endif

bool isaAvailable(Isa isa);
// The widest available vectorised form.
Isa bestIsa();

}  // namespace korro
