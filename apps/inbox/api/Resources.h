// The files of the browser's side, which are part of this program.

#pragma once

#include <string>

namespace Inbox {

struct Resource {
  const char* name;  // "index.html"
  const char* begin;
  const char* end;
  std::string Bytes() const { return std::string(begin, end); }
};

// Null if there is no file of the name.
const Resource* FindResource(const std::string& name);

// "text/javascript; charset=utf-8" for "app.js".
std::string TypeOfResource(const std::string& name);

}  // namespace Inbox
