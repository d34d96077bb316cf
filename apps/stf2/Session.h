// One call of the tool: the files that it works through, what it tells about each, and the status
// that it ends with.

#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Commands.h"
#include "Ink.h"
#include "Losses.h"

namespace InkTool {

class Session {
 public:
  Session(const Options& options, Streams streams) : options_(options), streams_(streams) {}

  // Does `work` for each input; it answers what the line of success says, empty for no line.
  void ForEachInput(const std::function<std::string(const std::string& file)>& work);

  // Does `work` once, for `name`.
  void Attempt(const std::string& name, const std::function<std::string()>& work);

  // The ink of an STF2 or InkML file. What reading it lost is said on `err`, or with --strict is a
  // refusal. Throws Refusal.
  Ink Load(const std::string& file, const InkMLOptions& inkml = {});

  // Writes one file unless this call has written one there before. Throws Refusal.
  void Save(const std::string& path, const std::string& bytes);

  // A line about a file on `err`.
  void Note(const std::string& file, const std::string& text);

  int status() const { return status_; }

 private:
  const Options& options_;
  Streams streams_;
  std::vector<std::string> written_;
  int status_ = 0;
};

// A name as it can stand in a line: control bytes as \xNN.
std::string OneLine(const std::string& text);

}  // namespace InkTool
