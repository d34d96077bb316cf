// The ink tool called as a user calls it, in a folder of its own.

#pragma once

#include <json/json.h>

#include <boost/filesystem.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "support/TestRoot.h"

namespace InkTool {

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline Json::Value ParseJson(const std::string& text) {
  Json::Value value;
  std::istringstream stream(text);
  stream >> value;
  return value;
}

// A folder with the two samples as letter.inkml and note.inkml.
class ToolFolder {
 public:
  ToolFolder() {
    WriteFile(Path("letter.inkml"), ReadFile(SAMPLES_FOLDER "/handwriting.inkml"));
    WriteFile(Path("note.inkml"), ReadFile(SAMPLES_FOLDER "/note.inkml"));
  }

  std::string Path(const std::string& name) const { return (root_.path() / name).string(); }
  std::string Read(const std::string& name) const { return ReadFile(Path(name)); }
  void Write(const std::string& name, const std::string& bytes) const {
    WriteFile(Path(name), bytes);
  }

  // Runs the tool with `input` on its standard input; every "@NAME" is the path of that file. Paths
  // in the output are "@NAME" again.
  Outcome Run(const std::vector<std::string>& arguments, const std::string& input = "") const {
    std::vector<std::string> real;
    for (const std::string& argument : arguments) {
      real.push_back(argument[0] == '@' ? Path(argument.substr(1)) : argument);
    }
    std::istringstream in(input);
    std::ostringstream out, err;
    const int status = RunTool(real, {in, out, err});
    return {status, Shortened(out.str()), Shortened(err.str())};
  }

  // The names of all files, hidden ones included, folders with a "/" behind.
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : boost::filesystem::recursive_directory_iterator(root_.path())) {
      const std::string name = entry.path().string().substr(root_.path().string().size() + 1);
      names.insert(boost::filesystem::is_directory(entry.path()) ? name + "/" : name);
    }
    return names;
  }

 private:
  std::string Shortened(std::string text) const {
    const std::string folder = root_.path().string() + "/";
    for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder)) {
      text.replace(at, folder.size(), "@");
    }
    return text;
  }

  TestRoot root_;
};

}  // namespace InkTool
