#include "JsonWriter.h"

#include <TalvoCppUtils/Utf8.h>

#include <charconv>
#include <cmath>

#include "JsonPlainText.h"

namespace IPC {
namespace {

template <typename Number>
void AppendNumber(Number number, std::string& text) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, number);
  text.append(digits, result.ptr);
}

void AppendReal(double real, std::string& text) {
  if (!std::isfinite(real)) {
    text += "null";
    return;
  }
  const std::size_t start = text.size();
  AppendNumber(real, text);
  if (text.find_first_of(".e", start) == std::string::npos) text += ".0";
}

void AppendControl(unsigned char c, std::string& text) {
  static constexpr char kHex[] = "0123456789abcdef";
  text += "\\u00";
  text += kHex[c >> 4];
  text += kHex[c & 15];
}

void AppendStringValue(const Json::Value& string, std::string& text) {
  const char* begin = nullptr;
  const char* end = nullptr;
  string.getString(&begin, &end);
  AppendJsonString(std::string_view(begin, static_cast<std::size_t>(end - begin)), text);
}

void AppendArray(const Json::Value& array, std::string& text) {
  text += '[';
  for (Json::ArrayIndex i = 0; i < array.size(); ++i) {
    if (i > 0) text += ',';
    AppendJson(array[i], text);
  }
  text += ']';
}

void AppendObject(const Json::Value& object, std::string& text) {
  text += '{';
  for (auto member = object.begin(); member != object.end(); ++member) {
    if (member != object.begin()) text += ',';
    AppendJsonString(member.name(), text);
    text += ':';
    AppendJson(*member, text);
  }
  text += '}';
}

}  // namespace

void AppendJsonString(std::string_view string, std::string& text) {
  text += '"';
  for (std::size_t at = 0; at < string.size();) {
    const std::size_t plain = PlainLength(string.substr(at));
    text.append(string, at, plain);
    at += plain;
    if (at == string.size()) break;
    const unsigned char c = static_cast<unsigned char>(string[at]);
    const std::size_t length = TalvoCppUtils::Utf8SequenceLength(string.substr(at));
    if (c == '"' || c == '\\') {
      text += '\\';
      text += string[at];
    } else if (c < 0x20 || c == 0x7F) {
      AppendControl(c, text);
    } else if (length == 0) {
      text += "\xEF\xBF\xBD";
    } else {
      text.append(string, at, length);
    }
    at += length == 0 ? 1 : length;
  }
  text += '"';
}

void AppendJson(const Json::Value& value, std::string& text) {
  switch (value.type()) {
    case Json::nullValue:
      text += "null";
      break;
    case Json::intValue:
      AppendNumber(value.asInt64(), text);
      break;
    case Json::uintValue:
      AppendNumber(value.asUInt64(), text);
      break;
    case Json::realValue:
      AppendReal(value.asDouble(), text);
      break;
    case Json::stringValue:
      AppendStringValue(value, text);
      break;
    case Json::booleanValue:
      text += value.asBool() ? "true" : "false";
      break;
    case Json::arrayValue:
      AppendArray(value, text);
      break;
    case Json::objectValue:
      AppendObject(value, text);
      break;
  }
}

}  // namespace IPC
