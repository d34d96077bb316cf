#include "storage/StrokeID.h"

#include <string_view>
#include <tuple>

namespace TalvoQuillpost {
namespace Storage {

std::string StrokeID::string() const {
  const std::string file_name = StrokeIDToFileName(*this);
  return page_address.empty() ? file_name : page_address + "/" + file_name;
}

// Each text is compared once: this is called some fifty times for each package.
bool StrokeID::operator<(const StrokeID& other) const {
  int order = extension.compare(other.extension);
  if (order == 0) order = name.compare(other.name);
  if (order == 0) order = page_address.compare(other.page_address);
  return order < 0;
}

bool StrokeID::operator==(const StrokeID& other) const {
  return std::tie(extension, name, page_address) ==
         std::tie(other.extension, other.name, other.page_address);
}

std::string StrokeIDToFileName(const StrokeID& id) {
  std::string file_name = id.name.empty() ? "unnamed" : id.name;
  if (!id.extension.empty()) file_name += "." + id.extension;
  return file_name;
}

void SetFileName(StrokeID& id, std::string_view file_name) {
  const std::size_t dot = file_name.rfind('.');
  const bool has_extension = dot != std::string_view::npos;
  id.name.assign(file_name.substr(0, dot));
  id.extension.assign(has_extension ? file_name.substr(dot + 1) : std::string_view());
}

bool IsStrokeIDValid(const StrokeID& id) {
  const auto has = [&id](char c) {
    return id.name.find(c) != std::string::npos || id.extension.find(c) != std::string::npos;
  };
  if (id.name.empty() || has('/') || has('\0')) return false;
  return !id.extension.empty() || (id.name != "." && id.name != "..");
}

}  // namespace Storage
}  // namespace TalvoQuillpost
