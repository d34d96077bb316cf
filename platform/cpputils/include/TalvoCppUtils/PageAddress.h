// The address of a page: numbers joined by dots that a pen reads off the paper, such as 1.2.3.4.
// One syntax in the whole system, as for the identities of pens.

#pragma once

#include <string_view>

namespace TalvoCppUtils {

// Whether the text is an address, or a range of them: four or five fields of digits and "*", none
// of them empty, joined by dots. How large a number may be is not asked.
bool IsPageAddress(std::string_view text);

}  // namespace TalvoCppUtils
