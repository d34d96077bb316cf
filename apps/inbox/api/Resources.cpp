#include "api/Resources.h"

#include <algorithm>

namespace Inbox {

// Made by CMake of the files in web/; a last one without a name ends it.
extern const Resource kResources[];

const Resource* FindResource(const std::string& name) {
  for (const Resource* resource = kResources; resource->name != nullptr; ++resource) {
    if (name == resource->name) return resource;
  }
  return nullptr;
}

std::string TypeOfResource(const std::string& name) {
  static constexpr const char* kTypes[][2] = {{".html", "text/html; charset=utf-8"},
                                              {".js", "text/javascript; charset=utf-8"},
                                              {".css", "text/css; charset=utf-8"},
                                              {".svg", "image/svg+xml"}};
  const std::string extension = name.substr(std::min(name.rfind('.'), name.size()));
  for (const auto& type : kTypes) {
    if (extension == type[0]) return type[1];
  }
  return "application/octet-stream";
}

}  // namespace Inbox
