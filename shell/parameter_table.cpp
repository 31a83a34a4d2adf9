#include "parameter_table.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "editor/value_text.h"

namespace korro {

namespace {

// The law's text, without the caller's size limit (texts stay below 40 bytes).
void lawText(DisplayLaw law, double value, char* text) {
  text[0] = 0;
  switch (law) {
    case DisplayLaw::Switch:
      // Bypass's own rounding: the springs are fed from one half up.
      std::strcpy(text, value >= 0.5 ? "on" : "off");
      break;
    case DisplayLaw::Percent:
      percentText(static_cast<float>(value), text);
      break;
    case DisplayLaw::Decibels:
      decibelText(static_cast<float>(value), text);
      break;
  }
}

const char* skipBlanks(const char* p) {
  while (*p == ' ' || *p == '\t') ++p;
  return p;
}

// A decimal number, then optionally `unit`, then nothing but blanks; held to
// the parameter's range in the law's units, as the editor holds typed numbers.
bool readNumber(const ParameterDescription& param, const char* text, const char* unit, double& number) {
  const char* p = skipBlanks(text);
  if (!(*p == '-' || *p == '+' || *p == '.' || std::isdigit(static_cast<unsigned char>(*p)))) return false;
  char* end = nullptr;
  number = std::strtod(p, &end);
  if (end == p || !std::isfinite(number)) return false;
  p = skipBlanks(end);
  const std::size_t n = std::strlen(unit);
  if (std::strncmp(p, unit, n) == 0) p += n;
  if (!(number > param.displayMinimum)) number = param.displayMinimum;
  if (number > param.displayMaximum) number = param.displayMaximum;
  return *skipBlanks(p) == 0;
}

// `guess` reads back as `wanted` when that text is reachable at all; the law's
// float rounding can leave the plain inverse a few steps off it.
double settle(DisplayLaw law, float guess, const char* wanted) {
  char text[40];
  float up = guess;
  float down = guess;
  for (int step = 0; step < 64; ++step) {
    lawText(law, up, text);
    if (std::strcmp(text, wanted) == 0) return up;
    lawText(law, down, text);
    if (std::strcmp(text, wanted) == 0) return down;
    up = std::nextafter(up, INFINITY);
    down = std::nextafter(down, -INFINITY);
  }
  return guess;
}

bool sameWord(const char* text, const char* word) {
  const char* p = skipBlanks(text);
  const std::size_t n = std::strlen(word);
  for (std::size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(p[i])) != word[i]) return false;
  return *skipBlanks(p + n) == 0;
}

}  // namespace

const ParameterDescription* findParameter(std::int32_t index) {
  return index >= 0 && index < kParameterCount ? &kParameters[index] : nullptr;
}

bool parameterValueText(std::int32_t index, double value, char* out, std::size_t size) {
  const ParameterDescription* param = findParameter(index);
  if (!param || !out) return false;
  char text[40];
  lawText(param->law, value, text);
  if (std::strlen(text) >= size) return false;
  std::strcpy(out, text);
  return true;
}

bool parameterValueFromText(std::int32_t index, const char* text, double& value) {
  const ParameterDescription* param = findParameter(index);
  if (!param || !text) return false;
  double number = 0.0;
  switch (param->law) {
    case DisplayLaw::Switch:
      if (sameWord(text, "on")) {
        value = 1.0;
        return true;
      }
      if (sameWord(text, "off")) {
        value = 0.0;
        return true;
      }
      return false;
    case DisplayLaw::Percent: {
      if (!readNumber(*param, text, "%", number)) return false;
      char wanted[40] = {};
      formatFixed(static_cast<float>(number), 0, wanted);
      std::strcat(wanted, "%");
      value = settle(param->law, static_cast<float>(number / 100.0), wanted);
      return true;
    }
    case DisplayLaw::Decibels: {
      if (sameWord(text, "-oo db") || sameWord(text, "-oo")) {
        value = 0.0;
        return true;
      }
      if (!readNumber(*param, text, "dB", number)) return false;
      if (number < -100.0) {
        value = 0.0;
        return true;
      }
      // The plain inverse of 6·log2(4v²); the editor's typed path reads −100 as silence.
      const float guess = static_cast<float>(std::sqrt(std::pow(2.0, number / 6.0) * 0.25));
      char wanted[40] = {};
      formatFixed(static_cast<float>(number), 2, wanted);
      std::strcat(wanted, "dB");
      value = settle(param->law, guess, wanted);
      return true;
    }
  }
  return false;
}

}  // namespace korro
