#include "database/Catalogue.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <sstream>
#include <utility>

#include "ink/Stf2File.h"

namespace Inbox {
namespace {

constexpr char kPageColumns[] =
    "SELECT pages.id, serial, address, coalesce(title, ''), kind, reason, revision, arrived,"
    " coalesce(since, 0), strokes, points, first, last, x, y, width, height"
    " FROM pages JOIN pens ON pens.id = pages.pen"
    " LEFT JOIN titles ON titles.page = pages.id LEFT JOIN trash ON trash.page = pages.id";

PageRow ReadRow(const Query& query) {
  PageRow row;
  row.id = query.Number(0);
  row.pen = query.Text(1);
  row.address = query.Text(2);
  row.title = query.Text(3);
  row.kind = static_cast<PageKind>(query.Number(4));
  row.reason = query.Text(5);
  row.revision = query.Number(6);
  row.arrived_ms = query.Number(7);
  row.trashed_ms = query.Number(8);
  PageSummary& summary = row.summary;
  summary.strokes = query.Number(9);
  summary.points = query.Number(10);
  summary.first_ms = query.Number(11);
  summary.last_ms = query.Number(12);
  summary.paper = {query.Number(13), query.Number(14), query.Number(15), query.Number(16)};
  return row;
}

// The text as a pattern of LIKE with the escape character "\".
std::string LikePattern(const std::string& text) {
  std::string pattern = "%";
  for (const char c : text) {
    if (c == '%' || c == '_' || c == '\\') pattern += '\\';
    pattern += c;
  }
  return pattern + "%";
}

// The page range as a pattern of GLOB, in which only the star may mean something.
std::string GlobPattern(const std::string& address) {
  std::string pattern;
  for (const char c : address) {
    if (c == '?' || c == '[') {
      pattern += std::string("[") + c + "]";
    } else {
      pattern += c;
    }
  }
  return pattern;
}

}  // namespace

bool ComesBefore(const PageRow& page, const PageRow& other) {
  if (page.pen != other.pen) return page.pen < other.pen;
  // A number of more digits is larger, without a limit to how many there are.
  const auto numbers = [](const std::string& address) {
    std::vector<std::pair<std::size_t, std::string>> fields;
    std::istringstream text(address);
    for (std::string field; std::getline(text, field, '.');) {
      field.erase(0, field.find_first_not_of('0'));
      fields.emplace_back(field.size(), field);
    }
    return fields;
  };
  return numbers(page.address) < numbers(other.address);
}

std::vector<PageRow> Catalogue::Find(const PageQuery& asked, bool& has_more) {
  std::string sql = std::string(kPageColumns) + " WHERE is_trashed = ?1";
  sql += asked.pen.empty() ? " AND ?2 = ''"
                           : " AND pages.pen = (SELECT id FROM pens WHERE serial = ?2)";
  if (asked.after_id != 0) sql += " AND (arrived, pages.id) < (?3, ?4)";
  if (!asked.address.empty()) sql += " AND address GLOB ?5";
  if (!asked.text.empty()) {
    // Pens and titles are few: they are looked through once, and not for each page.
    sql +=
        " AND (address LIKE ?6 ESCAPE '\\'"
        " OR pages.id IN (SELECT page FROM titles WHERE title LIKE ?6 ESCAPE '\\')"
        " OR pages.pen IN (SELECT id FROM pens WHERE serial LIKE ?6 ESCAPE '\\'))";
  }
  if (asked.from_ms != 0) sql += " AND (CASE last WHEN 0 THEN arrived ELSE last END) >= ?7";
  if (asked.to_ms != 0) sql += " AND (CASE first WHEN 0 THEN arrived ELSE first END) <= ?8";
  sql += " ORDER BY arrived DESC, pages.id DESC LIMIT ?9";
  const std::string text = LikePattern(asked.text), address = GlobPattern(asked.address);
  Query query(connection_, sql);
  query.Bind(1, asked.is_trash ? 1 : 0);
  query.Bind(2, asked.pen);
  if (asked.after_id != 0) {
    query.Bind(3, asked.after_arrived_ms);
    query.Bind(4, asked.after_id);
  }
  if (!asked.address.empty()) query.Bind(5, address);
  if (!asked.text.empty()) query.Bind(6, text);
  if (asked.from_ms != 0) query.Bind(7, asked.from_ms);
  if (asked.to_ms != 0) query.Bind(8, asked.to_ms);
  query.Bind(9, asked.limit + 1);
  std::vector<PageRow> rows;
  while (query.Step()) rows.push_back(ReadRow(query));
  has_more = rows.size() > static_cast<std::size_t>(asked.limit);
  if (has_more) rows.pop_back();
  return rows;
}

std::optional<PageRow> Catalogue::FindPage(std::int64_t page) {
  Query query(connection_, std::string(kPageColumns) + " WHERE pages.id = ?", page);
  if (!query.Step()) return std::nullopt;
  return ReadRow(query);
}

std::optional<StoredInk> Catalogue::LoadInk(std::int64_t page) {
  // One transaction, so that the ids are those of the ink that is read.
  connection_.Execute("BEGIN");
  const auto end = [this](void*) { connection_.Execute("ROLLBACK"); };
  const std::unique_ptr<void, decltype(end)> ending(this, end);
  const auto row = FindPage(page);
  if (!row) return std::nullopt;
  StoredInk stored;
  stored.row = *row;
  TalvoInk::Ink all;
  Query packages(connection_, "SELECT bytes FROM packages WHERE page = ? ORDER BY id", page);
  while (packages.Step()) {
    std::string bytes = packages.Text(0);
    if (row->kind != PageKind::kInk) {
      stored.closed = std::move(bytes);
      continue;
    }
    TalvoInk::Ink part = TalvoInk::ReadStf2(bytes);
    stored.ink.pen = part.pen;
    std::move(part.items.begin(), part.items.end(), std::back_inserter(all.items));
  }
  TalvoInk::Append(stored.ink, std::move(all));
  Query strokes(connection_, "SELECT id FROM strokes WHERE page = ? ORDER BY id", page);
  while (strokes.Step()) stored.strokes.push_back(strokes.Number(0));
  return stored;
}

std::vector<PenRow> Catalogue::Pens() {
  Query query(connection_,
              "SELECT serial, (SELECT count(*) FROM pages WHERE pen = pens.id AND is_trashed = 0)"
              " AS number FROM pens WHERE number > 0 ORDER BY number DESC, serial");
  std::vector<PenRow> pens;
  while (query.Step()) pens.push_back({query.Text(0), query.Number(1)});
  return pens;
}

Counts Catalogue::Count() {
  Counts counts;
  counts.trash = connection_.Number("SELECT count(*) FROM trash");
  counts.pages = connection_.Number("SELECT count(*) FROM pages WHERE is_trashed = 0");
  return counts;
}

std::string Catalogue::Setting(const std::string& name) {
  Query query(connection_, "SELECT value FROM settings WHERE name = ?", name);
  return query.Step() ? query.Text(0) : std::string();
}

std::int64_t Catalogue::LastChange() {
  return connection_.Number("SELECT coalesce(max(id), 0) FROM changes");
}

std::optional<std::vector<Change>> Catalogue::ChangesAfter(std::int64_t id, int limit) {
  const std::int64_t first = connection_.Number("SELECT coalesce(min(id), 0) FROM changes");
  if (id > LastChange() || (first != 0 && id < first - 1)) return std::nullopt;
  Query query(connection_,
              "SELECT id, page, kind, stroke FROM changes WHERE id > ? ORDER BY id LIMIT ?", id,
              limit);
  std::vector<Change> changes;
  while (query.Step()) {
    changes.push_back({query.Number(0), query.Number(1), static_cast<ChangeKind>(query.Number(2)),
                       query.Number(3)});
  }
  return changes;
}

}  // namespace Inbox
