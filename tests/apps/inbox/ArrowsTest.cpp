// Folders of the inbox stand on one another as its README says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Includes.h"

namespace {

TEST(InboxArrows, NoFolderNeedsOneThatNeedsIt) {
  const std::filesystem::path inbox = INBOX_FOLDER;
  const auto needed = FoldersNeeded(inbox, inbox);
  EXPECT_EQ(needed.at(inbox / "library").count(inbox / "database"), 1u);  // the arrows are seen
  EXPECT_THAT(FoldersInCycles(needed), testing::IsEmpty());
}

}  // namespace
