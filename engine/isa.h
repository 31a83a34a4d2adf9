// The forms the engine's kernels are built in, chosen at run time.
#pragma once

namespace korro {

// Plain: one frame at a time, the readable form. Sse2 and Avx2: vectorised
// across frames, two and four lanes of double precision. All give the same
// output bit for bit.
enum class Isa { Plain, Sse2, Avx2 };

bool isaAvailable(Isa isa);
// The widest available vectorised form.
Isa bestIsa();

}  // namespace korro
