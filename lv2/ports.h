// The bundle's ports and how a control port's value in user units becomes the
// effect's normalised parameter value. The front and the ttl generator share
// these, so what a host reads in the ttl is what the front does.
#pragma once

#include <cstdint>

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

enum class Law { Toggle, Percent, Decibels };

struct ControlPort {
  Port port;
  std::int32_t parameter;  // index of the effect's parameter
  const char* symbol;
  const char* name;
  Law law;
  float minimum;
  float maximum;
};

// The editor's units: percent for Decay, Damp and Mix, its decibel law for
// Output (−120 to −100 dB mean silence, as a typed value does in the editor).
inline constexpr ControlPort kControlPorts[] = {
    {kBypassPort, 0, "bypass", "Bypass", Law::Toggle, 0.0f, 1.0f},
    {kDecayPort, 1, "decay", "Decay", Law::Percent, 0.0f, 100.0f},
    {kDampPort, 2, "damp", "Damp", Law::Percent, 0.0f, 100.0f},
    {kOutputPort, 3, "output", "Output", Law::Decibels, -120.0f, 12.0f},
    {kMixPort, 4, "mix", "Mix", Law::Percent, 0.0f, 100.0f},
};

// The parameter value for a port value, held to the port's range first
// (a toggle is on above 0). NaN comes back as NaN.
float parameterFromPort(const ControlPort& port, float value);

// The port value that shows a parameter value: what the editor would display.
double portFromParameter(const ControlPort& port, float parameter);

}  // namespace korro::lv2
