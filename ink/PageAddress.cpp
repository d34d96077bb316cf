#include "ink/PageAddress.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

constexpr std::uint64_t kLastField = std::numeric_limits<std::int32_t>::max();

}  // namespace

bool IsPageAddress(const std::string& text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') return false;
  if (text.find_first_not_of("0123456789.*") != std::string::npos) return false;
  if (text.find("..") != std::string::npos) return false;
  const auto dots = std::count(text.begin(), text.end(), '.');
  return dots == 3 || dots == 4;
}

bool IsOnePageAddress(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  int fields = 0;
  for (; fields < 6; ++at) {
    std::uint32_t field = 0;
    const auto result = std::from_chars(at, end, field);
    if (result.ec != std::errc() || field > kLastField) return false;
    ++fields;
    at = result.ptr;
    if (at == end) break;
    if (*at != '.') return false;
  }
  return fields == 4 || fields == 5;
}

std::string PageAfter(const std::string& page, std::uint64_t count) {
  const std::size_t dot = page.rfind('.');
  std::uint32_t last = 0;
  const char* begin = page.data() + (dot == std::string::npos ? 0 : dot + 1);
  const char* end = page.data() + page.size();
  const auto result = std::from_chars(begin, end, last);
  const bool number = result.ec == std::errc() && result.ptr == end && last <= kLastField;
  if (count == 0) return page;
  if (!number || count > kLastField - last) {
    throw InkError("no page " + std::to_string(count) + " behind " + page +
                   ": the last field goes up to " + std::to_string(kLastField));
  }
  return page.substr(0, dot + 1) + std::to_string(last + count);
}

}  // namespace TalvoInk
