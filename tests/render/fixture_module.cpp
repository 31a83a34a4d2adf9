// Stand-ins for broken plug-ins: a module whose entry point refuses every
// host, and (with KORRO_NO_ENTRY) a shared object with no entry point at all.
#include "shell/base/vst_abi.h"

#define KORRO_EXPORT extern "C" __attribute__((visibility("default")))

#ifdef KORRO_NO_ENTRY
KORRO_EXPORT int korroNotAnEffect() { return 0; }
#else
KORRO_EXPORT AEffect* VSTPluginMain(HostCallback) { return nullptr; }
#endif
