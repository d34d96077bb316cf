// The command line of quillpost: which commands and options there are, and their help. What the
// commands do is in Commands.h.

#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "Commands.h"

// All that a command line can say. `run` is what it asks for.
struct CommandLine {
  std::vector<std::string> words;  // the command line itself
  bool json = false;
  ImportOptions import_files;
  WatchOptions watch;
  bool is_live = false;
  ListenOptions listen;
  std::vector<std::string> checked_files;
  AddOptions add;
  std::string removed;
  std::function<int()> run;
  std::string missing = "a command";  // what to say if there is nothing to run
};

// Declares everything, to be filled into `line`, which must outlive the parsing and the run.
void DeclareCommands(CLI::App& app, CommandLine& line);

// Does for "help COMMAND..." what the parser does for "COMMAND... --help": the parser itself would
// carry the command out. False for any other command line. Throws CLI::ParseError if there is no
// such command.
bool ParseHelp(const CLI::App& app, CommandLine& line);
