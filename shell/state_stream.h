// What a host stores for the formats that keep a state of their own (CLAP,
// VST3): the current program, its five values and the whole program table.
//
// Layout, little-endian: "KTst", version 1 (u32), the byte count that follows
// (u32), then the current program (i32), the five values in parameter order
// (f32), and per program its five values (f32) and its name (36 bytes, NUL
// terminated).
#pragma once

#include <cstdint>

#include "programs.h"

namespace korro {

class StateWriter {
 public:
  virtual ~StateWriter() = default;
  // Bytes written, possibly fewer than asked; negative on failure.
  virtual std::int64_t write(const void* data, std::int64_t size) = 0;
};

class StateReader {
 public:
  virtual ~StateReader() = default;
  // Bytes read, possibly fewer than asked; 0 at the end; negative on failure.
  virtual std::int64_t read(void* data, std::int64_t size) = 0;
};

inline constexpr std::uint32_t kStateVersion = 1;
inline constexpr std::uint32_t kStatePayloadBytes = 4 + 5 * 4 + 8 * (5 * 4 + 36);

// What a state holds. Values in parameter order: Bypass, Decay, Damp, Output, Mix.
struct SavedState {
  std::int32_t program = 0;
  float values[5] = {};
  struct Program {
    float values[5] = {};
    char name[kProgramNameSize] = {};
  } programs[kProgramCount];
};

// False when the stream fails; what was written so far is the host's to drop.
bool writeState(const SavedState& state, StateWriter& out);

// Reads the whole state and checks it: a stream that ends early or fails, an
// unknown magic or version, a wrong length, a program out of range or a value
// that is not finite is refused, and `state` is left as it was. Bytes after
// the declared length are not read. Names come back NUL terminated.
bool readState(StateReader& in, SavedState& state);

}  // namespace korro
