// The decimal writer behind the host's parameter texts and the editor's value
// fields: at most eight characters of sign, integer digits and point, the
// fraction filling what is left, every digit truncated, never rounded.
#pragma once

namespace korro {

// Leaves the text untouched for a value beyond 99,999,999 (−9,999,999 when
// negative) and for NaN. With more than seven integer digits the leading ones
// are lost and the text ends in the point.
void writeDecimal(double value, char* text);

}  // namespace korro
