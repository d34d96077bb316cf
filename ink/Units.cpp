#include "ink/Units.h"

#include <charconv>
#include <cmath>

#include "ink/Text.h"

namespace TalvoInk {
namespace {

struct Unit {
  const char* short_name;
  const char* name;   // without the plural's "s"
  const char* other;  // spelling
  double value;
};

template <std::size_t N>
std::optional<double> Find(const Unit (&table)[N], const std::string& text) {
  const std::string unit = LowerCase(Trim(text));
  if (unit.empty()) return std::nullopt;
  const std::string singular =
      unit.size() > 3 && unit.back() == 's' ? unit.substr(0, unit.size() - 1) : unit;
  for (const Unit& known : table) {
    if (unit == known.short_name || singular == known.name || singular == known.other) {
      return known.value;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<double> MicrometresOf(const std::string& unit) {
  static const Unit kLengths[] = {
      {"mm", "millimeter", "millimetre", 1000}, {"cm", "centimeter", "centimetre", 10000},
      {"m", "meter", "metre", 1000000},         {"um", "micrometer", "micrometre", 1},
      {"\xC2\xB5m", "micron", "\xCE\xBCm", 1},  // with the Greek letter
      {"in", "inch", "inche", 25400},           {"pt", "point", "", 25400.0 / 72},
      {"pc", "pica", "", 25400.0 / 6},          {"px", "pixel", "", 25400.0 / 96},
      {"himetric", "himetric", "", 10}};
  return Find(kLengths, unit);
}

std::optional<double> MillisecondsOf(const std::string& unit) {
  static const Unit kTimes[] = {{"ms", "millisecond", "msec", 1},
                                {"s", "second", "sec", 1000},
                                {"us", "microsecond", "usec", 0.001},
                                {"ns", "nanosecond", "nsec", 1e-6},
                                {"min", "minute", "", 60000}};
  return Find(kTimes, unit);
}

std::string FormatNumber(double number, int digits) {
  char text[400];
  const auto result =
      std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, digits);
  std::string out(text, result.ptr);
  if (out.find('.') != std::string::npos) out.erase(out.find_last_not_of('0') + 1);
  if (out.back() == '.') out.pop_back();
  return out == "-0" ? "0" : out;
}

std::optional<double> ParseNumber(const std::string& text) {
  const std::string trimmed = Trim(text);
  const char* begin = trimmed.data();
  const char* end = begin + trimmed.size();
  if (begin != end && *begin == '+') ++begin;
  double value = 0;
  const auto result = std::from_chars(begin, end, value);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace TalvoInk
