// The scale factors of the hosts' toolkits, read as the toolkits themselves
// read them, so the editor expects exactly the enlargement the host applies.
#pragma once

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace korro::x11 {

// GDK_SCALE as GTK 3 takes it: a whole number (the digits before any point), 0 meaning 1.
inline double gdkScale(const char* value) {
  const long v = value ? std::strtol(value, nullptr, 10) : 0;
  return v > 0 ? static_cast<double>(v) : 1.0;
}

// QT_SCALE_FACTOR as Qt takes it: a decimal number and nothing else but blanks, above 0.
inline double qtScaleFactor(const char* value) {
  if (!value) return 1.0;
  char* end = nullptr;
  const double v = std::strtod(value, &end);
  if (end == value) return 1.0;
  while (std::isspace(static_cast<unsigned char>(*end))) ++end;
  return *end == 0 && std::isfinite(v) && v > 0.0 ? v : 1.0;
}

}  // namespace korro::x11
