// The program table: five parameter values and a name per program.
#pragma once

namespace korro {

inline constexpr int kProgramCount = 8;
inline constexpr int kProgramNameSize = 36;  // 35 characters and the terminator

struct ProgramRecord {
  float bypass = 1.0f;
  float decay = 0.5f;
  float damp = 0.25f;
  float mix = 0.5f;
  float output = 0.5f;
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
