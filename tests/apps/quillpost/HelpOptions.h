// What the programs themselves say in their help, for tests of all that repeats it.

#pragma once

#include <string>
#include <vector>

#include "support/Completions.h"

// A command line up to the cursor, as words.
typedef std::vector<std::string> Line;

inline const std::vector<Line> kCommands = {{"quillpost"},
                                            {"quillpost", "hello"},
                                            {"quillpost", "import"},
                                            {"quillpost", "watch"},
                                            {"quillpost", "listen"},
                                            {"quillpost", "status"},
                                            {"quillpost", "subscriptions"},
                                            {"quillpost", "subscriptions", "list"},
                                            {"quillpost", "subscriptions", "check"},
                                            {"quillpost", "subscriptions", "add"},
                                            {"quillpost", "subscriptions", "remove"},
                                            {"quillpostd"}};

inline std::string Join(const Line& line) {
  std::string joined;
  for (const std::string& word : line) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

// The long options that the help of a command lists.
inline Words OptionsOf(Line command) {
  command[0] = command[0] == "quillpost" ? QUILLPOST : QUILLPOSTD;
  return OptionsInHelp(command);
}
