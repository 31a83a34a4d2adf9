// The built module, loaded once for every benchmark that drives it as a host does.
#pragma once

#include <cstdlib>

#include "tools/host/vst_host.h"

namespace korro::bench {

// KORRO_BENCH_MODULE names another build of the module, say an older
// commit's, to be timed by this same benchmark code.
inline const host::Module& builtModule() {
  static host::Module m([] {
    const char* other = std::getenv("KORRO_BENCH_MODULE");
    return other && *other ? other : KORRO_MODULE_PATH;
  }());
  return m;
}

}  // namespace korro::bench
