#include "TalvoCppUtils/PageAddress.h"

#include <algorithm>

namespace TalvoCppUtils {

bool IsPageAddress(std::string_view text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') return false;
  if (text.find_first_not_of("0123456789.*") != std::string_view::npos) return false;
  if (text.find("..") != std::string_view::npos) return false;
  const auto dots = std::count(text.begin(), text.end(), '.');
  return dots == 3 || dots == 4;
}

}  // namespace TalvoCppUtils
