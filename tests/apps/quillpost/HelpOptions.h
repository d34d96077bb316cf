// What the programs themselves say in their help, for tests of all that repeats it.

#pragma once

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/Process.h"

typedef std::set<std::string> Words;

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

// The long options that the help of a command lists, at the beginnings of lines.
inline Words OptionsInHelp(Line command) {
  command[0] = command[0] == "quillpost" ? QUILLPOST : QUILLPOSTD;
  command.push_back("--help");
  std::istringstream help(RunToEnd(command).output);
  Words options;
  for (std::string line; std::getline(help, line);) {
    const std::size_t begin = line.find("--");
    if (line.compare(0, 3, "  -") != 0 || begin == std::string::npos) continue;
    const std::size_t end = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", begin);
    options.insert(line.substr(begin, end - begin));
  }
  return options;
}
