// The bundle's ports and how a control port's value in user units becomes the
// effect's normalised parameter value. The front and the ttl generator share
// these, so what a host reads in the ttl is what the front does.
#pragma once

#include <cstdint>

#include "shell/parameter_table.h"

namespace korro::lv2 {

inline constexpr const char* kPluginUri = "https://korro-tarrow.example.org/lv2/tarrow";
inline constexpr const char* kUiUri = "https://korro-tarrow.example.org/lv2/tarrow/ui";
// A host that does not tell its maximum block length is assumed to stay within this.
inline constexpr std::int32_t kDefaultMaxBlock = 4096;

enum Port : std::uint32_t {
  kInputLeft,
  kInputRight,
  kOutputLeft,
  kOutputRight,
  kBypassPort,
  kDecayPort,
  kDampPort,
  kOutputPort,
  kMixPort,
  kPeakPort,  // largest left output magnitude of the last moments, for a meter
  kClipPort,  // 1 while that peak reaches full scale
  kPortCount
};

using Law = korro::DisplayLaw;

struct ControlPort {
  Port port;
  std::int32_t parameter;  // index of the effect's parameter
  const char* symbol;
  const char* name;
  Law law;
  float minimum;  // in the law's units: percent for Decay, Damp and Mix, the
  float maximum;  // editor's decibels for Output (below −100 dB is silence)
};

constexpr ControlPort controlPort(Port port, std::int32_t parameter) {
  const korro::ParameterDescription& p = korro::kParameters[parameter];
  return {port, parameter, p.symbol, p.name, p.law, p.displayMinimum, p.displayMaximum};
}

inline constexpr ControlPort kControlPorts[] = {
    controlPort(kBypassPort, 0), controlPort(kDecayPort, 1), controlPort(kDampPort, 2),
    controlPort(kOutputPort, 3), controlPort(kMixPort, 4),
};

// The parameter value for a port value, held to the port's range first
// (a toggle is on above 0). NaN comes back as NaN.
float parameterFromPort(const ControlPort& port, float value);

// The port value that shows a parameter value: what the editor would display.
double portFromParameter(const ControlPort& port, float parameter);

}  // namespace korro::lv2
