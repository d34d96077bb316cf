#include "database/Keeper.h"

#include <TalvoCppUtils/PenId.h>
#include <sodium.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "digest/Sha256.h"
#include "ink/InkError.h"
#include "ink/PageAddress.h"
#include "ink/SealedInfo.h"
#include "ink/Stf2File.h"

namespace Inbox {

using namespace TalvoInk;

namespace {

// At least so many changes are kept. A browser that missed more loads its pages anew.
constexpr std::int64_t kKeptChanges = 10000;

const char kEncryptedPage[] = "encrypted-stf2";

// The largest number of a page address; not used on printed paper.
const char kOwnSegment[] = "2147483647";

std::string Serial(std::uint64_t pen) {
  return TalvoCppUtils::PenId(pen).string();
}

// A page of ink, and what it shows so far.
struct InkPage {
  std::int64_t id = 0;
  PaperBox paper;
  std::int64_t first_ms = 0, last_ms = 0;  // 0 if no stroke has a time
};

std::optional<InkPage> FindInkPage(Connection& connection, std::int64_t pen,
                                   const std::string& address) {
  Query found(connection,
              "SELECT id, x, y, width, height, first, last FROM pages"
              " WHERE pen = ? AND address = ? AND kind = 0",
              pen, address);
  if (!found.Step()) return std::nullopt;
  return InkPage{found.Number(0),
                 {found.Number(1), found.Number(2), found.Number(3), found.Number(4)},
                 found.Number(5),
                 found.Number(6)};
}

// The strokes and points of the new ink alone, which are added to those of the page; times and
// paper of both together.
PageSummary SumUpWith(const InkPage& page, const Ink& ink) {
  PageSummary summary = SumUp(ink, page.paper);
  summary.paper = Join(summary.paper, page.paper);
  if (page.first_ms != 0)
    summary.first_ms =
        summary.first_ms == 0 ? page.first_ms : std::min(page.first_ms, summary.first_ms);
  summary.last_ms = std::max(page.last_ms, summary.last_ms);
  return summary;
}

}  // namespace

std::int64_t NowMs() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

bool Keeper::Keep(const Package& package, std::int64_t now_ms) {
  const std::string digest = Sha256Of(package.bytes);
  Query(connection_, "INSERT OR IGNORE INTO digests(sha256) VALUES(?)", Query::Bytes{digest}).Run();
  if (connection_.changes() == 0) return false;
  const std::int64_t id = connection_.last_id();
  if (const auto sealed = ReadSealedInfo(package.bytes)) {
    KeepClosed(PageKind::kSealed, "", Serial(sealed->pen), kEncryptedPage, package.bytes, id,
               now_ms);
    return true;
  }
  Ink ink;
  try {
    ink = ReadStf2(package.bytes);
    if (PagesOf(ink).empty()) throw InkError("it has no strokes");
  } catch (const InkError& error) {
    KeepClosed(PageKind::kUnreadable, error.what(), package.pen, package.page, package.bytes, id,
               now_ms);
    return true;
  }
  KeepInk(ink, package.bytes, id, now_ms);
  return true;
}

bool Keeper::IsKept(const std::string& hex_digest) {
  std::string digest(hex_digest.size() / 2, '\0');
  ::sodium_hex2bin(reinterpret_cast<unsigned char*>(&digest[0]), digest.size(), hex_digest.data(),
                   hex_digest.size(), nullptr, nullptr, nullptr);
  Query query(connection_, "SELECT 1 FROM digests WHERE sha256 = ?", Query::Bytes{digest});
  return query.Step();
}

void Keeper::KeepInk(const Ink& ink, const std::string& bytes, std::int64_t digest,
                     std::int64_t now_ms) {
  const std::string pen = Serial(ink.pen);
  const auto pages = PagesOf(ink);
  if (pages.size() == 1) return KeepPart(pen, pages[0].value_or(""), ink, bytes, digest, now_ms);
  for (const auto& [page, part] : SplitByPage(ink)) {
    KeepPart(pen, page.value_or(""), part, WriteStf2(part), digest, now_ms);
  }
}

void Keeper::KeepPart(const std::string& pen, const std::string& address, const Ink& ink,
                      const std::string& bytes, std::int64_t digest, std::int64_t now_ms) {
  const std::int64_t pen_id = PenOf(pen);
  const auto before = FindInkPage(connection_, pen_id, address);
  const std::int64_t page = before ? before->id : AddInkPage(pen_id, address, now_ms);
  const PageSummary summary = before ? SumUpWith(*before, ink) : SumUp(ink);
  Query(connection_,
        "UPDATE pages SET revision = revision + 1, arrived = ?, strokes = strokes + ?,"
        " points = points + ?, first = ?, last = ?, x = ?, y = ?, width = ?, height = ?"
        " WHERE id = ?",
        now_ms, summary.strokes, summary.points, summary.first_ms, summary.last_ms,
        std::int64_t{summary.paper.left}, std::int64_t{summary.paper.top},
        std::int64_t{summary.paper.width}, std::int64_t{summary.paper.height}, page)
      .Run();
  LeaveTrash(page);
  const std::int64_t package = AddPackage(digest, page, bytes, now_ms);
  const std::int64_t first_stroke = AddStrokes(page, package, summary.strokes);
  Note(before ? ChangeKind::kChanged : ChangeKind::kNew, page, first_stroke);
}

std::int64_t Keeper::AddInkPage(std::int64_t pen, const std::string& address, std::int64_t now_ms) {
  Query(connection_, "INSERT INTO pages(pen, address, kind, arrived) VALUES(?, ?, 0, ?)", pen,
        address, now_ms)
      .Run();
  const std::int64_t page = connection_.last_id();
  const std::string title = DocumentTitle(address);
  if (!title.empty()) {
    Query(connection_, "INSERT INTO titles(page, title) VALUES(?, ?)", page, title).Run();
  }
  return page;
}

std::int64_t Keeper::AddStrokes(std::int64_t page, std::int64_t package, std::int64_t count) {
  std::int64_t first = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    Query(connection_, "INSERT INTO strokes(page, package, number) VALUES(?, ?, ?)", page, package,
          i)
        .Run();
    if (i == 0) first = connection_.last_id();
  }
  return first;
}

