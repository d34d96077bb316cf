#include "config/SubscriptionReader.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <memory>

#include "common/File.h"
#include "common/Identifiers.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Config {

namespace {

typedef SubscriptionContent Content;

// Refused by what the file is or who may read it; for any other reason the system can't read it
// now.
bool IsRefusal(int error) {
  return error == ENOENT || error == ENOTDIR || error == ELOOP || error == EACCES ||
         error == EPERM || error == EISDIR || error == ENXIO || error == EINVAL;
}

Content ReadBytes(int directory, const char* name, std::string& bytes) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const TalvoCppUtils::Descriptor file(
      Common::Uninterrupted([&] { return ::openat(directory, name, kFlags); }));
  if (!file.is_open()) return IsRefusal(errno) ? Content::kNoSubscription : Content::kUnreadable;
  bytes.clear();
  char piece[4096];
  for (;;) {
    const ssize_t got =
        Common::Uninterrupted([&] { return ::read(file.get(), piece, sizeof piece); });
    if (got < 0) return IsRefusal(errno) ? Content::kNoSubscription : Content::kUnreadable;
    if (got == 0) return Content::kRead;
    if (bytes.size() + static_cast<std::size_t>(got) > kMaxFileBytes) {
      return Content::kNoSubscription;
    }
    bytes.append(piece, static_cast<std::size_t>(got));
  }
}

// Links count by what they point to. Listing a directory mostly tells the type; asking takes
// longer.
Content TypeOf(int directory, const dirent& entry) {
  if (entry.d_type == DT_REG) return Content::kRead;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return Content::kNoSubscription;
  struct stat status;
  if (::fstatat(directory, entry.d_name, &status, 0) != 0) {
    return IsRefusal(errno) ? Content::kNoSubscription : Content::kUnreadable;
  }
  return S_ISREG(status.st_mode) ? Content::kRead : Content::kNoSubscription;
}

// What it means that the directory can't be opened for this reason: true, it does not exist; false,
// something else is in its place. Throws if it is there.
bool IsAbsent(const fs::path& root, const boost::system::error_code& error) {
  boost::system::error_code ignored;
  const fs::file_type type = fs::status(root, ignored).type();
  if (type == fs::file_not_found) return true;
  if (type != fs::directory_file && IsRefusal(error.value())) return false;
  throw fs::filesystem_error("can't list directory", root, error);
}

}  // namespace

bool SubscriptionReader::Read() {
  const fs::path root = GetRoot();
  undecided_.clear();
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  const int descriptor = Common::Uninterrupted([&] { return ::open(root.c_str(), kFlags); });
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(
      descriptor < 0 ? nullptr : ::fdopendir(descriptor), ::closedir);
  if (!directory) {
    const boost::system::error_code error(errno, boost::system::system_category());
    if (descriptor >= 0) ::close(descriptor);
    if (!IsAbsent(root, error)) return false;
    files_.clear();
    return true;
  }
  ++reading_;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(directory.get());
    if (entry == nullptr && errno != 0) {
      const boost::system::error_code error(errno, boost::system::system_category());
      throw fs::filesystem_error("can't go on listing directory", root, error);
    }
    if (entry == nullptr) break;
    const std::string id = entry->d_name;
    if (Common::IsAppIDValid(id)) ReadFile(descriptor, id, TypeOf(descriptor, *entry));
  }
  for (auto file = files_.begin(); file != files_.end();) {
    file = file->second.reading == reading_ ? std::next(file) : files_.erase(file);
  }
  return true;
}

void SubscriptionReader::ReadFile(int directory, const std::string& id, Content content) {
  if (content == Content::kRead) content = ReadBytes(directory, id.c_str(), buffer_);
  const auto known = files_.find(id);
  if (content == Content::kUnreadable && known == files_.end()) {
    undecided_.insert(id);
    return;
  }
  if (content == Content::kNoSubscription) return;
  File& file = known != files_.end() ? known->second : files_[id];
  file.reading = reading_;
  const bool is_new = known == files_.end();
  if (content == Content::kUnreadable || (!is_new && file.bytes == buffer_)) return;
  file.is_subscription = ParseSubscription(id, buffer_, file.app);
  file.bytes = buffer_;
}

}  // namespace Config
}  // namespace TalvoQuillpost
