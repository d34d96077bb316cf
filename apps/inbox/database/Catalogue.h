// What is in the inbox: lists of pages, their ink, what has changed. Reads only; a catalogue and
// its connection belong to one thread at a time. All functions throw SqliteError.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "content/PageInk.h"
#include "database/Keeper.h"
#include "database/Sqlite.h"

namespace Inbox {

// What a list shows of a page.
struct PageRow {
  std::int64_t id = 0;
  std::string pen, address, title;
  PageKind kind = PageKind::kInk;
  std::string reason;
  std::int64_t revision = 0;
  std::int64_t arrived_ms = 0;  // its latest ink
  std::int64_t trashed_ms = 0;  // 0: not in the trash
  PageSummary summary;
};

// The order of a notebook: by pen, and by the numbers of the address.
bool ComesBefore(const PageRow& page, const PageRow& other);

struct PageQuery {
  std::string text;     // in title, address or pen; letters of ASCII match in either case
  std::string pen;      // its serial
  std::string address;  // may hold * for any numbers
  std::int64_t from_ms = 0, to_ms = 0;  // written (or else arrived) within; 0: no bound
  bool is_trash = false;
  int limit = 60;
  // Where the list before ended: pages after this one.
  std::int64_t after_arrived_ms = 0, after_id = 0;  // 0: from the beginning
};

struct PenRow {
  std::string serial;
  std::int64_t pages = 0;  // that are not in the trash
};

struct Counts {
  std::int64_t pages = 0, trash = 0;
};

// The ink of a page, with the id of each of its strokes in their order. A sealed or
// unreadable page has no ink; `closed` then has its bytes as they came.
struct StoredInk {
  PageRow row;
  TalvoInk::Ink ink;
  std::vector<std::int64_t> strokes;
  std::string closed;
};

// One row of "changes", or several of one page.
struct Change {
  std::int64_t id = 0;
  std::int64_t page = 0;
  ChangeKind kind = ChangeKind::kChanged;
  std::int64_t stroke = 0;
};

class Catalogue {
 public:
  explicit Catalogue(Connection& connection) : connection_(connection) {}

  // Newest first. `has_more` tells whether the list goes on behind its last page.
  std::vector<PageRow> Find(const PageQuery& query, bool& has_more);
  std::optional<PageRow> FindPage(std::int64_t page);
  std::optional<StoredInk> LoadInk(std::int64_t page);

  std::vector<PenRow> Pens();
  Counts Count();
  std::string Setting(const std::string& name);

  // The number of the last change; 0 before the first.
  std::int64_t LastChange();

  // At most `limit` changes behind that number. None at all if some of them are not kept any more,
  // or the number lies in the future: then what is known of the pages is worth nothing.
  std::optional<std::vector<Change>> ChangesAfter(std::int64_t id, int limit);

 private:
  Connection& connection_;
};

}  // namespace Inbox
