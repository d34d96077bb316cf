// What the envelope of sealed ink says without being opened.

#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>

namespace InkTool {

struct SealedInfo {
  std::uint64_t pen = 0;
  std::string recipient;  // the public key, in hexadecimal
  std::uint8_t algorithm = 0;
};

// None for bytes that are no sealed ink.
std::optional<SealedInfo> ReadSealedInfo(const std::string& bytes);

// Lines for a reader, without the file's name.
std::string InLines(const SealedInfo& info);

Json::Value AsJson(const SealedInfo& info);

}  // namespace InkTool
