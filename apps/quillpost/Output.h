// How the commands print.

#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

// One JSON document on standard output, indented, or on one line that is written at once.
void PrintJson(const Json::Value& value);
void PrintJsonLine(const Json::Value& value);

// A line on standard output, written at once.
void PrintLine(const std::string& line);

// "quillpost: MESSAGE" on standard error.
void Complain(const std::string& message);

// `text` with control bytes as \xNN: what comes out of files must not steer a terminal.
std::string Printable(const std::string& text);

// "512 B", "1.5 KiB", "12.0 MiB".
std::string FormatBytes(std::uint64_t bytes);

// "1 page", "2 pages".
std::string FormatCount(std::uint64_t count, const std::string& noun);
