#include "library/Library.h"

#include "database/Keeper.h"
#include "ink/InkError.h"

namespace Inbox {

void Library::Open(StoredInk& stored, const std::string& key_file) {
  if (stored.row.kind != PageKind::kSealed) return;
  const auto key = keys_.Find(key_file, stored.row.reason);
  if (key == nullptr) return;
  try {
    stored.ink = OpenSealed(stored.closed, *key);
  } catch (const TalvoInk::InkError& error) {
    stored.row.reason = error.what();
    return;
  }
  stored.row.kind = PageKind::kInk;
  stored.row.reason.clear();
  stored.row.summary = SumUp(stored.ink);
  // Nothing is ever added to what was sealed: its strokes can be counted.
  for (std::int64_t i = 1; i <= stored.row.summary.strokes; ++i) stored.strokes.push_back(i);
}

void Library::Open(PageRow& row, Catalogue& catalogue) {
  if (row.kind != PageKind::kSealed) return;
  auto stored = catalogue.LoadInk(row.id);
  if (!stored) return;
  Open(*stored, catalogue.Setting(kKeyFileSetting));
  row = stored->row;
}

std::vector<PageRow> Library::Find(const PageQuery& query, bool& has_more) {
  auto catalogue = readers_.Lend();
  std::vector<PageRow> rows = catalogue->Find(query, has_more);
  for (PageRow& row : rows) Open(row, *catalogue);
  return rows;
}

std::optional<PageRow> Library::FindPage(std::int64_t page) {
  auto catalogue = readers_.Lend();
  auto row = catalogue->FindPage(page);
  if (row) Open(*row, *catalogue);
  return row;
}

std::optional<StoredInk> Library::LoadInk(std::int64_t page) {
  auto catalogue = readers_.Lend();
  auto stored = catalogue->LoadInk(page);
  if (stored) Open(*stored, catalogue->Setting(kKeyFileSetting));
  return stored;
}

}  // namespace Inbox
