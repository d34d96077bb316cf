// SQLite as this program uses it: connections, statements and transactions that clean up after
// themselves. Not a mapping of objects: every query is SQL, beside the function that asks it.
//
// A connection and what was made with it belong to one thread at a time.

#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Inbox {

// What SQLite refused, with its reason: "can't write to /home/ada/...: disk is full".
class SqliteError : public std::runtime_error {
 public:
  SqliteError(const std::string& message, int code) : std::runtime_error(message), code_(code) {}

  // SQLite's extended result code.
  int code() const { return code_; }

 private:
  int code_;
};

class Connection {
 public:
  enum class Mode {
    kWrite,  // makes the file if it is missing
    kRead,   // sees each transaction of others once it is committed, and is never blocked by them
  };

  // Opens the file at `path`. Waits up to 5 s for the lock of another process. Throws SqliteError.
  Connection(const std::string& path, Mode mode);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Runs statements that return nothing. Throws SqliteError.
  void Execute(const char* sql);

  // The first column of the first row, 0 if there is none.
  std::int64_t Number(const char* sql);

  std::int64_t last_id() const { return ::sqlite3_last_insert_rowid(handle_); }
  bool is_in_transaction() const { return ::sqlite3_get_autocommit(handle_) == 0; }
  int changes() const { return ::sqlite3_changes(handle_); }
  const std::string& path() const { return path_; }

 private:
  friend class Query;
  sqlite3_stmt* Take(std::string_view sql);
  void GiveBack(std::string_view sql, sqlite3_stmt* statement);
  [[noreturn]] void Fail(const std::string& doing) const;

  const std::string path_;
  sqlite3* handle_ = nullptr;
  std::multimap<std::string, sqlite3_stmt*, std::less<>> idle_;  // prepared, and in nobody's use
};

// A statement on its way: bound, stepped through, and given back to its connection at the end.
//
//   Query query(connection, "SELECT id, address FROM pages WHERE pen = ?", pen);
//   while (query.Step()) Use(query.Number(0), query.Text(1));
class Query {
 public:
  Query(Connection& connection, std::string_view sql)
      : connection_(connection), sql_(sql), statement_(connection.Take(sql)) {}
  // Delegates: a value that can't be bound gives the statement back, as any end does.
  template <typename... Values>
  Query(Connection& connection, std::string_view sql, const Values&... values)
      : Query(connection, sql) {
    int index = 0;
    (Bind(++index, values), ...);
  }
  ~Query() { connection_.GiveBack(sql_, statement_); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // Parameters count from 1. Text and bytes must outlive the last step.
  void Bind(int index, std::int64_t value);
  void Bind(int index, int value) { Bind(index, std::int64_t{value}); }
  void Bind(int index, const std::string& text);
  void Bind(int index, const char* text) = delete;  // would bind a temporary
  struct Bytes {
    const std::string& bytes;
  };
  void Bind(int index, const Bytes& value);

  // Goes to the next row; false if there is none. Throws SqliteError.
  bool Step();

  // Steps through to the end.
  void Run();

  // Columns of the row, from 0.
  std::int64_t Number(int column) const { return ::sqlite3_column_int64(statement_, column); }
  bool IsNull(int column) const { return ::sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  std::string Text(int column) const;  // or bytes

 private:
  Connection& connection_;
  const std::string sql_;
  sqlite3_stmt* const statement_;
};

// A transaction that is rolled back unless it was committed. It has the writer's lock from its
// beginning, so that no statement in it fails since another process writes.
class Transaction {
 public:
  explicit Transaction(Connection& connection) : connection_(connection) {
    connection_.Execute("BEGIN IMMEDIATE");
  }
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // On return the changes would survive a power cut. Throws SqliteError; then nothing is changed.
  void Commit();

 private:
  Connection& connection_;
  bool is_open_ = true;
};

}  // namespace Inbox
