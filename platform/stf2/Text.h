// What counts as text in ink: UTF-8 without zero bytes, because strings are handed out as C
// strings.

#pragma once

#include <string_view>

namespace Talvo::Stf2 {

// True for well-formed UTF-8 (Unicode 15, table 3-7: no overlong forms, no surrogates, nothing
// above U+10FFFF) that holds no zero byte. The empty string is text. One pass, no allocation.
bool IsText(std::string_view bytes);

}  // namespace Talvo::Stf2
