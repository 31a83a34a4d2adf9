// How long the reverb rings after its input stops, for the formats that ask.
#pragma once

#include <cstdint>

namespace korro {

// Host frames after the last input frame until the output of these settings
// stays below −120 dBFS for any input that peaked at 0 dBFS. Values are the
// engine's clamped 0–1 copies. INT32_MAX stands for a tail too long to count.
std::int32_t tailFrames(double hostRate, double decay, double damp, double output, double mix);

}  // namespace korro
