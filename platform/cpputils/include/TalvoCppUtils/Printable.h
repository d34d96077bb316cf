// Text that others have named (files, applications, pages), made fit for one line of a log or a
// terminal.

#pragma once

#include <string>

namespace TalvoCppUtils {

// The text with each control byte (below 0x20, and 0x7F) as \xNN, two upper-case digits. So it
// can't begin a line of its own or command a terminal. All other bytes stay, whatever their
// encoding.
std::string Printable(std::string text);

}  // namespace TalvoCppUtils
