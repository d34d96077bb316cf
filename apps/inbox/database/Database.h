// The file of the inbox: where it lies, how it is opened, checked and copied. Other processes may
// have it open at the same time (a running inbox, an import from a shell): SQLite keeps them apart.

#pragma once

#include <memory>
#include <string>

#include "database/Sqlite.h"

namespace Inbox {

// The folder of the inbox, "$XDG_DATA_HOME/quillpost" or "~/.local/share/quillpost", below the root
// of TalvoOS/Root.h; empty if the user has no home. An XDG_DATA_HOME that is not absolute is
// ignored, as its standard wants.
std::string DataDirectory();

// Makes the folder, for its owner alone. Throws std::runtime_error with the system's reason.
void MakeDataDirectory(const std::string& directory);

class Database {
 public:
  // The file inbox.db in the folder, which exists: made if it is missing, brought to this version
  // if it is older. Throws std::runtime_error, with a message for people, if it can't be used.
  explicit Database(const std::string& directory);

  // The file at `path`, not made if it is missing.
  static bool Exists(const std::string& directory);

  // Connections for one thread each. Throws SqliteError.
  std::unique_ptr<Connection> OpenWriter() const;
  std::unique_ptr<Connection> OpenReader() const;

  const std::string& path() const { return path_; }

  // Reads the whole file and returns what is damaged in it, empty if nothing is. Takes about a
  // second for each gigabyte.
  std::string FindDamage() const;

  // Writes a copy to a new file, whole or not at all, while others go on writing here. On return it
  // would survive a power cut. Throws std::runtime_error; a file that is there is never replaced.
  void BackUp(const std::string& file) const;

 private:
  const std::string path_;
};

}  // namespace Inbox
