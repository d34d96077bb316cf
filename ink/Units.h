// The units in which files state lengths and times.

#pragma once

#include <optional>
#include <string>

namespace TalvoInk {

// Micrometres of one unit: m, cm, mm, um, in, pt, pc, px (1/96 in) and himetric (0.01 mm), or their
// English names; case and white space around them don't matter. None for "dev", which says nothing,
// and for what is not a length.
std::optional<double> MicrometresOf(const std::string& unit);

// Milliseconds of one unit: min, s, ms, us, ns, or their English names. None for anything else.
std::optional<double> MillisecondsOf(const std::string& unit);

// The number with at most so many digits behind the point and no zeros at their end: "210",
// "297.5".
std::string FormatNumber(double number, int digits);

// A whole text as a number, in the classic locale; none if it is not a finite number.
std::optional<double> ParseNumber(const std::string& text);

}  // namespace TalvoInk
