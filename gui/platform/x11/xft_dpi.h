// The Xft.dpi entry of an X resource string ("name:\tvalue" lines), as
// xrdb leaves it on the root window.
#pragma once

#include <cstdlib>
#include <cstring>

namespace korro::x11 {

// The value of the last "Xft.dpi:" line; 0 when there is none or it is no positive number.
inline double xftDpi(const char* resources) {
  double dpi = 0.0;
  for (const char* line = resources; line && *line;) {
    const char* end = std::strchr(line, '\n');
    const char* p = line;
    while (*p == ' ' || *p == '\t') ++p;
    constexpr char kName[] = "Xft.dpi";
    if (std::strncmp(p, kName, sizeof kName - 1) == 0) {
      p += sizeof kName - 1;
      while (*p == ' ' || *p == '\t') ++p;
      if (*p == ':') {
        char* after = nullptr;
        const double v = std::strtod(p + 1, &after);
        if (after != p + 1 && v > 0.0 && v < 10000.0) dpi = v;
      }
    }
    line = end ? end + 1 : nullptr;
  }
  return dpi;
}

}  // namespace korro::x11
