// Small helpers shared by the engine tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "engine/engine_memory.h"
#include "engine/spring_tank.h"
#include "support/stereo_buffer.h"

namespace korro::test {

inline std::uint32_t bitsOf(float v) {
  std::uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

// Same bits, or both NaN (NaN payloads may differ with operand order).
inline bool sameFloat(float a, float b) { return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b)); }


// Delay memory as a new effect has it: every line zero.
inline std::unique_ptr<DelayMemory> clearedMemory() {
  auto memory = std::make_unique<DelayMemory>();
  memory->clearAll();
  return memory;
}

struct Ring {
  float* data;
  int size;
  float* begin() const { return data; }
  float* end() const { return data + size; }
};

// The tank's fifteen rings of one channel, in a fixed order.
inline std::vector<Ring> tankRings(const TankLines& l) {
  std::vector<Ring> rings;
  for (int n = 0; n < kSpringLines; ++n) {
    rings.push_back({l.forwardDelay[n], kDelayRingSize});
    rings.push_back({l.returnDelay[n], kDelayRingSize});
    rings.push_back({l.allpass1[n], kAllpassRingSize});
    rings.push_back({l.allpass2[n], kAllpassRingSize});
    rings.push_back({l.allpass3[n], kAllpassRingSize});
  }
  return rings;
}

}  // namespace korro::test
