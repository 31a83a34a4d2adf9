// The operating system's handle of this module (Windows: the DLL's instance,
// through which the editor finds its bitmap resources); null where unused.
#pragma once

namespace korro {
void* moduleHandle();
}
