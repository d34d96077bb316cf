#include "Units.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "XmlText.h"

namespace InkTool {
namespace {

template <std::size_t N>
std::optional<double> Find(const std::pair<const char*, double> (&table)[N],
                           const std::string& unit) {
  for (const auto& [name, value] : table) {
    if (unit == name) return value;
  }
  return std::nullopt;
}

}  // namespace

std::optional<double> MicrometresOf(const std::string& unit) {
  static const std::pair<const char*, double> kLengths[] = {
      {"mm", 1000.0},      {"cm", 10000.0},      {"m", 1000000.0},
      {"um", 1.0},         {"in", 25400.0},      {"pt", 25400.0 / 72},
      {"pc", 25400.0 / 6}, {"px", 25400.0 / 96}, {"himetric", 10.0}};
  return Find(kLengths, unit);
}

std::optional<double> MillisecondsOf(const std::string& unit) {
  static const std::pair<const char*, double> kTimes[] = {
      {"ms", 1.0}, {"s", 1000.0}, {"us", 0.001}, {"min", 60000.0}};
  return Find(kTimes, unit);
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

}  // namespace InkTool
