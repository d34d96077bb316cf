#include "ink/Time.h"

#include <cstdio>
#include <ctime>

namespace TalvoInk {
namespace {

// Seconds from 1970-01-01 to the beginning of the day; none for a day that its month does not have.
std::optional<std::int64_t> SecondsOfDay(int year, int month, int day) {
  tm date{};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  const std::int64_t seconds = ::timegm(&date);
  if (date.tm_mday != day) return std::nullopt;  // it has become one of the next month
  return seconds;
}

// Takes the text from its front, piece by piece; `ok` turns false at the first that does not fit.
struct Scanner {
  const char* at;
  const char* end;
  bool ok = true;

  int Digits(int count, int least, int most) {
    int value = 0;
    for (int i = 0; i < count && ok; ++i) {
      ok = at < end && *at >= '0' && *at <= '9';
      if (ok) value = value * 10 + (*at++ - '0');
    }
    ok = ok && value >= least && value <= most;
    return value;
  }

  bool Take(char c) {
    if (at == end || *at != c) return false;
    ++at;
    return true;
  }

  void Need(char c) { ok = ok && Take(c); }

  // Digits after the decimal point as milliseconds, cut after the third.
  int Fraction(bool& is_cut) {
    int value = 0;
    int scale = 100;
    ok = ok && at < end && *at >= '0' && *at <= '9';
    for (; at < end && *at >= '0' && *at <= '9'; ++at, scale /= 10) {
      value += (*at - '0') * scale;
      is_cut = is_cut || (scale == 0 && *at != '0');
    }
    return value;
  }

  // "Z", "+01:00", "-0130": minutes to the east.
  int Zone() {
    if (Take('Z')) return 0;
    const int sign = *at == '-' ? -1 : 1;
    if (!Take('+') && !Take('-')) ok = false;
    const int hours = Digits(2, 0, 14);
    if (at < end && *at == ':') ++at;
    return sign * (hours * 60 + (at < end ? Digits(2, 0, 59) : 0));
  }
};

}  // namespace

std::optional<DateTime> ParseDateTime(const std::string& text) {
  Scanner scan{text.data(), text.data() + text.size()};
  DateTime out;
  const int year = scan.Digits(4, 0, 9999);
  scan.Need('-');
  const int month = scan.Digits(2, 1, 12);
  scan.Need('-');
  const int day = scan.Digits(2, 1, 31);
  if (!scan.Take('T')) scan.Need(' ');
  const int hour = scan.Digits(2, 0, 23);
  scan.Need(':');
  const int minute = scan.Digits(2, 0, 59);
  const int second = scan.Take(':') ? scan.Digits(2, 0, 60) : 0;
  const int fraction = scan.Take('.') ? scan.Fraction(out.is_cut) : 0;
  out.has_zone = scan.at != scan.end;
  const int zone = out.has_zone ? scan.Zone() : 0;
  const std::optional<std::int64_t> midnight = SecondsOfDay(year, month, day);
  if (!scan.ok || scan.at != scan.end || !midnight) return std::nullopt;
  const std::int64_t time =
      (*midnight + (hour * 60 + minute - zone) * 60 + second) * 1000 + fraction;
  if (time < 0 || time > static_cast<std::int64_t>(kLastTimeMs)) return std::nullopt;
  out.time_ms = static_cast<std::uint64_t>(time);
  return out;
}

std::string FormatDateTime(std::uint64_t time_ms) {
  const std::time_t seconds = static_cast<std::time_t>(time_ms / 1000);
  tm date{};
  ::gmtime_r(&seconds, &date);
  char text[64];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &date);
  std::snprintf(text + size, sizeof text - size, ".%03dZ", static_cast<int>(time_ms % 1000));
  return text;
}

}  // namespace TalvoInk
