#include "x11_errors.h"

#include <dlfcn.h>

#include <atomic>

namespace korro::x11 {

namespace {

// The handler may run on any of the host's threads, so the list is lock-free.
constexpr int kSlots = 256;
std::atomic<Display*> ours[kSlots];
std::atomic<XErrorHandler> previous{nullptr};
int watched = 0;         // the editor's thread only
bool underAnother = false;  // another handler was installed over ours and still leads to it

int onError(Display* display, XErrorEvent* event) {
  for (const auto& slot : ours)
    if (slot.load(std::memory_order_acquire) == display) return 0;
  const XErrorHandler next = previous.load(std::memory_order_acquire);
  return next ? next(display, event) : 0;
}

// Someone installed a handler over ours and may still call it: this module
// must then never be unloaded.
void stayLoaded() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&onError), &info) && info.dli_fname)
    dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

void watchErrors(Display* display) {
  for (auto& slot : ours) {
    Display* empty = nullptr;
    if (slot.compare_exchange_strong(empty, display, std::memory_order_acq_rel)) break;
  }
  if (watched++ == 0 && !underAnother) {
    const XErrorHandler before = XSetErrorHandler(&onError);
    if (before != &onError) previous.store(before, std::memory_order_release);
  }
}

void unwatchErrors(Display* display) {
  for (auto& slot : ours) {
    Display* mine = display;
    if (slot.compare_exchange_strong(mine, nullptr, std::memory_order_acq_rel)) break;
  }
  if (watched <= 0 || --watched > 0 || underAnother) return;
  const XErrorHandler top = XSetErrorHandler(previous.load(std::memory_order_acquire));
  if (top != &onError) {
    XSetErrorHandler(top);
    underAnother = true;
    stayLoaded();
  }
}

}  // namespace korro::x11
