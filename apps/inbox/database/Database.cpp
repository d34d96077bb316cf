#include "database/Database.h"

#include <TalvoOS/Root.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "database/Schema.h"

namespace Inbox {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& doing, const std::string& object) {
  throw std::runtime_error("can't " + doing + " " + object + ": " +
                           std::generic_category().message(errno));
}

void Sync(const fs::path& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  const bool is_synced = fd >= 0 && (::fsync(fd) == 0 || errno == EINVAL);
  const int error = errno;
  if (fd >= 0) ::close(fd);
  errno = error;
  if (!is_synced) Fail("sync", path.string());
}

// Not every file system can rename without replacing; there a look before has to do.
void GiveName(const std::string& temporary, const std::string& file) {
  if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, file.c_str(), RENAME_NOREPLACE) == 0) {
    return;
  }
  const bool is_unable = errno == EINVAL || errno == ENOSYS;
  if (errno == EEXIST || (is_unable && ::access(file.c_str(), F_OK) == 0)) {
    throw std::runtime_error(file + " is there already");
  }
  if (!is_unable || std::rename(temporary.c_str(), file.c_str()) != 0) Fail("write", file);
}

// How this program's connections work.
void SetUp(Connection& connection) {
  connection.Execute("PRAGMA foreign_keys = ON");
  connection.Execute("PRAGMA synchronous = FULL");  // a commit is on the disk when it returns
  connection.Execute("PRAGMA journal_size_limit = 67108864");
  connection.Execute("PRAGMA cache_size = -4096");  // KiB; ink is read once, tables stay
}

}  // namespace

std::string DataDirectory() {
  const char* const data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && data[0] == '/') {
    return (TalvoOS::UnderRoot(data) / "quillpost").string();
  }
  boost::filesystem::path home;
  if (!TalvoOS::GetHomeDirectory(home)) return {};
  return (home / ".local/share/quillpost").string();
}

void MakeDataDirectory(const std::string& directory) {
  if (directory.empty()) throw std::runtime_error("the user has no home directory");
  std::error_code error;
  const fs::path path(directory);
  fs::create_directories(path.parent_path(), error);
  if (error) throw std::runtime_error("can't make " + directory + ": " + error.message());
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) Fail("make", directory);
  Sync(path.parent_path(), O_RDONLY | O_DIRECTORY);
}

Database::Database(const std::string& directory)
    : path_((fs::path(directory) / "inbox.db").string()) {
  Connection connection(path_, Connection::Mode::kWrite);
  SetUp(connection);
  Migrate(connection);
  // WAL: one sync a commit, and readers that never wait for the writer. It stays with the file, but
  // a backup has none: there SQLite would remove a journal after each commit without syncing its
  // folder, and a power cut could bring it back and take confirmed ink away.
  connection.Execute("PRAGMA journal_mode = WAL");
}

bool Database::Exists(const std::string& directory) {
  std::error_code error;
  return fs::exists(fs::path(directory) / "inbox.db", error);
}

std::unique_ptr<Connection> Database::OpenWriter() const {
  auto connection = std::make_unique<Connection>(path_, Connection::Mode::kWrite);
  SetUp(*connection);
  return connection;
}

std::unique_ptr<Connection> Database::OpenReader() const {
  return std::make_unique<Connection>(path_, Connection::Mode::kRead);
}

std::string Database::FindDamage() const {
  try {
    const auto connection = OpenReader();
    Query query(*connection, "PRAGMA quick_check(1)");
    const std::string found = query.Step() ? query.Text(0) : "no answer";
    return found == "ok" ? std::string() : found;
  } catch (const SqliteError& error) {
    return error.what();
  }
}

void Database::BackUp(const std::string& file) const {
  const fs::path target(file);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::string temporary = (folder / ("." + target.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkostemp(&temporary[0], O_CLOEXEC);  // an empty file of mode 0600
  if (fd < 0) Fail("write", file);
  ::close(fd);
  try {
    const auto connection = std::make_unique<Connection>(path_, Connection::Mode::kWrite);
    Query(*connection, "VACUUM INTO ?", temporary).Run();
    Sync(temporary, O_RDONLY);
    GiveName(temporary, file);
  } catch (...) {
    ::unlink(temporary.c_str());
    throw;
  }
  Sync(folder, O_RDONLY | O_DIRECTORY);
}

}  // namespace Inbox
