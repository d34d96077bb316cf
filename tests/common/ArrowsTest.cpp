// Which folders of the service include which: common below all, service above all.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Includes.h"

namespace {

TEST(Arrows, NoFolderOfTheServiceNeedsOneThatNeedsIt) {
  const std::filesystem::path service = QUILLPOST_FOLDER;
  const auto needed = FoldersNeeded(service, service);
  EXPECT_EQ(needed.at(service / "storage").count(service / "common"), 1u);  // the arrows are seen
  EXPECT_THAT(FoldersInCycles(needed), testing::IsEmpty());
}

}  // namespace
