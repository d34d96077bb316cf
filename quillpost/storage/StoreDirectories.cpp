#include "storage/StoreDirectories.h"

#include <TalvoOS/Root.h>
#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <string>
#include <unordered_set>

#include "common/Directories.h"
#include "common/File.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

// Room for the pages that a user writes on; beyond it, pages are only synced once more than needed.
constexpr std::size_t kMaxRemembered = 10000;

// Directories whose names this process has synced. Made when the library is loaded and never freed,
// like the table of routing info.
auto& g_durable = *new std::unordered_set<std::string>;
auto& g_new_ink =
    *new std::unordered_set<std::string>;   // pages that got a name since they were listed
auto& g_durable_guard = *new boost::mutex;  // guards both; no other lock is taken under it

typedef boost::lock_guard<boost::mutex> Lock;

bool IsDurable(const fs::path& directory) {
  const Lock lock(g_durable_guard);
  return g_durable.count(directory.native()) > 0;
}

void Remember(const fs::path& directory) {
  const Lock lock(g_durable_guard);
  if (g_durable.size() >= kMaxRemembered) g_durable.clear();
  g_durable.insert(directory.native());
}

void Forget(const fs::path& directory) {
  const Lock lock(g_durable_guard);
  g_durable.erase(directory.native());
}

}  // namespace

bool MakeStoreDirectory(const fs::path& directory) {
  boost::system::error_code error;
  if (fs::status(directory, error).type() == fs::directory_file) return true;
  // Mostly only the last one is missing. Forgotten before it is there: others may sync names in it
  // as soon as they see it.
  Forget(directory);
  if (::mkdir(directory.c_str(), 0777) == 0) return true;
  for (fs::path missing = directory; !missing.empty() && !fs::exists(missing, error);
       missing = missing.parent_path()) {
    Forget(missing);
  }
  return Common::PrepareDirectory(directory);
}

void WaitForRemoval(const fs::path& directory) {
  // Making a directory takes the lock of its parent, which the removal holds.
  if (::mkdir(directory.c_str(), 0777) == 0) Forget(directory);
}

boost::system::error_code SyncNames(const fs::path& directory) {
  fs::path home;
  TalvoOS::GetHomeDirectory(home);
  auto error = Common::SyncDirectory(directory);
  for (fs::path child = directory; !error && child != home && child.has_parent_path();
       child = child.parent_path()) {
    if (IsDurable(child)) break;
    error = Common::SyncDirectory(child.parent_path());
    // A parent that may not be read can't be synced by anybody who is not its owner.
    if (error == boost::system::errc::permission_denied) error.clear();
    if (!error) Remember(child);
  }
  return error;
}

void NoteNewInk(const fs::path& directory) {
  const Lock lock(g_durable_guard);
  g_new_ink.insert(directory.native());
}

bool TakeNewInk(const fs::path& directory) {
  const Lock lock(g_durable_guard);
  return g_new_ink.erase(directory.native()) > 0;
}

void NoteSynced(const fs::path& directory) {
  for (fs::path child = directory; !IsDurable(child) && child.has_parent_path();
       child = child.parent_path()) {
    Remember(child);
  }
}

}  // namespace Storage
}  // namespace TalvoQuillpost
