// The identifiers of the service: application IDs, pen serials and page addresses. They are the
// only barrier between strings from outside and the file system. Pure functions, which never throw
// for bad input; any thread.

#pragma once

#include <string>

namespace TalvoQuillpost {
namespace Common {

// The page address under which sealed ink is filed, since its real pages are hidden.
inline constexpr char kEncryptedPageAddress[] = "encrypted-stf2";

// An application ID: not empty, no "." in front, only digits, ASCII letters, space, ".", "_", ":"
// and "-".
bool IsAppIDValid(const std::string& id);

// A pen serial: not empty, only digits, ASCII letters and "-".
bool IsPenSerialValid(const std::string& pen);

// A page address: "encrypted-stf2", or four or five fields of digits and "*" joined by single dots.
bool IsPageAddressValid(const std::string& page);

// Whether the page address `address` lies in the range `range`, a page address whose "*" fields
// stand for any value. Equal strings always match, an address with "*" matches nothing else. A
// four-field address is the five-field one whose first field is 0. Fields are read one signed
// 32-bit number after the other, each "*" as -1: so "1*" reads as the two numbers 1 and -1, and
// after a number out of range the remaining fields are 0.
bool IsPageAddressInRange(const std::string& address, const std::string& range);

}  // namespace Common
}  // namespace TalvoQuillpost
