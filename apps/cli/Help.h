// How the programs print their help, and what is wrong with a command line. Not the command lines
// themselves: each program declares its own.

#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

// The widest line of a help, in columns.
inline constexpr std::size_t kHelpColumns = 80;

// Gives a program, which has its name by now, the options --help and --version. The lines of the
// help fit: descriptions of options are wrapped. What stands before the options is printed as it
// is. In the list of commands each has the first line of its description.
void DeclareHelpAndVersion(CLI::App& app);

// What there is to say after parsing threw: prints the help or the version that was asked for and
// returns 0, or one line on standard error that begins with the program's name, tells what is
// wrong, suggests a word if one is nearly right, and returns 2.
int FinishParsing(const CLI::App& app, const CLI::ParseError& error);

// The one of `known` that differs least from `word`, if it is likely to be meant; empty otherwise.
std::string FindSimilar(const std::string& word, const std::vector<std::string>& known);
