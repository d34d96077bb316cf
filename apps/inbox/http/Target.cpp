#include "http/Target.h"

#include <algorithm>

#include "ink/Text.h"

namespace Inbox {
namespace {

bool IsPathCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
         c == '.' || c == '_' || c == '-';
}

bool Decode(const std::string& text, std::string& decoded) {
  decoded.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint8_t byte = 0;
    if (text[i] == '+') {
      decoded += ' ';
    } else if (text[i] != '%') {
      decoded += text[i];
    } else if (TalvoInk::ParseHexByte(text, i + 1, byte)) {
      decoded += static_cast<char>(byte);
      i += 2;
    } else {
      return false;
    }
  }
  return IsPlainText(decoded);
}

}  // namespace

bool IsPlainText(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const TalvoInk::Utf8Sequence sequence = TalvoInk::Utf8At(text, i);
    if (sequence.length == 0 || sequence.code < 0x20 ||
        (sequence.code >= 0x7F && sequence.code < 0xA0)) {
      return false;
    }
    i += sequence.length;
  }
  return true;
}

bool ParseTarget(const std::string& target, std::string& path,
                 std::map<std::string, std::string>& arguments) {
  const std::size_t question = target.find('?');
  path = target.substr(0, question);
  arguments.clear();
  if (path.empty() || path[0] != '/' || !std::all_of(path.begin(), path.end(), IsPathCharacter)) {
    return false;
  }
  if (question == std::string::npos) return true;
  for (std::size_t begin = question + 1; begin <= target.size();) {
    const std::size_t end = std::min(target.find('&', begin), target.size());
    const std::string pair = target.substr(begin, end - begin);
    begin = end + 1;
    if (pair.empty()) continue;
    const std::size_t equals = pair.find('=');
    std::string name, value;
    if (!Decode(pair.substr(0, equals), name)) return false;
    if (equals != std::string::npos && !Decode(pair.substr(equals + 1), value)) return false;
    arguments.emplace(std::move(name), std::move(value));
  }
  return true;
}

}  // namespace Inbox
