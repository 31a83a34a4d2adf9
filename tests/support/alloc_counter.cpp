#include "alloc_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::int64_t> allocations{0};
std::atomic<std::int64_t> releases{0};

void release(void* p) {
  if (!p) return;
  releases.fetch_add(1, std::memory_order_relaxed);
  std::free(p);
}

void* allocate(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}

void* allocateAligned(std::size_t size, std::align_val_t align) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  const std::size_t a = static_cast<std::size_t>(align);
  if (void* p = std::aligned_alloc(a, (size + a - 1) / a * a)) return p;
  throw std::bad_alloc();
}
}  // namespace

namespace korro::test {
std::int64_t allocationCount() { return allocations.load(std::memory_order_relaxed); }
std::int64_t liveAllocations() { return allocationCount() - releases.load(std::memory_order_relaxed); }
}  // namespace korro::test

#define KORRO_EXPORTED __attribute__((visibility("default")))
KORRO_EXPORTED void* operator new(std::size_t size) { return allocate(size); }
KORRO_EXPORTED void* operator new[](std::size_t size) { return allocate(size); }
KORRO_EXPORTED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try { return allocate(size); } catch (...) { return nullptr; }
}
KORRO_EXPORTED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  try { return allocate(size); } catch (...) { return nullptr; }
}
KORRO_EXPORTED void* operator new(std::size_t size, std::align_val_t a) { return allocateAligned(size, a); }
KORRO_EXPORTED void* operator new[](std::size_t size, std::align_val_t a) { return allocateAligned(size, a); }
KORRO_EXPORTED void operator delete(void* p) noexcept { release(p); }
KORRO_EXPORTED void operator delete[](void* p) noexcept { release(p); }
KORRO_EXPORTED void operator delete(void* p, std::size_t) noexcept { release(p); }
KORRO_EXPORTED void operator delete[](void* p, std::size_t) noexcept { release(p); }
KORRO_EXPORTED void operator delete(void* p, std::align_val_t) noexcept { release(p); }
KORRO_EXPORTED void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
KORRO_EXPORTED void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
KORRO_EXPORTED void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { release(p); }
