// Counts every operator new in the process, the loaded module's included
// (test executables export their replacements so the module binds to them).
#pragma once

#include <cstdint>

namespace korro::test {

std::int64_t allocationCount();
// Allocations not yet released.
std::int64_t liveAllocations();

// Allocations made between construction and count().
class AllocationWatch {
 public:
  AllocationWatch() : start_(allocationCount()) {}
  std::int64_t count() const { return allocationCount() - start_; }

 private:
  std::int64_t start_;
};

}  // namespace korro::test
