// The built module, loaded once for every benchmark that drives it as a host does.
#pragma once

#include "host/vst_host.h"

namespace korro::bench {

inline const host::Module& builtModule() {
  static host::Module m(KORRO_MODULE_PATH);
  return m;
}

}  // namespace korro::bench
