// What the sources of ink/ include: the platform and ink itself, so that every program can stand on
// them. The service is built beside it and the tool above it; neither may be needed down here.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestRoot.h"

namespace {

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

// The headers that a source includes, with their quotes or brackets.
std::vector<std::string> IncludesOf(const std::filesystem::path& file) {
  const std::string directive = "#include ";
  std::istringstream lines(ReadFile(file.string()));
  std::vector<std::string> includes;
  for (std::string line; std::getline(lines, line);) {
    if (StartsWith(line, directive)) includes.push_back(line.substr(directive.size()));
  }
  return includes;
}

bool IsAllowed(const std::string& include) {
  if (include[0] == '"') {
    return StartsWith(include, "\"ink/") || StartsWith(include, "\"stf2_generated.h\"");
  }
  return !StartsWith(include, "<TalvoQuillpost/") && !StartsWith(include, "<TalvoOS/") &&
         !StartsWith(include, "<IPC/");
}

TEST(Arrows, InkIncludesNothingOfTheServiceOrOfPrograms) {
  int includes = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(INK_FOLDER)) {
    const std::string extension = entry.path().extension();
    if (extension != ".h" && extension != ".cpp") continue;
    for (const std::string& include : IncludesOf(entry.path())) {
      EXPECT_TRUE(IsAllowed(include)) << entry.path() << " includes " << include;
      ++includes;
    }
  }
  EXPECT_GT(includes, 100);
}

}  // namespace
