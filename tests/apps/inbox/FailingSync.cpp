// Loaded into the inbox before the system's own library: as long as the file that FAILING_SYNC
// names is there, nothing reaches the disk, and every sync says so.

#include <dlfcn.h>
#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

bool IsFailing() {
  const char* const file = ::getenv("FAILING_SYNC");
  return file != nullptr && ::access(file, F_OK) == 0;
}

int Sync(const char* name, int fd) {
  if (IsFailing()) {
    errno = EIO;
    return -1;
  }
  return reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, name))(fd);
}

}  // namespace

extern "C" int fsync(int fd) {
  return Sync("fsync", fd);
}

extern "C" int fdatasync(int fd) {
  return Sync("fdatasync", fd);
}
