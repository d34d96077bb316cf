// The target of a request, taken apart.

#pragma once

#include <map>
#include <string>

namespace Inbox {

// "/api/pages?q=caf%C3%A9" as its path and its arguments. A path is taken as it is written: it
// holds letters, digits and "/._-" alone, so that no other spelling of a path exists. Arguments are
// decoded ("%C3%A9", "+" for a blank) and must be UTF-8 without control characters; of two with one
// name the first counts. False for anything else.
bool ParseTarget(const std::string& target, std::string& path,
                 std::map<std::string, std::string>& arguments);

// Whether the text is UTF-8 without control characters.
bool IsPlainText(const std::string& text);

}  // namespace Inbox
