// Text that every form of ink can hold as it is, and how text that one of them can't is written.
// XML sets the limit, and none of the control characters counts that it could hold, since readers
// change or hide them. STF2 holds any bytes, and what comes from it
// must survive the way through InkML and back.

#pragma once

#include <string>

namespace TalvoInk {

// Whether XML can hold the text as it is: valid UTF-8 without control characters.
bool IsPlainText(const std::string& text);

// The text with "%" and every byte that XML can't hold written as %XX: any bytes at all become
// plain text. Decoding leaves a "%" without two hexadecimal digits alone.
std::string EncodePercent(const std::string& text);
std::string DecodePercent(const std::string& text);

}  // namespace TalvoInk
