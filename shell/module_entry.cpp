// The module's exported entry: hosts look up VSTPluginMain first and main second.
#include <new>

#include "reverb_effect.h"

namespace {

AEffect* createEffect(HostCallback audioMaster) {
  if (!audioMaster) return nullptr;
  // A host that answers 0 here is too old for this interface.
  if (audioMaster(nullptr, audioMasterVersion, 0, 0, nullptr, 0.0f) == 0) return nullptr;
  try {
    return (new ReverbEffect(audioMaster, &createReverbEditor))->getAeffect();
  } catch (...) {
    // Out of memory while building the effect: an exception thrown across the
    // C entry point would take the host down with it, whereas every host
    // handles a null effect as a plug-in that failed to load.
    return nullptr;
  }
}

}  // namespace

#if defined(_WIN32)
// Exported through the module definition file, korroMain under the name main.
extern "C" AEffect* VSTPluginMain(HostCallback audioMaster) { return createEffect(audioMaster); }
extern "C" AEffect* korroMain(HostCallback audioMaster) { return createEffect(audioMaster); }
#else
#define KORRO_EXPORT __attribute__((visibility("default")))

extern "C" KORRO_EXPORT AEffect* VSTPluginMain(HostCallback audioMaster) { return createEffect(audioMaster); }
// A C++ program may not declare its own main in a library; bind the symbol by its assembler name.
extern "C" KORRO_EXPORT AEffect* korroMain(HostCallback audioMaster) __asm__("main");
extern "C" AEffect* korroMain(HostCallback audioMaster) { return createEffect(audioMaster); }
#endif
