// The text-to-value inverse every front uses when a host or a user types a
// value. Input: a byte choosing the parameter (one past each end included),
// four bytes of a float, then the text.
// Properties: a text that reads gives a finite value in the parameter's range,
// whose own text reads back to that same text; every value's text reads back
// to a value with the same text.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "shell/parameter_table.h"

namespace {

std::string textOf(std::int32_t index, double value) {
  char text[64] = {};
  if (!korro::parameterValueText(index, value, text, sizeof text)) std::abort();
  return text;
}

// A law's text reads back to a value that gives the same text; "-0.00dB"
// reads as 0.5, whose text is "0.00dB".
void roundTrip(std::int32_t index, const std::string& text) {
  double back = -1.0;
  if (!korro::parameterValueFromText(index, text.c_str(), back)) std::abort();
  if (!std::isfinite(back) || back < 0.0 || back > 1.0) std::abort();
  const std::string again = textOf(index, back);
  if (again != text && !(text == "-0.00dB" && again == "0.00dB")) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 5) return 0;
  const std::int32_t index = static_cast<std::int32_t>(data[0] % (korro::kParameterCount + 2)) - 1;
  float x;
  std::memcpy(&x, data + 1, 4);
  const std::string text(reinterpret_cast<const char*>(data + 5), size - 5);  // cut at a NUL by the reader

  double value = -1.0;
  const bool read = korro::parameterValueFromText(index, text.c_str(), value);
  if (!korro::findParameter(index)) {
    if (read) std::abort();
    return 0;
  }
  if (read) {
    if (!std::isfinite(value) || value < 0.0 || value > 1.0) std::abort();
    roundTrip(index, textOf(index, value));
  } else if (value != -1.0) {
    std::abort();  // refused, yet the value was written
  }
  // Any value the parameter can hold: its text reads back.
  if (std::isfinite(x)) roundTrip(index, textOf(index, std::fmin(std::fmax(std::fabs(x), 0.0f), 1.0f)));
  return 0;
}
