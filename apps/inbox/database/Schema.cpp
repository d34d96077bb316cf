#include "database/Schema.h"

#include <stdexcept>
#include <string>

namespace Inbox {
namespace {

constexpr char kVersion1[] = R"(
CREATE TABLE pens (
  id INTEGER PRIMARY KEY,
  serial TEXT NOT NULL UNIQUE
);
CREATE TABLE pages (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  pen INTEGER NOT NULL REFERENCES pens(id),
  address TEXT NOT NULL,
  kind INTEGER NOT NULL,               -- 0 ink, 1 sealed, 2 unreadable
  reason TEXT NOT NULL DEFAULT '',     -- why it is unreadable
  revision INTEGER NOT NULL DEFAULT 1,
  arrived INTEGER NOT NULL,            -- all times: ms since 1970
  strokes INTEGER NOT NULL DEFAULT 0,
  points INTEGER NOT NULL DEFAULT 0,
  first INTEGER NOT NULL DEFAULT 0,    -- when it was written; 0 if nobody knows
  last INTEGER NOT NULL DEFAULT 0,
  x INTEGER NOT NULL DEFAULT 0,        -- the paper, in micrometres
  y INTEGER NOT NULL DEFAULT 0,
  width INTEGER NOT NULL DEFAULT 210000,
  height INTEGER NOT NULL DEFAULT 297000,
  is_trashed INTEGER NOT NULL DEFAULT 0  -- whether it is in trash; here for the index
);
CREATE UNIQUE INDEX pages_by_address ON pages(pen, address) WHERE kind = 0;
-- Holds all that a search looks at, so that it reads no page that it does not show.
CREATE INDEX pages_by_arrival ON pages(is_trashed, arrived, id, address, pen, first, last);
CREATE INDEX pages_by_pen ON pages(pen, is_trashed, arrived, id);
CREATE TABLE digests (
  id INTEGER PRIMARY KEY,
  sha256 BLOB NOT NULL UNIQUE
);
CREATE TABLE packages (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  digest INTEGER NOT NULL REFERENCES digests(id),
  page INTEGER NOT NULL REFERENCES pages(id),
  arrived INTEGER NOT NULL,
  bytes BLOB NOT NULL
);
CREATE INDEX packages_by_page ON packages(page);
CREATE INDEX packages_by_digest ON packages(digest);
CREATE TABLE strokes (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  page INTEGER NOT NULL REFERENCES pages(id),
  package INTEGER NOT NULL,            -- in packages; goes with its page
  number INTEGER NOT NULL              -- which of the package's strokes, from 0
);
CREATE INDEX strokes_by_page ON strokes(page);
CREATE TABLE titles (
  page INTEGER PRIMARY KEY REFERENCES pages(id),
  title TEXT NOT NULL
);
CREATE TABLE trash (
  page INTEGER PRIMARY KEY REFERENCES pages(id),
  since INTEGER NOT NULL
);
CREATE TABLE changes (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  page INTEGER NOT NULL,
  kind INTEGER NOT NULL,               -- 0 changed, 1 new, 2 gone, 3 back from the trash
  stroke INTEGER NOT NULL DEFAULT 0    -- the first new one; 0 if there is none
);
CREATE TABLE settings (
  name TEXT PRIMARY KEY,
  value TEXT NOT NULL
);
CREATE TABLE sessions (
  digest BLOB PRIMARY KEY,
  until INTEGER NOT NULL
);
)";

// Ink that a stream brings in several messages, until all of them are here.
constexpr char kVersion2[] = R"(
CREATE TABLE parts (
  whole TEXT NOT NULL,                 -- its identity; the same ink cut in another way is another set
  parts INTEGER NOT NULL,
  part INTEGER NOT NULL,               -- from 1
  pen TEXT NOT NULL,
  page TEXT NOT NULL,
  bytes BLOB NOT NULL,
  PRIMARY KEY (whole, parts, part)
);
)";

// Parts have a time, so that those of a set whose rest never comes need not stay.
constexpr char kVersion3[] = R"(
ALTER TABLE parts ADD COLUMN time INTEGER NOT NULL DEFAULT 0;  -- when the stream took it
UPDATE parts SET time = 1000 * strftime('%s', 'now');          -- as good as new
CREATE INDEX parts_by_page ON parts(pen, page);
)";

}  // namespace

const std::vector<const char*> kMigrations = {kVersion1, kVersion2, kVersion3};

void Migrate(Connection& connection, const std::vector<const char*>& migrations) {
  Transaction transaction(connection);
  const std::int64_t id = connection.Number("PRAGMA application_id");
  const std::int64_t version = connection.Number("PRAGMA user_version");
  const bool is_new = connection.Number("SELECT count(*) FROM sqlite_schema") == 0;
  if (!is_new && id != kFileMark) {
    throw std::runtime_error(connection.path() + " is not the database of an inbox");
  }
  const auto known = static_cast<std::int64_t>(migrations.size());
  if (version > known) {
    throw std::runtime_error(connection.path() + " was made by a newer quillpost-inbox (version " +
                             std::to_string(version) + ", this one knows " + std::to_string(known) +
                             "); install that one again");
  }
  if (version == known) return;
  for (std::int64_t i = version; i < known; ++i) {
    connection.Execute(migrations[static_cast<std::size_t>(i)]);
  }
  connection.Execute(("PRAGMA application_id = " + std::to_string(kFileMark)).c_str());
  connection.Execute(("PRAGMA user_version = " + std::to_string(known)).c_str());
  transaction.Commit();
}

}  // namespace Inbox
