// Values to JSON text: compact, one line, and valid UTF-8 whatever the values hold. Functions
// without state, any thread.

#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace IPC {

// Appends the text of `value`. Each byte of a string that is not UTF-8 becomes U+FFFD; infinities
// and not-a-number become null. A real keeps a point or an exponent, so that it stays one.
void AppendJson(const Json::Value& value, std::string& text);
void AppendJsonString(std::string_view string, std::string& text);

}  // namespace IPC
