#include "database/Sqlite.h"

namespace Inbox {
namespace {

constexpr int kPatienceMs = 5000;

// Enough for the statements of one program; a search makes its SQL from what is asked for.
constexpr std::size_t kMostIdle = 64;

}  // namespace

Connection::Connection(const std::string& path, Mode mode) : path_(path) {
  const int flags =
      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
      (mode == Mode::kWrite ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READWRITE);
  if (::sqlite3_open_v2(path.c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
    const std::string reason = handle_ != nullptr ? ::sqlite3_errmsg(handle_) : "out of memory";
    const int code = handle_ != nullptr ? ::sqlite3_extended_errcode(handle_) : SQLITE_NOMEM;
    ::sqlite3_close(handle_);
    throw SqliteError("can't open " + path + ": " + reason, code);
  }
  ::sqlite3_busy_timeout(handle_, kPatienceMs);
  // A reader of a database that is written to needs the right to write for its locks.
  if (mode == Mode::kRead) Execute("PRAGMA query_only = ON");
}

Connection::~Connection() {
  for (const auto& [sql, statement] : idle_) ::sqlite3_finalize(statement);
  ::sqlite3_close_v2(handle_);
}

void Connection::Fail(const std::string& doing) const {
  const int code = ::sqlite3_extended_errcode(handle_);
  throw SqliteError("can't " + doing + " " + path_ + ": " + ::sqlite3_errmsg(handle_), code);
}

void Connection::Execute(const char* sql) {
  if (::sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail("change");
}

std::int64_t Connection::Number(const char* sql) {
  Query query(*this, sql);
  return query.Step() ? query.Number(0) : 0;
}

sqlite3_stmt* Connection::Take(std::string_view sql) {
  const auto found = idle_.find(sql);
  if (found != idle_.end()) {
    sqlite3_stmt* const statement = found->second;
    idle_.erase(found);
    return statement;
  }
  sqlite3_stmt* statement = nullptr;
  if (::sqlite3_prepare_v2(handle_, sql.data(), static_cast<int>(sql.size()), &statement,
                           nullptr) != SQLITE_OK) {
    Fail("ask");
  }
  return statement;
}

void Connection::GiveBack(std::string_view sql, sqlite3_stmt* statement) {
  ::sqlite3_reset(statement);
  ::sqlite3_clear_bindings(statement);
  if (idle_.size() < kMostIdle) {
    idle_.emplace(sql, statement);
  } else {
    ::sqlite3_finalize(statement);
  }
}

void Query::Bind(int index, std::int64_t value) {
  if (::sqlite3_bind_int64(statement_, index, value) != SQLITE_OK) connection_.Fail("ask");
}

void Query::Bind(int index, const std::string& text) {
  if (::sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8) != SQLITE_OK) {
    connection_.Fail("ask");
  }
}

void Query::Bind(int index, const Bytes& value) {
  if (::sqlite3_bind_blob64(statement_, index, value.bytes.data(), value.bytes.size(),
                            SQLITE_STATIC) != SQLITE_OK) {
    connection_.Fail("ask");
  }
}

bool Query::Step() {
  const int result = ::sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) {
    connection_.Fail(::sqlite3_stmt_readonly(statement_) != 0 ? "read" : "write to");
  }
  return false;
}

void Query::Run() {
  while (Step()) {
  }
}

std::string Query::Text(int column) const {
  const void* const bytes = ::sqlite3_column_blob(statement_, column);
  const int size = ::sqlite3_column_bytes(statement_, column);
  return bytes == nullptr
             ? std::string()
             : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

Transaction::~Transaction() {
  if (!is_open_) return;
  try {
    connection_.Execute("ROLLBACK");
  } catch (const SqliteError&) {
    // SQLite rolls back by itself after some failures, a full disk for one.
  }
}

void Transaction::Commit() {
  connection_.Execute("COMMIT");
  is_open_ = false;
}

}  // namespace Inbox
