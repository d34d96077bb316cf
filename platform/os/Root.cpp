#include "TalvoOS/Root.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <vector>

namespace fs = boost::filesystem;

namespace TalvoOS {

fs::path UnderRoot(const fs::path& path) {
  const char* root = ::getenv("QUILLPOST_ROOT");
  if (root == nullptr || *root == '\0') return path;
  return fs::absolute(root) / path.relative_path();
}

bool GetHomeDirectory(fs::path& home) {
  home.clear();
  const long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 1024);
  passwd entry;
  passwd* found = nullptr;
  int error;
  while ((error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found)) ==
             ERANGE ||
         error == EINTR) {
    if (error == ERANGE) buffer.resize(buffer.size() * 2);
  }
  if (error != 0 || found == nullptr || found->pw_dir == nullptr || *found->pw_dir == '\0') {
    return false;
  }
  home = UnderRoot(found->pw_dir);
  return true;
}

}  // namespace TalvoOS
