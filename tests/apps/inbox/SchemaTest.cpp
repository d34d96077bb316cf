#include "database/Schema.h"

#include <gmock/gmock.h>

#include "Inks.h"

using namespace Inbox;

namespace {

class SchemaTest : public InboxFixture {
 protected:
  // A new file, as a program that knows the first `versions` alone leaves it.
  std::unique_ptr<Connection> OfVersion(std::size_t versions) {
    auto connection =
        std::make_unique<Connection>((root_.path() / "old.db").string(), Connection::Mode::kWrite);
    Migrate(*connection, {kMigrations.begin(), kMigrations.begin() + std::ptrdiff_t(versions)});
    return connection;
  }

  static std::string WhyNot(Connection& connection) {
    try {
      Migrate(connection);
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }
};

}  // namespace

TEST_F(SchemaTest, ANewFileGetsTheMarkAndTheVersion) {
  EXPECT_EQ(connection_->Number("PRAGMA application_id"), kFileMark);
  EXPECT_EQ(connection_->Number("PRAGMA user_version"), std::int64_t(kMigrations.size()));
}

TEST_F(SchemaTest, AFileOfThisVersionStaysAsItIs) {
  Keep(InkOf("1.2.3.4"));
  const std::int64_t version = connection_->Number("PRAGMA schema_version");
  Migrate(*connection_);
  EXPECT_EQ(connection_->Number("PRAGMA schema_version"), version);
  EXPECT_EQ(Count("strokes"), 1);
}

TEST_F(SchemaTest, TheFirstVersionIsBroughtUpToThisOne) {
  const auto connection = OfVersion(1);
  connection->Execute("INSERT INTO pens(serial) VALUES('0123-4567-89AB-CDEF')");
  Migrate(*connection);
  EXPECT_EQ(connection->Number("PRAGMA user_version"), std::int64_t(kMigrations.size()));
  EXPECT_EQ(connection->Number("SELECT count(*) FROM pens"), 1);
  EXPECT_EQ(connection->Number("SELECT count(*) FROM parts"), 0);
}

// Parts that waited under the second version are as good as new: the stream still has the rest.
TEST_F(SchemaTest, PartsOfTheSecondVersionGetTheTimeOfNow) {
  const auto connection = OfVersion(2);
  connection->Execute("INSERT INTO parts VALUES('whole', 2, 1, 'pen', 'page', x'01')");
  const std::int64_t before = NowMs() - 1000;
  Migrate(*connection);
  const std::int64_t time = connection->Number("SELECT time FROM parts");
  EXPECT_GE(time, before);
  EXPECT_LE(time, NowMs());
}

TEST_F(SchemaTest, AnOlderVersionIsBroughtUpWithItsInk) {
  Keep(InkOf("1.2.3.4"));
  std::vector<const char*> later = kMigrations;
  later.push_back("ALTER TABLE pens ADD COLUMN name TEXT NOT NULL DEFAULT 'unnamed'");
  Migrate(*connection_, later);
  EXPECT_EQ(connection_->Number("PRAGMA user_version"), std::int64_t(later.size()));
  Query pens(*connection_, "SELECT name FROM pens");
  ASSERT_TRUE(pens.Step());
  EXPECT_EQ(pens.Text(0), "unnamed");
}

TEST_F(SchemaTest, AMigrationThatFailsChangesNothing) {
  Keep(InkOf("1.2.3.4"));
  std::vector<const char*> later = kMigrations;
  later.push_back("DELETE FROM strokes; DELETE FROM nonsense");
  EXPECT_THROW(Migrate(*connection_, later), SqliteError);
  EXPECT_EQ(connection_->Number("PRAGMA user_version"), std::int64_t(kMigrations.size()));
  EXPECT_EQ(Count("strokes"), 1);
}

TEST_F(SchemaTest, ANewerFileIsRefusedAndNotTouched) {
  connection_->Execute("PRAGMA user_version = 1000");
  EXPECT_EQ(WhyNot(*connection_),
            connection_->path() +
                " was made by a newer quillpost-inbox (version 1000, this one "
                "knows 3); install that one again");
  EXPECT_EQ(connection_->Number("PRAGMA user_version"), 1000);
}

TEST_F(SchemaTest, AnotherProgramsFileIsRefusedAndNotTouched) {
  Connection stranger((root_.path() / "recipes.db").string(), Connection::Mode::kWrite);
  stranger.Execute("CREATE TABLE recipes(name TEXT)");
  EXPECT_EQ(WhyNot(stranger), stranger.path() + " is not the database of an inbox");
  EXPECT_EQ(stranger.Number("SELECT count(*) FROM sqlite_schema"), 1);
}

TEST_F(SchemaTest, APageIsThereOnceForEachPenAndAddress) {
  connection_->Execute("INSERT INTO pens(serial) VALUES('p')");
  const char* const page = "INSERT INTO pages(pen, address, kind, arrived) VALUES(1, 'a', 0, 0)";
  connection_->Execute(page);
  EXPECT_THROW(connection_->Execute(page), SqliteError);
  const char* const sealed = "INSERT INTO pages(pen, address, kind, arrived) VALUES(1, 'a', 1, 0)";
  connection_->Execute(sealed);
  connection_->Execute(sealed);  // each sealed package is a page
}