void Keeper::KeepClosed(PageKind kind, const std::string& reason, const std::string& pen,
                        const std::string& address, const std::string& bytes, std::int64_t digest,
                        std::int64_t now_ms) {
  Query(connection_, "INSERT INTO pages(pen, address, kind, reason, arrived) VALUES(?, ?, ?, ?, ?)",
        PenOf(pen), address, static_cast<int>(kind), reason, now_ms)
      .Run();
  const std::int64_t page = connection_.last_id();
  AddPackage(digest, page, bytes, now_ms);
  Note(ChangeKind::kNew, page);
}

std::int64_t Keeper::PenOf(const std::string& serial) {
  Query found(connection_, "SELECT id FROM pens WHERE serial = ?", serial);
  if (found.Step()) return found.Number(0);
  Query(connection_, "INSERT INTO pens(serial) VALUES(?)", serial).Run();
  return connection_.last_id();
}

std::int64_t Keeper::AddPackage(std::int64_t digest, std::int64_t page, const std::string& bytes,
                                std::int64_t now_ms) {
  Query(connection_, "INSERT INTO packages(digest, page, arrived, bytes) VALUES(?, ?, ?, ?)",
        digest, page, now_ms, Query::Bytes{bytes})
      .Run();
  return connection_.last_id();
}

void Keeper::LeaveTrash(std::int64_t page) {
  Query(connection_, "DELETE FROM trash WHERE page = ?", page).Run();
  if (connection_.changes() == 0) return;
  Query(connection_, "UPDATE pages SET is_trashed = 0 WHERE id = ?", page).Run();
  Note(ChangeKind::kBack, page);
}

void Keeper::Note(ChangeKind kind, std::int64_t page, std::int64_t stroke) {
  Query(connection_, "INSERT INTO changes(page, kind, stroke) VALUES(?, ?, ?)", page,
        static_cast<int>(kind), stroke)
      .Run();
  const std::int64_t id = connection_.last_id();
  if (id % 1000 == 0) {
    Query(connection_, "DELETE FROM changes WHERE id <= ?", id - kKeptChanges).Run();
  }
}

std::vector<std::int64_t> Keeper::Trash(const std::vector<std::int64_t>& pages,
                                        std::int64_t now_ms) {
  std::vector<std::int64_t> changed;
  for (const std::int64_t page : pages) {
    Query(connection_,
          "UPDATE pages SET is_trashed = 1, revision = revision + 1"
          " WHERE id = ? AND is_trashed = 0",
          page)
        .Run();
    if (connection_.changes() == 0) continue;
    Query(connection_, "INSERT INTO trash(page, since) VALUES(?, ?)", page, now_ms).Run();
    Note(ChangeKind::kGone, page);
    changed.push_back(page);
  }
  return changed;
}

std::vector<std::int64_t> Keeper::Restore(const std::vector<std::int64_t>& pages) {
  std::vector<std::int64_t> changed;
  for (const std::int64_t page : pages) {
    Query(connection_, "UPDATE pages SET revision = revision + 1 WHERE id = ? AND is_trashed = 1",
          page)
        .Run();
    if (connection_.changes() == 0) continue;
    LeaveTrash(page);
    changed.push_back(page);
  }
  return changed;
}

std::vector<std::int64_t> Keeper::ShowAgain(const std::string& pen,
                                            const std::vector<std::string>& addresses) {
  std::vector<std::int64_t> pages;
  for (const std::string& address : addresses) {
    Query query(connection_,
                "SELECT pages.id FROM pages JOIN pens ON pens.id = pages.pen"
                " WHERE serial = ? AND address = ? AND kind = 0",
                pen, address);
    while (query.Step()) pages.push_back(query.Number(0));
  }
  Restore(pages);
  return pages;
}

