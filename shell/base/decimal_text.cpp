#include "decimal_text.h"

#include <cmath>
#include <cstring>

namespace korro {

namespace {
char digitOf(double x) { return static_cast<char>('0' + static_cast<int>(std::fmod(x, 10.0))); }
}  // namespace

void writeDecimal(double v, char* text) {
  if (!text) return;
  bool negative = false;
  int count = 0;
  if (v < 0) {
    v = -v;
    negative = true;
    count = 1;
    if (v > 9999999.0) return;
  } else if (!(v <= 99999999.0)) {  // also leaves the text alone for NaN
    return;
  }

  // Integer digits are built right to left, ending in the decimal point.
  char work[32];
  int pos = 30;
  work[31] = 0;
  work[30] = '.';
  double i = std::floor(v);
  work[--pos] = digitOf(i);
  i *= 0.1;
  count += 2;
  while (i >= 1.0 && count < 8) {
    work[--pos] = digitOf(i);
    i *= 0.1;
    ++count;
  }
  if (negative) work[--pos] = '-';
  std::strcpy(text, work + pos);
  if (count >= 8) return;

  const int n = 8 - count;
  static constexpr double kPowersOfTen[] = {1.0, 10.0, 100.0, 1e3, 1e4, 1e5, 1e6, 1e7};
  double m = std::fmod(v, 1.0) * kPowersOfTen[n];
  char fraction[9];
  fraction[n] = 0;
  for (int k = n - 1; k >= 0; --k) {
    if (m <= 0) {
      fraction[k] = '0';
    } else {
      fraction[k] = digitOf(m);
      m *= 0.1;
    }
  }
  std::strcat(text, fraction);
}

}  // namespace korro
