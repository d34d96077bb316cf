#include "common/Identifiers.h"

#include <TalvoCppUtils/PageAddress.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string_view>

namespace TalvoQuillpost {
namespace Common {

namespace {

constexpr std::string_view kPenSerialCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-";
constexpr std::string_view kAppIDCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz ._:-";

bool IsIdentifier(const std::string& text, std::string_view characters) {
  return !text.empty() && text.front() != '.' &&
         text.find_first_not_of(characters) == std::string::npos;
}

// Field 0 to field 4; a four-field address leaves field 0 at 0. In a range, -1 is the wildcard.
typedef std::array<std::int32_t, 5> NumericAddress;

// Reads the fields of an address whose fields are "*" or numbers of few digits, where the rules of
// ToNumericAddress have nothing special to say. False for any other.
bool ReadPlainFields(const std::string& page, NumericAddress& fields) {
  constexpr std::size_t kMaxDigits = 9;  // never out of range
  std::array<std::string_view, 5> texts;
  std::size_t count = 0;
  for (std::string_view rest = page;; ++count) {
    const std::size_t dot = rest.find('.');
    if (count == texts.size()) return false;
    texts[count] = rest.substr(0, dot);
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  const std::size_t skipped = texts.size() - 1 - count;
  for (std::size_t i = 0; i <= count; ++i) {
    std::int32_t& field = fields[skipped + i];
    field = texts[i] == "*" ? -1 : 0;
    if (field == -1) continue;
    if (texts[i].size() > kMaxDigits || texts[i].find('*') != std::string_view::npos) return false;
    for (const char digit : texts[i]) field = field * 10 + (digit - '0');
  }
  return true;
}

NumericAddress ToNumericAddress(const std::string& page) {
  NumericAddress fields = {};
  if (ReadPlainFields(page, fields)) return fields;
  std::string numbers;
  std::size_t dots = 0;
  for (const char character : page) {
    if (character == '.') {
      ++dots;
      numbers += ' ';
    } else if (character == '*') {
      numbers += "-1";
    } else {
      numbers += character;
    }
  }
  // A stream, since its rules are the ones that count: where "1-1" ends a number, and what a field
  // beyond the range becomes. The host's locale has no say in them.
  std::istringstream stream(numbers);
  stream.imbue(std::locale::classic());
  fields = {};
  for (std::size_t field = dots == 4 ? 0 : 1; field < fields.size(); ++field) {
    stream >> fields[field];
  }
  return fields;
}

}  // namespace

bool IsAppIDValid(const std::string& id) {
  return IsIdentifier(id, kAppIDCharacters);
}

bool IsPenSerialValid(const std::string& pen) {
  return IsIdentifier(pen, kPenSerialCharacters);
}

bool IsPageAddressValid(const std::string& page) {
  return page == kEncryptedPageAddress || TalvoCppUtils::IsPageAddress(page);
}

bool IsPageAddressInRange(const std::string& address, const std::string& range) {
  if (!IsPageAddressValid(address) || !IsPageAddressValid(range)) return false;
  if (address == range) return true;
  // The word is not a numeric address, and no range of numbers contains it.
  if (address == kEncryptedPageAddress || range == kEncryptedPageAddress) return false;
  if (address.find('*') != std::string::npos) return false;
  const NumericAddress page = ToNumericAddress(address);
  const NumericAddress pattern = ToNumericAddress(range);
  return std::equal(
      page.begin(), page.end(), pattern.begin(),
      [](std::int32_t field, std::int32_t wanted) { return wanted == -1 || field == wanted; });
}

}  // namespace Common
}  // namespace TalvoQuillpost