std::vector<std::int64_t> Keeper::Purge(const std::vector<std::int64_t>& pages) {
  std::vector<std::int64_t> changed;
  for (const std::int64_t page : pages) {
    {
      Query trashed(connection_, "SELECT 1 FROM trash WHERE page = ?", page);
      if (!trashed.Step()) continue;
    }
    std::vector<std::int64_t> digests;
    {
      Query packages(connection_, "SELECT DISTINCT digest FROM packages WHERE page = ?", page);
      while (packages.Step()) digests.push_back(packages.Number(0));
    }
    for (const char* sql :
         {"DELETE FROM strokes WHERE page = ?", "DELETE FROM packages WHERE page = ?",
          "DELETE FROM titles WHERE page = ?", "DELETE FROM trash WHERE page = ?",
          "DELETE FROM pages WHERE id = ?"}) {
      Query(connection_, sql, page).Run();
    }
    // The same ink may come back one day, imported again; unless it is on a page that is still
    // here.
    for (const std::int64_t digest : digests) {
      Query(connection_,
            "DELETE FROM digests WHERE id = ?1"
            " AND NOT EXISTS (SELECT 1 FROM packages WHERE digest = ?1)",
            digest)
          .Run();
    }
    Note(ChangeKind::kGone, page);
    changed.push_back(page);
  }
  return changed;
}

bool Keeper::SetTitle(std::int64_t page, const std::string& title) {
  Query(connection_, "UPDATE pages SET revision = revision + 1 WHERE id = ?", page).Run();
  if (connection_.changes() == 0) return false;
  if (title.empty()) {
    Query(connection_, "DELETE FROM titles WHERE page = ?", page).Run();
  } else {
    Query(connection_, "INSERT OR REPLACE INTO titles(page, title) VALUES(?, ?)", page, title)
        .Run();
  }
  Note(ChangeKind::kChanged, page);
  return true;
}

std::string Keeper::Setting(const std::string& name) {
  Query query(connection_, "SELECT value FROM settings WHERE name = ?", name);
  return query.Step() ? query.Text(0) : std::string();
}

void Keeper::Set(const std::string& name, const std::string& value) {
  Query(connection_, "INSERT OR REPLACE INTO settings(name, value) VALUES(?, ?)", name, value)
      .Run();
}

void Keeper::SetKeyFile(const std::string& file) {
  Set(kKeyFileSetting, file);
  std::vector<std::int64_t> sealed;
  {
    Query pages(connection_, "SELECT id FROM pages WHERE kind = ?",
                static_cast<int>(PageKind::kSealed));
    while (pages.Step()) sealed.push_back(pages.Number(0));
  }
  for (const std::int64_t page : sealed) {
    Query(connection_, "UPDATE pages SET revision = revision + 1 WHERE id = ?", page).Run();
    Note(ChangeKind::kChanged, page);
  }
}

void Keeper::AddSession(const std::string& digest, std::int64_t until_ms) {
  Query(connection_, "DELETE FROM sessions WHERE until <= ?", NowMs()).Run();
  Query(connection_, "INSERT OR REPLACE INTO sessions(digest, until) VALUES(?, ?)",
        Query::Bytes{digest}, until_ms)
      .Run();
}

std::string Keeper::OwnPen() {
  std::string pen = Setting(kOwnPenSetting);
  if (!pen.empty()) return pen;
  std::uint64_t number = 0;
  ::randombytes_buf(&number, sizeof number);
  // FFFF in front: a serial that is easy to tell from those of pens that can be bought.
  pen = Serial(number | 0xFFFF000000000000);
  Set(kOwnPenSetting, pen);
  return pen;
}

bool Keeper::IsOwnPage(const std::string& address) {
  const std::string begin = std::string(kOwnSegment) + "." + Setting("own pages") + ".";
  return IsOnePageAddress(address) && address.compare(0, begin.size(), begin) == 0;
}

void Keeper::NameDocument(const std::string& first, const std::string& title) {
  Set("title of " + first.substr(0, first.rfind('.')), title);
}

std::string Keeper::DocumentTitle(const std::string& address) {
  if (!IsOwnPage(address)) return {};
  const std::size_t dot = address.rfind('.');
  const std::string title = Setting("title of " + address.substr(0, dot));
  const std::string number = address.substr(dot + 1);
  return title.empty() || number == "1" ? title : title + ", page " + number;
}

std::string Keeper::NextOwnPage() {
  std::string own = Setting("own pages");
  if (own.empty()) {
    own = std::to_string(::randombytes_uniform(0x7FFFFFFF));
    Set("own pages", own);
  }
  const std::string last = Setting("last own page");
  const std::string next = std::to_string(last.empty() ? 1 : std::stoll(last) + 1);
  Set("last own page", next);
  return std::string(kOwnSegment) + "." + own + "." + next + ".1";
}

}  // namespace Inbox
