// Everything that changes the inbox: packages that are kept, titles, the trash, settings. Each
// function is a part of a transaction that its caller begins and commits; so packages that wait
// together share one sync of the disk.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "content/PageInk.h"
#include "database/Sqlite.h"

namespace Inbox {

// Rows of the table "changes".
enum class ChangeKind { kChanged = 0, kNew = 1, kGone = 2, kBack = 3 };

// A package of ink as it was handed over.
struct Package {
  std::string bytes;
  std::string pen;   // what its envelope says; counts only for ink that can't be read
  std::string page;  // likewise
};

// Milliseconds since 1970-01-01 UTC.
std::int64_t NowMs();

// The settings with the serial of the inbox's own pen, and with the file of the key.
inline constexpr char kOwnPenSetting[] = "own pen";
inline constexpr char kKeyFileSetting[] = "key file";

class Keeper {
 public:
  explicit Keeper(Connection& connection) : connection_(connection) {}

  // For others that change the inbox in the same transaction.
  Connection& connection() { return connection_; }

  // Keeps the package: ink page by page, sealed ink as it is, and what can't be read as such. A
  // page that new ink arrives for leaves the trash. False, with nothing changed, for bytes that are
  // in the inbox already. Throws SqliteError alone; bytes that can't be read are kept as
  // unreadable.
  bool Keep(const Package& package, std::int64_t now_ms);

  // Whether bytes of that SHA-256, 64 hexadecimal digits, are in the inbox already.
  bool IsKept(const std::string& hex_digest);

  // Each returns the pages that it moved to the trash, took out of it, or deleted; others are
  // skipped.
  std::vector<std::int64_t> Trash(const std::vector<std::int64_t>& pages, std::int64_t now_ms);
  std::vector<std::int64_t> Restore(const std::vector<std::int64_t>& pages);
  std::vector<std::int64_t> Purge(const std::vector<std::int64_t>& pages);  // for good

  // Takes those pages out of the trash that are in it. Returns the numbers of all these pages that
  // exist.
  std::vector<std::int64_t> ShowAgain(const std::string& pen,
                                      const std::vector<std::string>& addresses);

  // False if there is no such page.
  bool SetTitle(std::int64_t page, const std::string& title);

  // Empty if it was never set.
  std::string Setting(const std::string& name);
  void Set(const std::string& name, const std::string& value);

  // Sets the file of the key that opens sealed ink; an empty path forgets it. Sealed pages count as
  // changed, so that browsers draw them anew.
  void SetKeyFile(const std::string& file);

  // Lets the browser in whose cookie has this digest, until then; forgets those whose time is over.
  void AddSession(const std::string& digest, std::int64_t until_ms);

  // The serial of the pen that this inbox writes with, on pages of its own.
  std::string OwnPen();

  // The address of a page that neither paper nor this inbox ever had: 2147483647.R.N.1, where R is
  // this inbox's own number and N counts. Further pages of one document count the last field up.
  std::string NextOwnPage();

  // What the pages of a document are to be called when their ink arrives. `first` is the address
  // that NextOwnPage gave it.
  void NameDocument(const std::string& first, const std::string& title);

  // Whether the address is one that NextOwnPage gave.
  bool IsOwnPage(const std::string& address);

 private:
  void KeepInk(const TalvoInk::Ink& ink, const std::string& bytes, std::int64_t digest,
               std::int64_t now_ms);
  void KeepPart(const std::string& pen, const std::string& address, const TalvoInk::Ink& ink,
                const std::string& bytes, std::int64_t digest, std::int64_t now_ms);
  void KeepClosed(PageKind kind, const std::string& reason, const std::string& pen,
                  const std::string& address, const std::string& bytes, std::int64_t digest,
                  std::int64_t now_ms);
  // A page that has no ink yet, with the title that waited for it. Returns its number.
  std::int64_t AddInkPage(std::int64_t pen, const std::string& address, std::int64_t now_ms);
  // Returns the number of the first; 0 if there are none.
  std::int64_t AddStrokes(std::int64_t page, std::int64_t package, std::int64_t count);
  std::int64_t PenOf(const std::string& serial);
  std::int64_t AddPackage(std::int64_t digest, std::int64_t page, const std::string& bytes,
                          std::int64_t now_ms);
  void LeaveTrash(std::int64_t page);
  std::string DocumentTitle(const std::string& address);
  void Note(ChangeKind kind, std::int64_t page, std::int64_t stroke = 0);

  Connection& connection_;
};

}  // namespace Inbox
