// The addresses of pages: numbers joined by dots that a pen reads off the paper, such as 1.2.3.4.

#pragma once

#include <cstdint>
#include <string>

namespace TalvoInk {

// Whether ink is stored under the text as under a page's address: four or five fields of digits or
// "*", joined by dots.
bool IsPageAddress(const std::string& text);

// Whether the text is the address of one page: four or five numbers of 31 bits, joined by dots.
bool IsOnePageAddress(const std::string& text);

// The address `count` pages further: the last field counts up, so that "1.2.3.4" and 2 is
// "1.2.3.6". Throws InkError if the last field would need more than 31 bits.
std::string PageAfter(const std::string& page, std::uint64_t count);

}  // namespace TalvoInk
