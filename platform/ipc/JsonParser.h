// JSON text to values, strict (RFC 8259): what comes from a socket is checked to the last byte.
// JsonWriter.h is the other direction. Functions without state, any thread.
//
// Why no library reads it. jsoncpp's reader takes comments and trailing commas, throws on deep
// nesting, and follows the locale of the process. RapidJSON's (1.1.0, with a handler that builds
// the value and checks what it does not) agreed with this parser on four million damaged messages,
// but refuses numbers beyond a double (1e999) as if they were not JSON, even when asked for their
// text alone. It also takes a lone low surrogate and stops at a zero byte, so both must be looked
// for beside it, and a string of 1 MB takes it seven times as long (1.5 ms against 0.2 ms).

#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace IPC {

// Arrays and objects within each other, the outermost included.
inline constexpr std::size_t kMaxNesting = 64;

// A value takes up to 160 bytes of memory, and a microsecond if its text takes two bytes. With this
// limit a line of 1 MiB never becomes more than about 4 MiB, and takes a few milliseconds: short
// enough for all connections to send such lines together and keep nobody waiting.
inline constexpr std::size_t kMaxValues = 16384;

// Reads one JSON text, with blanks, tabs, CR and LF between its tokens, and nothing after it.
// False for anything else, with `error` saying what is wrong and at which byte, and `value` null.
// Beside broken syntax it refuses: a member that stands twice in one object, invalid UTF-8,
// unpaired surrogates, control bytes in strings, and more nesting or values than the limits.
// Integers beyond 64 bits become reals; reals beyond a double's range become the nearest double.
bool ParseJson(std::string_view text, Json::Value& value, std::string& error);

}  // namespace IPC
