// What pages are called.

#pragma once

#include <cstddef>
#include <string>

namespace Inbox {

// In characters.
inline constexpr std::size_t kMostTitle = 200;

// Whether the text is one line of UTF-8 without control characters, and not too long. Empty is
// fine.
bool IsTitle(const std::string& text);

// The name of a file without its folders and extension, as the title of pages that have none. Empty
// if that can't be a title.
std::string TitleOf(const std::string& file);

}  // namespace Inbox
