// The five parameters as every front, the editor and the LV2 Turtle generator
// see them: one table, and one function per display law.
#pragma once

#include <cstddef>
#include <cstdint>

namespace korro {

enum class DisplayLaw {
  Switch,    // on (the springs are fed) or off
  Percent,   // the value times 100
  Decibels,  // 6 dB per doubling of the output gain 4·v²
};

struct ParameterDescription {
  std::int32_t index;
  const char* name;       // plain, for formats that show their own label
  const char* hostName;   // the VST 2 name, blanks included
  const char* hostLabel;  // the VST 2 label, blanks included
  const char* unit;
  const char* symbol;     // LV2 port symbol
  float minimum;          // the effect's own normalised range
  float maximum;
  float defaultValue;     // the first factory program's value
  DisplayLaw law;
  bool stepped;
  float displayMinimum;   // the same range in the law's units (LV2 ports)
  float displayMaximum;
};

inline constexpr std::int32_t kParameterCount = 5;

// Output's display range starts below −100 dB, where the law reads silence.
inline constexpr ParameterDescription kParameters[kParameterCount] = {
    {0, "Bypass", " Bypass ", "  ", "", "bypass", 0.0f, 1.0f, 1.0f, DisplayLaw::Switch, true, 0.0f, 1.0f},
    {1, "Decay", " Decay ", "    %    ", "%", "decay", 0.0f, 1.0f, 0.5f, DisplayLaw::Percent, false, 0.0f, 100.0f},
    {2, "Damp", " Damp ", "    %    ", "%", "damp", 0.0f, 1.0f, 0.1f, DisplayLaw::Percent, false, 0.0f, 100.0f},
    {3, "Output", " Output ", "   dB   ", "dB", "output", 0.0f, 1.0f, 0.5f, DisplayLaw::Decibels, false, -120.0f,
     12.0f},
    {4, "Mix", " Mix ", "    %    ", "%", "mix", 0.0f, 1.0f, 0.5f, DisplayLaw::Percent, false, 0.0f, 100.0f},
};

// Null for an index outside the table.
const ParameterDescription* findParameter(std::int32_t index);

// The editor's text of a value ("50%", "0.00dB", "-oo dB"; Bypass "on" when it
// rounds to 1, "off" otherwise). False, and `out` untouched, for an unknown
// index or a buffer too small for the text.
bool parameterValueText(std::int32_t index, double value, char* out, std::size_t size);

// The inverse of parameterValueText: every text it gives reads back as a value
// that gives the same text again ("-0.00dB" reads as 0.5, "-oo dB" as 0).
// False for an unknown index or a text that is no value.
bool parameterValueFromText(std::int32_t index, const char* text, double& value);

// What the engine works on: the value held to [0, 1]; NaN keeps `previous`;
// −0 counts as 0.
inline float clampForEngine(float value, float previous) {
  if (value != value) return previous;
  if (!(value > 0.0f)) return 0.0f;
  return value < 1.0f ? value : 1.0f;
}

}  // namespace korro
