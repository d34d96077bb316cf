// Ink that comes in several messages, kept in the database until all of them are here: so each part
// can be acknowledged when it is safe, parts may come in any order and more than once, and a set
// survives the end of the program.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "database/Sqlite.h"
#include "stream/InkMessage.h"

namespace Inbox {

class PartSets {
 public:
  // A set whose rest has not come.
  struct Incomplete {
    std::string whole;  // its identity
    std::string pen;
    std::string page;
    std::int64_t here = 0;
    std::int64_t parts = 0;
  };

  // Each function is a part of a transaction of the caller's, and throws SqliteError.
  explicit PartSets(Connection& connection) : connection_(connection) {}

  // Keeps the part, which the stream took at that time; with the last one missing returns the whole
  // ink and forgets its parts.
  std::optional<std::string> Add(const Stream::IncomingInk& ink, std::int64_t time_ms);

  // Forgets all parts of the whole with this identity.
  void ForgetWhole(const std::string& whole);

  // Forgets what came of ink that has come in one piece.
  void Forget(const Stream::IncomingInk& ink);

  std::vector<Incomplete> FindIncomplete();

  // Forgets sets of which the stream has taken nothing since that time, and returns them.
  std::vector<Incomplete> GiveUp(std::int64_t since_ms);

 private:
  std::vector<Incomplete> FindUntouchedSince(std::int64_t since_ms);

  Connection& connection_;
};

}  // namespace Inbox
