// The program table: five parameter values and a name per program.
#pragma once

#include <atomic>

namespace korro {

// A value the host's automation may write while a block reads it. Relaxed:
// the same instructions as a plain float, without the data race.
class RelaxedFloat {
 public:
  RelaxedFloat(float v = 0.0f) : value(v) {}
  RelaxedFloat(const RelaxedFloat& other) : value(static_cast<float>(other)) {}
  RelaxedFloat& operator=(const RelaxedFloat& other) { return *this = static_cast<float>(other); }
  RelaxedFloat& operator=(float v) {
    value.store(v, std::memory_order_relaxed);
    return *this;
  }
  operator float() const { return value.load(std::memory_order_relaxed); }

 private:
  std::atomic<float> value;
};

inline constexpr int kProgramCount = 8;
inline constexpr int kProgramNameSize = 36;  // 35 characters and the terminator

struct ProgramRecord {
  RelaxedFloat bypass = 1.0f;
  RelaxedFloat decay = 0.5f;
  RelaxedFloat damp = 0.25f;
  RelaxedFloat mix = 0.5f;
  RelaxedFloat output = 0.5f;
  char name[kProgramNameSize] = "Init";
};

struct FactoryProgram {
  const char* name;
  float decay;
  float damp;
  float mix;
  float output;
};

inline constexpr FactoryProgram kFactoryPrograms[kProgramCount] = {
    {"Basic Spring", 0.5f, 0.1f, 0.5f, 0.5f},
    {"Short Spring", 0.2f, 0.2f, 0.5f, 0.5f},
    {"Typical Spring", 0.5f, 0.25f, 0.5f, 0.5f},
    {"Long spring", 0.7f, 0.35f, 0.5f, 0.5f},
    {"FenderTwin Reverb", 0.34f, 0.41f, 0.5f, 0.5f},
    {"Vocal insert medium", 0.25f, 0.19f, 0.5f, 0.5f},
    {"Singing in the bathroom", 0.1f, 0.44f, 0.5f, 0.5f},
    {"Lo-Fi Drums", 0.76f, 1.0f, 0.5f, 0.5f},
};

}  // namespace korro
