#include "database/Sqlite.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "support/TestRoot.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

class SqliteTest : public testing::Test {
 protected:
  SqliteTest() { connection_.Execute("CREATE TABLE notes(id INTEGER PRIMARY KEY, text UNIQUE)"); }

  void Add(const std::string& text) {
    Query(connection_, "INSERT INTO notes(text) VALUES(?)", text).Run();
  }
  std::int64_t Count() { return connection_.Number("SELECT count(*) FROM notes"); }

  const TestRoot root_;
  const std::string path_ = (root_.path() / "notes.db").string();
  Connection connection_{path_, Connection::Mode::kWrite};
};

// The refusal of `work`.
template <typename Work>
SqliteError ErrorOf(const Work& work) {
  try {
    work();
  } catch (const SqliteError& error) {
    return error;
  }
  return SqliteError("none", 0);
}

}  // namespace

TEST_F(SqliteTest, AFileThatCantBeOpenedIsNamedWithTheReason) {
  const std::string path = (root_.path() / "missing/notes.db").string();
  const SqliteError error = ErrorOf([&] { Connection(path, Connection::Mode::kWrite); });
  EXPECT_EQ(error.what(), "can't open " + path + ": unable to open database file");
  EXPECT_EQ(error.code() & 0xFF, SQLITE_CANTOPEN);
}

TEST_F(SqliteTest, AReaderMakesNoFile) {
  const std::string path = (root_.path() / "new.db").string();
  EXPECT_THROW(Connection(path, Connection::Mode::kRead), SqliteError);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(SqliteTest, AReaderChangesNothing) {
  Connection reader(path_, Connection::Mode::kRead);
  EXPECT_THROW(reader.Execute("DELETE FROM notes"), SqliteError);
  const SqliteError error =
      ErrorOf([&] { Query(reader, "INSERT INTO notes(text) VALUES('x')").Run(); });
  EXPECT_THAT(error.what(), HasSubstr("can't write to " + path_ + ": "));
}

TEST_F(SqliteTest, AReaderSeesWhatIsCommitted) {
  connection_.Execute("PRAGMA journal_mode = WAL");
  Connection reader(path_, Connection::Mode::kRead);
  Transaction transaction(connection_);
  Add("one");
  EXPECT_EQ(reader.Number("SELECT count(*) FROM notes"), 0);
  transaction.Commit();
  EXPECT_EQ(reader.Number("SELECT count(*) FROM notes"), 1);
}

TEST_F(SqliteTest, ANumberOfNothingIsZero) {
  EXPECT_EQ(connection_.Number("SELECT id FROM notes"), 0);
}

TEST_F(SqliteTest, TextAndBytesHoldAnything) {
  const std::string bytes("a\0\xFF'", 4);
  Query query(connection_, "SELECT ?, ?, ?, length(?2)", bytes, Query::Bytes{bytes}, -5);
  ASSERT_TRUE(query.Step());
  EXPECT_EQ(query.Text(0), bytes);
  EXPECT_EQ(query.Text(1), bytes);
  EXPECT_EQ(query.Number(2), -5);
  EXPECT_EQ(query.Number(3), 4);
}

TEST_F(SqliteTest, NothingIsNullAndEmptyText) {
  Query query(connection_, "SELECT NULL, ''");
  ASSERT_TRUE(query.Step());
  EXPECT_TRUE(query.IsNull(0));
  EXPECT_EQ(query.Text(0), "");
  EXPECT_FALSE(query.IsNull(1));
}

// Statements are kept for the next time, but one that is in use is not lent again.
TEST_F(SqliteTest, AStatementMayRunInsideItself) {
  Add("one");
  Add("two");
  const char* const kAll = "SELECT text FROM notes WHERE id >= ? ORDER BY id";
  std::string seen;
  Query outer(connection_, kAll, 1);
  while (outer.Step()) {
    Query inner(connection_, kAll, 2);
    while (inner.Step()) seen += outer.Text(0) + "/" + inner.Text(0) + " ";
  }
  EXPECT_EQ(seen, "one/two two/two ");
}

TEST_F(SqliteTest, AStatementForgetsWhatWasBoundBefore) {
  const char* const kEcho = "SELECT ?";
  {
    Query query(connection_, kEcho, 7);
    ASSERT_TRUE(query.Step());
  }
  Query again(connection_, kEcho);
  ASSERT_TRUE(again.Step());
  EXPECT_TRUE(again.IsNull(0));
}

TEST_F(SqliteTest, WhatIsNoSqlIsRefused) {
  const SqliteError error = ErrorOf([&] { Query(connection_, "SELECT nonsense FROM notes"); });
  EXPECT_EQ(error.what(), "can't ask " + path_ + ": no such column: nonsense");
  EXPECT_THROW(connection_.Execute("nonsense"), SqliteError);
  EXPECT_THROW(Query(connection_, "SELECT 1", 5), SqliteError);  // nothing to bind it to
}

TEST_F(SqliteTest, ABrokenRuleHasTheExtendedCode) {
  Add("one");
  const SqliteError error = ErrorOf([&] { Add("one"); });
  EXPECT_EQ(error.code(), SQLITE_CONSTRAINT_UNIQUE);
  EXPECT_EQ(error.what(), "can't write to " + path_ + ": UNIQUE constraint failed: notes.text");
  EXPECT_EQ(Count(), 1);
}

TEST_F(SqliteTest, ATransactionThatIsNotCommittedIsTakenBack) {
  {
    Transaction transaction(connection_);
    Add("one");
    EXPECT_TRUE(connection_.is_in_transaction());
  }
  EXPECT_FALSE(connection_.is_in_transaction());
  EXPECT_EQ(Count(), 0);
  {
    Transaction transaction(connection_);
    Add("one");
    transaction.Commit();
    EXPECT_FALSE(connection_.is_in_transaction());
  }
  EXPECT_EQ(Count(), 1);
}

TEST_F(SqliteTest, ATransactionHasTheWritersLockFromItsBeginning) {
  const Transaction transaction(connection_);
  Connection other(path_, Connection::Mode::kWrite);
  other.Execute("PRAGMA busy_timeout = 0");
  const SqliteError error = ErrorOf([&] { Transaction another(other); });
  EXPECT_EQ(error.code() & 0xFF, SQLITE_BUSY);
}
