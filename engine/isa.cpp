#include "isa.h"

namespace korro {

#if KORRO_X86_KERNELS
bool isaAvailable(Isa isa) {
  __builtin_cpu_init();
  switch (isa) {
    case Isa::Plain:
    case Isa::Sse2:
      return true;
    case Isa::Avx2:
      return __builtin_cpu_supports("avx2");
  }
  return false;
}

Isa bestIsa() { return isaAvailable(Isa::Avx2) ? Isa::Avx2 : Isa::Sse2; }
#else
bool isaAvailable(Isa isa) { return isa == Isa::Plain; }

Isa bestIsa() { return Isa::Plain; }
#endif

}  // namespace korro
