#include "api/Title.h"

#include <algorithm>

#include "http/Target.h"

namespace Inbox {

bool IsTitle(const std::string& text) {
  const auto begins_a_character = [](char byte) { return (byte & 0xC0) != 0x80; };
  return IsPlainText(text) && std::count_if(text.begin(), text.end(), begins_a_character) <=
                                  static_cast<std::ptrdiff_t>(kMostTitle);
}

std::string TitleOf(const std::string& file) {
  const std::size_t slash = file.rfind('/');
  std::string title = slash == std::string::npos ? file : file.substr(slash + 1);
  const std::size_t dot = title.rfind('.');
  if (dot != std::string::npos && dot > 0) title.resize(dot);
  return IsTitle(title) ? title : std::string();
}

}  // namespace Inbox
