#include "TalvoOS/Root.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <mutex>
#include <string>
#include <vector>

namespace fs = boost::filesystem;

namespace TalvoOS {

fs::path UnderRoot(const fs::path& path) {
  const char* root = ::getenv("QUILLPOST_ROOT");
  if (root == nullptr || *root == '\0') return path;
  const fs::path base = *root == '/' ? fs::path(root) : fs::absolute(root);
  const std::string& name = path.native();
  return base / name.substr(std::min(name.find_first_not_of('/'), name.size()));
}

namespace {

// The user's home directory in the password database; empty if there is none.
std::string FindHome(uid_t user) {
  const long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 1024);
  passwd entry;
  passwd* found = nullptr;
  int error;
  while ((error = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found)) == ERANGE ||
         error == EINTR) {
    if (error == ERANGE) buffer.resize(buffer.size() * 2);
  }
  const bool has_home = error == 0 && found != nullptr && found->pw_dir != nullptr;
  return has_home ? found->pw_dir : std::string();
}

}  // namespace

bool GetHomeDirectory(fs::path& home) {
  // Kept once found: the database can fail for a moment, for want of a descriptor or of its server,
  // and in the meantime files must not go astray.
  static std::mutex mutex;
  static uid_t user = 0;
  static std::string found;  // of `user`; empty: not found yet

  const std::lock_guard<std::mutex> lock(mutex);
  if (found.empty() || user != ::getuid()) {
    user = ::getuid();
    found = FindHome(user);
  }
  home = found.empty() ? fs::path() : UnderRoot(found);
  return !found.empty();
}

}  // namespace TalvoOS
