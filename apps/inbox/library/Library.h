// The pages of the inbox as programs and people see them: sealed ink is opened here if there is a
// key, and stays sealed in the database. Reads only. Any thread; each call has a connection of its
// own.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "database/Readers.h"
#include "library/KeyRing.h"

namespace Inbox {

class Library {
 public:
  explicit Library(Readers& readers) : readers_(readers) {}

  // As the functions of Catalogue; sealed pages that the key opens are ink.
  std::vector<PageRow> Find(const PageQuery& query, bool& has_more);
  std::optional<PageRow> FindPage(std::int64_t page);
  std::optional<StoredInk> LoadInk(std::int64_t page);

  Readers& readers() { return readers_; }

 private:
  // Shows what is in the page if it is sealed and can be opened; says why not if it can't.
  void Open(StoredInk& stored, const std::string& key_file);
  void Open(PageRow& row, Catalogue& catalogue);

  Readers& readers_;
  KeyRing keys_;
};

}  // namespace Inbox
