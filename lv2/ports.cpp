#include "ports.h"

#include <cmath>

#include "editor/value_text.h"

namespace korro::lv2 {

float parameterFromPort(const ControlPort& port, float value) {
  if (std::isnan(value)) return value;
  const double v = std::fmin(std::fmax(value, port.minimum), port.maximum);
  switch (port.law) {
    case Law::Switch:
      return v > 0.0 ? 1.0f : 0.0f;
    case Law::Percent:
      return static_cast<float>(v / 100.0);
    case Law::Decibels:
      return korro::parameterFromDecibels(v);
  }
  return value;
}

double portFromParameter(const ControlPort& port, float parameter) {
  const double p = parameter;
  switch (port.law) {
    case Law::Switch:
      return p >= 0.5 ? 1.0 : 0.0;
    case Law::Percent:
      return p * 100.0;
    case Law::Decibels:
      // 6 dB per doubling of the gain 4p²; silence shows as the bottom of the range.
      return p > 0.0 ? std::fmax(6.0 * std::log2(4.0 * p * p), port.minimum) : port.minimum;
  }
  return p;
}

}  // namespace korro::lv2
