#include "stream/PartSets.h"

namespace Inbox {

std::optional<std::string> PartSets::Add(const Stream::IncomingInk& ink, std::int64_t time_ms) {
  const std::string bytes(ink.bytes);
  const auto part = static_cast<std::int64_t>(ink.part);
  const auto parts = static_cast<std::int64_t>(ink.parts);
  Query(connection_,
        "INSERT OR IGNORE INTO parts(whole, parts, part, pen, page, bytes, time)"
        " VALUES(?, ?, ?, ?, ?, ?, ?)",
        ink.whole, parts, part, ink.pen, ink.page, Query::Bytes{bytes}, time_ms)
      .Run();
  {
    Query count(connection_, "SELECT count(*) FROM parts WHERE whole = ? AND parts = ?", ink.whole,
                parts);
    count.Step();
    if (count.Number(0) < parts) return std::nullopt;
  }
  std::string whole;
  {
    Query all(connection_, "SELECT bytes FROM parts WHERE whole = ? AND parts = ? ORDER BY part",
              ink.whole, parts);
    while (all.Step()) whole += all.Text(0);
  }
  ForgetWhole(ink.whole);  // also what came of the same ink cut in another way
  return whole;
}

void PartSets::ForgetWhole(const std::string& whole) {
  Query(connection_, "DELETE FROM parts WHERE whole = ?", whole).Run();
}

void PartSets::Forget(const Stream::IncomingInk& ink) {
  // Most ink has no parts, and needs no identity.
  Query any(connection_, "SELECT 1 FROM parts WHERE pen = ? AND page = ?", ink.pen, ink.page);
  if (!any.Step()) return;
  ForgetWhole(Stream::IdentityOf(ink.pen, ink.page, ink.bytes));
}

std::vector<PartSets::Incomplete> PartSets::FindIncomplete() {
  constexpr std::int64_t kAlways = INT64_MAX;
  return FindUntouchedSince(kAlways);
}

std::vector<PartSets::Incomplete> PartSets::GiveUp(std::int64_t since_ms) {
  const auto sets = FindUntouchedSince(since_ms);
  for (const Incomplete& set : sets) {
    Query(connection_, "DELETE FROM parts WHERE whole = ? AND parts = ?", set.whole, set.parts)
        .Run();
  }
  return sets;
}

std::vector<PartSets::Incomplete> PartSets::FindUntouchedSince(std::int64_t since_ms) {
  std::vector<Incomplete> sets;
  Query query(connection_,
              "SELECT whole, pen, page, count(*), parts FROM parts GROUP BY whole, parts"
              " HAVING max(time) < ?",
              since_ms);
  while (query.Step()) {
    sets.push_back({query.Text(0), query.Text(1), query.Text(2), query.Number(3), query.Number(4)});
  }
  return sets;
}

}  // namespace Inbox
