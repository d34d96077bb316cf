#include "database/Database.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>

#include "Inks.h"
#include "support/Machine.h"

using namespace Inbox;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class DatabaseTest : public InboxFixture {
 protected:
  std::string WhyNot(const std::string& directory) {
    try {
      Database database(directory);
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  int ModeOf(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 0777) : -1;
  }
};

}  // namespace

TEST_F(DatabaseTest, LiesBelowTheRootInTheHome) {
  EXPECT_EQ(DataDirectory(), (root_.home() / ".local/share/quillpost").string());
  EXPECT_EQ(ModeOf(directory_), 0700);
}

TEST_F(DatabaseTest, LiesWhereTheDesktopSaysBelowTheRoot) {
  ::setenv("XDG_DATA_HOME", "/data", 1);
  const std::string there = DataDirectory();
  ::setenv("XDG_DATA_HOME", "relative", 1);
  const std::string ignored = DataDirectory();
  ::unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(there, (root_.path() / "data/quillpost").string());
  EXPECT_EQ(ignored, directory_);
}

TEST_F(DatabaseTest, SyncsEachCommitToALog) {
  EXPECT_EQ(connection_->Number("PRAGMA synchronous"), 2);
  Query mode(*connection_, "PRAGMA journal_mode");
  ASSERT_TRUE(mode.Step());
  EXPECT_EQ(mode.Text(0), "wal");
}

TEST_F(DatabaseTest, OpensAgainWithWhatWasKept) {
  Keep(InkOf("1.2.3.4"));
  const Database again(directory_);
  Catalogue catalogue(*connection_);
  EXPECT_TRUE(catalogue.FindPage(1));
}

TEST_F(DatabaseTest, WhatIsNoDatabaseIsRefused) {
  const std::string other = directory_ + "/other";
  MakeDataDirectory(other);
  WriteFile(other + "/inbox.db", std::string(5000, 'x'));
  EXPECT_THAT(WhyNot(other), HasSubstr("file is not a database"));
  EXPECT_EQ(ReadFile(other + "/inbox.db"), std::string(5000, 'x'));
}

TEST_F(DatabaseTest, DamageIsFound) {
  for (int i = 0; i < 200; ++i) Keep(InkOf("1.2.3.4", static_cast<std::uint64_t>(i) + 1));
  EXPECT_EQ(database_.FindDamage(), "");
  connection_->Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  connection_.reset();
  std::fstream file(database_.path(), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(5 * 4096);
  file << std::string(4096 * 4, '\xA5');
  file.close();
  EXPECT_NE(database_.FindDamage(), "");
}

TEST_F(DatabaseTest, ABackupHoldsEverythingAndIsPrivate) {
  Keep(InkOf("1.2.3.4"));
  const std::string copy = root_.path().string() + "/copy/inbox.db";
  MakeDataDirectory(root_.path().string() + "/copy");
  database_.BackUp(copy);
  EXPECT_EQ(ModeOf(copy), 0600);
  const Database restored(root_.path().string() + "/copy");
  const auto connection = restored.OpenReader();
  EXPECT_TRUE(Catalogue(*connection).LoadInk(1));
}

TEST_F(DatabaseTest, ABackupThatIsPutBackSyncsEachCommitToALog) {
  const std::string other = (root_.path() / "other").string();
  MakeDataDirectory(other);
  database_.BackUp(other + "/inbox.db");
  const auto connection = Database(other).OpenWriter();
  Query mode(*connection, "PRAGMA journal_mode");
  ASSERT_TRUE(mode.Step());
  EXPECT_EQ(mode.Text(0), "wal");
}

TEST_F(DatabaseTest, ABackupReplacesNoFile) {
  const std::string there = root_.path().string() + "/there";
  WriteFile(there, "mine");
  EXPECT_THROW(database_.BackUp(there), std::runtime_error);
  EXPECT_EQ(ReadFile(there), "mine");
  EXPECT_THROW(database_.BackUp(root_.path().string() + "/nowhere/copy"), std::runtime_error);
}

TEST_F(DatabaseTest, ABackupThatFindsNoRoomLeavesNothing) {
  for (int i = 0; i < 300; ++i) Keep(InkOf("1.2.3.4", static_cast<std::uint64_t>(i) + 1));
  const auto full = root_.path() / "full";
  Disk disk(full, "size=64k");
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount a file system";
  EXPECT_THROW(database_.BackUp((full / "copy").string()), std::runtime_error);
  EXPECT_TRUE(HoldsNothing(full));
}

TEST_F(DatabaseTest, AFullDiskChangesNothingAndIsGoneWithItsCause) {
  const auto full = root_.path() / "full";
  Disk disk(full, "size=1m");
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount a file system";
  const Database database(full.string());
  const auto connection = database.OpenWriter();
  disk.Fill();
  std::string reason;
  const auto keep = [&](int number) {
    Transaction transaction(*connection);
    Keeper(*connection).Keep({InkOf("1.2.3.4", static_cast<std::uint64_t>(number)), "", ""}, 1);
    transaction.Commit();
  };
  try {
    for (int i = 1; i < 100; ++i) keep(i);
  } catch (const SqliteError& error) {
    reason = error.what();
  }
  EXPECT_THAT(reason, HasSubstr("full")) << reason;
  const std::int64_t before = connection->Number("SELECT count(*) FROM strokes");
  disk.Free();
  keep(1000);
  EXPECT_EQ(connection->Number("SELECT count(*) FROM strokes"), before + 1);
  EXPECT_EQ(database.FindDamage(), "");
}
