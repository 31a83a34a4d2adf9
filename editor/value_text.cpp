#include "value_text.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "shell/base/decimal_text.h"

namespace korro {

namespace {

double powerOf(double base, int n) {
  double r = 1.0;
  for (int i = 0; i < n; ++i) r *= base;
  return r;
}

// Truncation through a 32-bit integer as the processor does it: values that do
// not fit (and NaN) become the integer's minimum.
double truncate32(double t) {
  if (!(t > -2147483649.0 && t < 2147483648.0)) return -2147483648.0;
  return static_cast<double>(static_cast<std::int32_t>(t));
}

}  // namespace

double roundForDisplay(double x, int decimals) {
  const double scale = powerOf(10.0, decimals);
  const double t = x * scale;
  const double f = t - truncate32(t);
  if (f >= 0.49999) return (t + 1.0) * powerOf(0.1, decimals);
  if (f <= -0.49999) return (t - 1.0) * powerOf(0.1, decimals);
  return x;
}

void formatFixed(float value, int decimals, char* out) {
  if (!out) return;
  // Writes nothing when out of range, and then there is nothing to cut.
  char text[32] = {};
  writeDecimal(roundForDisplay(value, decimals), text);
  if (!text[0]) return;
  std::strcpy(out, text);

  char* point = std::strchr(out, '.');
  if (!point) return;
  if (decimals <= 0) {
    *point = 0;
  } else if (static_cast<int>(std::strlen(point + 1)) > decimals) {
    point[1 + decimals] = 0;
  }
}

double parseDecimal(const char* text, int* integerPart, int* fractionDigits) {
  if (integerPart) *integerPart = 0;
  if (fractionDigits) *fractionDigits = 0;
  if (!text) return 0.0;
  const char* p = text;
  double sign = 1.0;
  if (*p == '-') {
    sign = -1.0;
    ++p;
  }
  std::uint32_t n = 0;
  while (*p >= '0' && *p <= '9') n = n * 10u + static_cast<std::uint32_t>(*p++ - '0');
  std::uint32_t f = 0;
  int zeros = 0;
  if (*p == '.' || *p == ',') {
    ++p;
    while (*p == '0') {
      ++zeros;
      ++p;
    }
    while (*p >= '0' && *p <= '9') f = f * 10u + static_cast<std::uint32_t>(*p++ - '0');
  }
  const std::int32_t whole = static_cast<std::int32_t>(n);
  const std::int32_t part = static_cast<std::int32_t>(f);
  char digits[16];
  const int k = std::snprintf(digits, sizeof digits, "%d", part);
  if (integerPart) *integerPart = whole;
  if (fractionDigits) *fractionDigits = part;
  return sign * (whole + part * powerOf(0.1, k + zeros));
}

void percentText(float parameter, char* out) {
  if (!out) return;
  char number[32] = {};
  formatFixed(static_cast<float>(parameter * 100.0), 0, number);
  std::snprintf(out, 40, "%s%%", number);
}

void decibelText(float parameter, char* out) {
  if (!out) return;
  const long double p = parameter;
  const long double d = 6.0L * std::log10(4.0L * p * p) / std::log10(2.0L);
  if (d < -100.0L) {
    std::strcpy(out, "-oo dB");
    return;
  }
  char number[32] = {};
  formatFixed(static_cast<float>(d), 2, number);
  std::snprintf(out, 40, "%sdB", number);
}

float parameterFromDecibels(double v) {
  if (v < -100.0) return 0.0f;
  return static_cast<float>(std::sqrt(std::pow(10.0, v * std::log10(2.0) / 6.0) * 0.25));
}

}  // namespace korro
