// What a desktop entry (a ".desktop" file) says about starting its program, as the Desktop Entry
// Specification of freedesktop.org defines it. Private to this library. Not a reader of anything
// else that such a file holds.

#pragma once

#include <string>
#include <vector>

namespace TalvoOS {

struct DesktopEntry {
  std::vector<std::string> arguments;  // of the Exec line, the program first, as written there
  std::string directory;               // of the Path line; empty if there is none
};

// Reads the [Desktop Entry] group of the file at `path`. False for a file that can't be read as a
// regular file or has no Exec line that names a program by the rules of ParseExec.
bool ReadDesktopEntry(const std::string& path, DesktopEntry& entry);

// Takes an Exec value, as it stands in the file, apart. Arguments are separated by blanks; one in
// double quotes may hold blanks, and there a backslash takes the meaning from ", `, $ and \.
// Field codes, which stand for files to open, are dropped. False for a quote that is not closed,
// a field code that does not exist, and a line without a program.
bool ParseExec(const std::string& value, std::vector<std::string>& arguments);

}  // namespace TalvoOS
