// Where an STF2 file that can't be read is damaged. The library answers for a whole buffer;
// a user wants to know how far it is sound.

#pragma once

#include <string>

namespace TalvoInk {

// What is wrong with a malformed file and where: "item 12: ..." for the first item that is not well
// formed, "header: ..." if the list of items can't be reached, "items: ..." if every item is
// well formed by itself. Never reads outside the bytes.
std::string FaultOf(const std::string& bytes);

}  // namespace TalvoInk
