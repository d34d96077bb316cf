#include "Output.h"

#include <json/writer.h>

#include <array>
#include <cstdio>

namespace {

// Plain ASCII, so that names of any bytes make valid JSON.
std::string WriteJson(const Json::Value& value, const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  return Json::writeString(builder, value);
}

}  // namespace

void PrintJson(const Json::Value& value) {
  PrintLine(WriteJson(value, "  "));
}

void PrintJsonLine(const Json::Value& value) {
  PrintLine(WriteJson(value, ""));
}

void PrintLine(const std::string& line) {
  std::fprintf(stdout, "%s\n", line.c_str());
  std::fflush(stdout);
}

void Complain(const std::string& message) {
  std::fprintf(stderr, "quillpost: %s\n", message.c_str());
}

std::string Printable(const std::string& text) {
  std::string printable;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      printable += c;
      continue;
    }
    std::array<char, 5> escaped;
    std::snprintf(escaped.data(), escaped.size(), "\\x%02X", byte);
    printable += escaped.data();
  }
  return printable;
}

std::string FormatBytes(std::uint64_t bytes) {
  static constexpr std::array<const char*, 4> kUnits = {"B", "KiB", "MiB", "GiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 1024 && unit + 1 < kUnits.size()) {
    value /= 1024;
    ++unit;
  }
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", value, kUnits[unit]);
  return text.data();
}

std::string FormatCount(std::uint64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
