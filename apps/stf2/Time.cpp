#include "Time.h"

#include <charconv>
#include <cstdio>

namespace InkTool {
namespace {

constexpr std::int64_t kMsPerDay = 86400000;

// Days from 1970-01-01 to the date in the proleptic Gregorian calendar.
std::int64_t DaysFromDate(std::int64_t year, int month, int day) {
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

int DaysOfMonth(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return kDays[month - 1] + (month == 2 && leap ? 1 : 0);
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
  int Fraction() {
    int value = 0;
    int scale = 100;
    ok = ok && at < end && *at >= '0' && *at <= '9';
    for (; at < end && *at >= '0' && *at <= '9'; ++at, scale /= 10) value += (*at - '0') * scale;
    return value;
  }

  // "Z", "+01:00", "-0130", or nothing for UTC: minutes to the east.
  int Zone() {
    if (at == end || Take('Z')) return 0;
    const int sign = *at == '-' ? -1 : 1;
    if (!Take('+') && !Take('-')) ok = false;
    const int hours = Digits(2, 0, 14);
    if (at < end && *at == ':') ++at;
    return sign * (hours * 60 + (at < end ? Digits(2, 0, 59) : 0));
  }
};

}  // namespace

std::optional<std::uint64_t> ParseDateTime(const std::string& text) {
  Scanner scan{text.data(), text.data() + text.size()};
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
  const int fraction = scan.Take('.') ? scan.Fraction() : 0;
  const int zone = scan.Zone();
  if (!scan.ok || scan.at != scan.end || day > DaysOfMonth(year, month)) return std::nullopt;
  const std::int64_t seconds = (hour * 60 + minute - zone) * 60 + second;
  const std::int64_t time = DaysFromDate(year, month, day) * kMsPerDay + seconds * 1000 + fraction;
  if (time < 0 || time > static_cast<std::int64_t>(kLastTimeMs)) return std::nullopt;
  return static_cast<std::uint64_t>(time);
}

std::string FormatDateTime(std::uint64_t time_ms) {
  const std::int64_t days = static_cast<std::int64_t>(time_ms / kMsPerDay) + 719468;
  const std::int64_t era = days / 146097;
  const std::int64_t day_of_era = days - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t shifted_month = (5 * day_of_year + 2) / 153;
  const int day = static_cast<int>(day_of_year - (153 * shifted_month + 2) / 5 + 1);
  const int month = static_cast<int>(shifted_month < 10 ? shifted_month + 3 : shifted_month - 9);
  const long long year = year_of_era + era * 400 + (month <= 2);
  const int in_day = static_cast<int>(time_ms % kMsPerDay);
  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02d.%03dZ", year, month, day,
                in_day / 3600000, in_day / 60000 % 60, in_day / 1000 % 60, in_day % 1000);
  return text;
}

}  // namespace InkTool
