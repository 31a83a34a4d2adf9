// The spring tank's network written plainly, frame by frame and line by line,
// in the order the design gives. The engine's vectorised network must match it
// bit for bit.
#pragma once

#include "engine/tank_state.h"

namespace korro::test {

void referenceTankProcess(TankState& state, const TankLines lines[2], const float* const in[2],
                          float* const out[2], int frames, bool feedInput);

}  // namespace korro::test
