// What the sources of ink/ include: the platform and ink itself, so that every program can stand on
// them. The service is built beside it and the tool above it; neither may be needed down here.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/Includes.h"

namespace {

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
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
  for (const auto& source : SourcesBelow(INK_FOLDER)) {
    for (const std::string& include : IncludesOf(source)) {
      EXPECT_TRUE(IsAllowed(include)) << source << " includes " << include;
      ++includes;
    }
  }
  EXPECT_GT(includes, 100);
}

TEST(Arrows, NoFolderOfInkNeedsOneThatNeedsIt) {
  const std::filesystem::path ink = INK_FOLDER;
  const auto needed = FoldersNeeded(ink.parent_path(), ink);
  EXPECT_EQ(needed.at(ink / "file").count(ink / "inkml"), 1u);  // the arrows are seen
  EXPECT_THAT(FoldersInCycles(needed), testing::IsEmpty());
}

}  // namespace
