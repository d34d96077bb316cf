// The tables of the inbox's database and how an older database gets them.
//
//   pens      who wrote: a serial
//   pages     one for each pen and page address; sealed and unreadable ink has a page for each
//             package. Counts, times and paper are sums over its strokes, kept so that a list of
//             pages touches no ink
//   packages  the ink itself, byte for byte as it was handed over, one row for each page in it
//   strokes   one row for each stroke in a package: their ids name strokes for browsers, and grow
//   digests   SHA-256 of each package that was taken in: the same bytes are taken once. A row of
//   its
//             own, since a package may be of several pages
//   titles    what people call a page
//   trash     pages that were thrown away, and when
//   changes   what browsers are told, numbered; the old end is cut off
//   settings  names and values
//   sessions  digests of the cookies that are valid, and until when

#pragma once

#include <vector>

#include "database/Sqlite.h"

namespace Inbox {

// Marks the file as an inbox ("QPIB"), so that another program's database is not taken for one.
inline constexpr std::int64_t kFileMark = 0x51504942;

// The SQL that leads from version N - 1 to version N is the N-th, counted from 1. A released one is
// never changed.
extern const std::vector<const char*> kMigrations;

// Brings the database to the version that `migrations` lead to; a new one, too. All of it is one
// transaction: a program that is killed meanwhile leaves the database as it was. Throws
// std::runtime_error for a database that is not an inbox or that a newer version of this program
// has made, without touching it, and SqliteError.
void Migrate(Connection& connection, const std::vector<const char*>& migrations = kMigrations);

}  // namespace Inbox
