// The scale factors of the hosts' toolkits, read as the toolkits themselves
// read them, so the editor expects exactly the enlargement the host applies.
#pragma once

#include <cctype>
#include <cstdlib>

namespace korro::x11 {

// GDK_SCALE as GTK 3 takes it: a whole number (the digits before any point), 0 meaning 1.
inline double gdkScale(const char* value) {
  const long v = value ? std::strtol(value, nullptr, 10) : 0;
  return v > 0 ? static_cast<double>(v) : 1.0;
}

// QT_SCALE_FACTOR as Qt takes it: a decimal number with a point, whatever the
// host's locale, and nothing else but blanks; above 0.
inline double qtScaleFactor(const char* value) {
  if (!value) return 1.0;
  auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  const char* p = value;
  while (blank(*p)) ++p;
  double v = 0.0;
  bool digits = false;
  for (; digit(*p); ++p, digits = true) v = v * 10.0 + (*p - '0');
  if (*p == '.')
    for (double unit = 0.1; digit(*++p); unit /= 10.0, digits = true) v += (*p - '0') * unit;
  while (blank(*p)) ++p;
  return digits && *p == 0 && v > 0.0 ? v : 1.0;
}

}  // namespace korro::x11
