// What a program's help says, what shells complete, and what its manual page tells: tests hold them
// against each other. bash is there on every machine; scripts/install-deps brings fish and groff.

#pragma once

#include <set>
#include <string>
#include <vector>

#include "support/TestRoot.h"

using Words = std::set<std::string>;

// The long options in the help of `command`, which begins with the program.
Words OptionsInHelp(std::vector<std::string> command);

// What bash offers for the last of the words behind the program, by the function that `file`
// declares.
Words CompletedByBash(const std::string& file, const std::string& function,
                      const std::string& program, const std::vector<std::string>& words);

// What fish offers for a line behind the program.
Words CompletedByFish(const std::string& file, const std::string& program, const std::string& line,
                      const TestRoot& root);

// The source of a manual page without its backslashes.
std::string ManualText(const std::string& file);

// What groff has to say against the page; empty for a sound one.
std::string FaultsOfManual(const std::string& file);
