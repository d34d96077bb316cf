#include "common/ScratchFile.h"

#include <gtest/gtest.h>

#include "common/Common.h"
#include "support/TestRoot.h"

using TalvoQuillpost::Common::CreateTempSTF2File;
using TalvoQuillpost::Common::ScratchFile;

namespace fs = boost::filesystem;

TEST(ScratchFile, IsRemovedAtTheEndOfItsScope) {
  TestRoot root;
  fs::path path;
  {
    ScratchFile file;
    ASSERT_TRUE(CreateTempSTF2File(file.out()));
    path = file.path();
    EXPECT_TRUE(fs::exists(path));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(ScratchFile, StaysWhenItWasHandedOver) {
  TestRoot root;
  fs::path path;
  {
    ScratchFile file;
    ASSERT_TRUE(CreateTempSTF2File(file.out()));
    path = file.path();
    file.HandOver();
  }
  EXPECT_TRUE(fs::exists(path));
}

TEST(ScratchFile, OwnsAFileThatIsThereAlready) {
  TestRoot root;
  const fs::path path = root.path() / "file";
  WriteFile(path, "ink");
  { const ScratchFile file(path); }
  EXPECT_FALSE(fs::exists(path));
}

TEST(ScratchFile, BearsAFileThatIsGone) {
  TestRoot root;
  const ScratchFile file(root.path() / "gone");
  fs::remove(file.path());
  EXPECT_FALSE(fs::exists(file.path()));
}
