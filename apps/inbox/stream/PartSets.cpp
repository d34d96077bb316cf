#include "stream/PartSets.h"

namespace Inbox {

std::optional<std::string> PartSets::Add(const Stream::IncomingInk& ink) {
  const std::string bytes(ink.bytes);
  const auto part = static_cast<std::int64_t>(ink.part);
  const auto parts = static_cast<std::int64_t>(ink.parts);
  Query(connection_,
        "INSERT OR IGNORE INTO parts(whole, parts, part, pen, page, bytes)"
        " VALUES(?, ?, ?, ?, ?, ?)",
        ink.whole, parts, part, ink.pen, ink.page, Query::Bytes{bytes})
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
  // Also what came of the same ink cut in another way.
  Query(connection_, "DELETE FROM parts WHERE whole = ?", ink.whole).Run();
  return whole;
}

std::vector<PartSets::Incomplete> PartSets::FindIncomplete() {
  std::vector<Incomplete> sets;
  Query query(connection_, "SELECT pen, page, count(*), parts FROM parts GROUP BY whole, parts");
  while (query.Step()) {
    sets.push_back({query.Text(0), query.Text(1), query.Number(2), query.Number(3)});
  }
  return sets;
}

}  // namespace Inbox
