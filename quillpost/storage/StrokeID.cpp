#include "storage/StrokeID.h"

#include <string_view>
#include <tuple>

namespace TalvoQuillpost {
namespace Storage {

std::string StrokeID::string() const {
  const std::string file_name = StrokeIDToFileName(*this);
  return page_address.empty() ? file_name : page_address + "/" + file_name;
}

bool StrokeID::operator<(const StrokeID& other) const {
  return std::tie(extension, name, page_address) <
         std::tie(other.extension, other.name, other.page_address);
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
  constexpr std::string_view kForbidden("/\0", 2);
  if (id.name.empty()) return false;
  if (id.name.find_first_of(kForbidden) != std::string::npos) return false;
  if (id.extension.find_first_of(kForbidden) != std::string::npos) return false;
  const std::string file_name = StrokeIDToFileName(id);
  return file_name != "." && file_name != "..";
}

}  // namespace Storage
}  // namespace TalvoQuillpost
