// What a host makes of the edit gestures a plug-in sends it: every edit of a
// parameter must come as begin, values, end. Anything else is a stray.
#pragma once

#include <cstdint>

namespace korro::test {

struct GestureLog {
  static constexpr std::uint32_t kParameters = 5;
  bool open[kParameters] = {};
  int gestures[kParameters] = {};
  double last[kParameters] = {};
  int strays = 0;

  void begin(std::uint32_t id) {
    if (id >= kParameters || open[id]) ++strays;
    else open[id] = true, ++gestures[id];
  }
  void value(std::uint32_t id, double v) {
    if (id >= kParameters || !open[id]) ++strays;
    else last[id] = v;
  }
  void end(std::uint32_t id) {
    if (id >= kParameters || !open[id]) ++strays;
    else open[id] = false;
  }
  // No stray, and every gesture ended.
  bool whole() const {
    for (bool o : open)
      if (o) return false;
    return strays == 0;
  }
};

}  // namespace korro::test
