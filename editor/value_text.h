// The texts of the editor's value fields and the reading of typed numbers.
#pragma once

namespace korro {

// The rounding step of formatFixed: one unit of the last kept decimal is added
// when the dropped part reaches 0.49999 of it (the caller's truncation then
// rounds half away from zero); otherwise x comes back unchanged.
double roundForDisplay(double x, int decimals);

// `value` with `decimals` decimals, in a budget of eight characters for sign,
// integer digits and point. Writes nothing when the value is too large.
void formatFixed(float value, int decimals, char* out);

// Optional minus, integer digits, optional "." or "," and fraction digits;
// anything after is ignored, anything else before gives 0. The integer part and
// the fraction digits are handed back when asked for.
double parseDecimal(const char* text, int* integerPart = nullptr, int* fractionDigits = nullptr);

// "50%" for 0.5.
void percentText(float parameter, char* out);
// 6 dB per doubling of the output gain 4p²: "0.00dB" for 0.5, "-oo dB" below −100.
void decibelText(float parameter, char* out);
// The parameter whose decibel text is v; 0 below −100.
float parameterFromDecibels(double v);

}  // namespace korro
