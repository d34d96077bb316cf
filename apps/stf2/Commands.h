// What the tool does, command by command. Each works through its files one by one, prints one line
// with one status for each ("FILE: Success, ..." on `out`, "FILE: Failed, REASON" on `err`), goes
// on after a failure, and answers 0 when all succeeded, 1 otherwise.

#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "InkMLReader.h"
#include "Render.h"

namespace InkTool {

struct Options {
  std::vector<std::string> inputs;
  std::string output;  // a file, a folder, or empty for beside the input
  bool force = false;  // replace what is there
  bool strict = false;
  bool json = false;
  std::string format;  // of the output; empty for what its name says
  InkMLOptions inkml;
  bool page_for_each_file = false;
  RenderOptions render;
  std::string key;  // a key's file
};

struct Streams {
  std::ostream& out;
  std::ostream& err;
};

int Info(const Options& options, Streams streams);
int Convert(const Options& options, Streams streams);
int Split(const Options& options, Streams streams);
int Merge(const Options& options, Streams streams);
int RenderFiles(const Options& options, Streams streams);
int KeyGen(const Options& options, Streams streams);
int Seal(const Options& options, Streams streams);
int Open(const Options& options, Streams streams);

}  // namespace InkTool
