// Where a file that the STF2 library refuses is damaged. The library answers for a whole buffer;
// a user wants to know how far it is sound.

#pragma once

#include <string>

namespace InkTool {

// What is wrong with a malformed file and where: "item 12: ..." for the first item that is not well
// formed, "header: ..." where the list of items can't be reached, "items: ..." where every item is
// well formed by itself. Never reads outside the bytes.
std::string FaultOf(const std::string& bytes);

}  // namespace InkTool
