// The Windows entry every module built here shares: DllMain keeps the DLL's
// instance, through which the editor finds its bitmap resources.
#include "module_handle.h"

#include <windows.h>

namespace {
HINSTANCE moduleInstance = nullptr;
}

void* korro::moduleHandle() { return moduleInstance; }

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD /*reason*/, LPVOID /*reserved*/) {
  moduleInstance = instance;
  return TRUE;
}
