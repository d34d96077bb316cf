// The command line of quillpostd.

#pragma once

#include <string>

struct Options {
  int log_level = 3;
  std::string log_file;  // empty: standard error
};

// Reads the command line. Returns -1 if the program is to go on, and otherwise the status that
// it is to exit with immediately: 0 after the help or the version has been printed, 2 after a line
// on standard error that says what is wrong.
int ParseOptions(int argc, char** argv, Options& options);
