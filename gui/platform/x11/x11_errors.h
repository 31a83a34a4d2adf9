// Xlib has one error handler per process, shared with the host. Errors on
// the editor's own connections are dropped (typically: the host destroyed its
// window, and ours with it, while requests were under way); every other error
// goes on to the handler that was there before, so the host's stay its own.
#pragma once

#include <X11/Xlib.h>

namespace korro::x11 {

// From the opening of the connection until after it is closed.
void watchErrors(Display* display);
void unwatchErrors(Display* display);

}  // namespace korro::x11
