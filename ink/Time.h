// Points in time as people and files write them: milliseconds since 1970-01-01 UTC. The text
// form is ISO 8601. Nothing here depends on the locale or on the machine's time zone.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace TalvoInk {

// The last millisecond of the year 9999; later times are taken for mistakes.
constexpr std::uint64_t kLastTimeMs = 253402300799999;

struct DateTime {
  std::uint64_t time_ms = 0;
  bool has_zone = false;  // else UTC was taken
  bool is_cut = false;    // it had more than whole milliseconds
};

// A date with a time: "2026-01-31T12:34:56.789Z", "2026-01-31T13:34+01:00", "2026-01-31 12:34".
// None for any other text and for times outside 1970 to 9999.
std::optional<DateTime> ParseDateTime(const std::string& text);

// "2026-01-31T12:34:56.789Z".
std::string FormatDateTime(std::uint64_t time_ms);

}  // namespace TalvoInk
