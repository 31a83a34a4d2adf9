#include "module_fixture.h"

namespace korro::test {

const host::Module& builtModule() {
  static host::Module module(KORRO_MODULE_PATH);
  if (!module.loaded()) ADD_FAILURE() << "cannot load " << KORRO_MODULE_PATH << ": " << module.error();
  return module;
}

}  // namespace korro::test
