// The command line of the ink tool.

#pragma once

#include <string>
#include <vector>

#include "Commands.h"

namespace InkTool {

// Does what the arguments (without the program's name) say. Answers the exit status: 0 done, 1 a
// file was refused or failed, 2 wrong usage.
int RunTool(const std::vector<std::string>& arguments, Streams streams);

}  // namespace InkTool
