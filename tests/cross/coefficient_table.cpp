// The tank's coefficients that come from the maths library (std::pow,
// std::sqrt), as stored, written as raw floats: the decay gain for 2^20 + 1
// Decay values from 0 to 1, and the five one-pole coefficients at every engine
// rate an integer host rate gives (20 kHz to 100 kHz in half hertz). Run on
// two processors, the files must be the same byte for byte.
//   korro-coefficient-table OUT_FILE
#include <cstdio>
#include <memory>
#include <vector>

#include "engine/engine_memory.h"
#include "engine/spring_tank.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: korro-coefficient-table OUT_FILE\n");
    return 2;
  }
  using namespace korro;
  auto memory = std::make_unique<DelayMemory>();
  SpringTank tank(*memory);
  std::vector<float> table;

  constexpr int kSteps = 1 << 20;
  for (int k = 0; k <= kSteps; ++k) {
    tank.update(static_cast<float>(k) / kSteps, 0.25f, 44100.0);
    table.push_back(tank.coefficients().decayGain);
  }
  for (int halfHz = 40000; halfHz <= 200000; ++halfHz) {
    tank.update(0.5f, 0.25f, halfHz * 0.5);
    const TankCoefficients& c = tank.coefficients();
    table.insert(table.end(),
                 {c.preLowpassCoeff, c.dcBlockCoeff, c.toneCoeff, c.envAttackCoeff, c.envReleaseCoeff});
  }

  std::FILE* out = std::fopen(argv[1], "wb");
  if (!out || std::fwrite(table.data(), sizeof(float), table.size(), out) != table.size() || std::fclose(out) != 0) {
    std::fprintf(stderr, "korro-coefficient-table: cannot write %s\n", argv[1]);
    return 1;
  }
  std::printf("%zu coefficients\n", table.size());
  return 0;
}
