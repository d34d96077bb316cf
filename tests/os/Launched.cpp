// Writes what this process was started with, line by line as NAME=VALUE, into the file that the
// environment variable LAUNCH_REPORT names. The file appears atomically, when it is complete.

#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <set>
#include <string>

namespace {

std::string Target(const std::string& link) {
  char path[PATH_MAX];
  const ssize_t length = ::readlink(link.c_str(), path, sizeof path);
  return std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0);
}

// The numbers of the open descriptors, but for the one that lists them.
std::set<int> OpenDescriptors() {
  std::set<int> descriptors;
  DIR* directory = ::opendir("/proc/self/fd");
  while (const dirent* entry = ::readdir(directory)) {
    const int fd = ::atoi(entry->d_name);
    if (entry->d_name[0] != '.' && fd != ::dirfd(directory)) descriptors.insert(fd);
  }
  ::closedir(directory);
  return descriptors;
}

// The signals that the program was started with blocked or ignored.
void PrintSignals(FILE* out) {
  sigset_t blocked;
  ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
  for (int signal = 1; signal < NSIG; ++signal) {
    if (::sigismember(&blocked, signal) == 1) ::fprintf(out, "blocked=%d\n", signal);
    struct sigaction action = {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
      ::fprintf(out, "ignored=%d\n", signal);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const char* report = ::getenv("LAUNCH_REPORT");
  if (report == nullptr) return 2;
  const std::set<int> descriptors = OpenDescriptors();

  const std::string unfinished = std::string(report) + ".unfinished";
  FILE* out = ::fopen(unfinished.c_str(), "w");
  if (out == nullptr) return 2;
  for (int i = 0; i < argc; ++i) ::fprintf(out, "argument=%s\n", argv[i]);
  for (int fd : descriptors) {
    ::fprintf(out, "descriptor=%d %s\n", fd, Target("/proc/self/fd/" + std::to_string(fd)).c_str());
  }
  ::fprintf(out, "leads_session=%s\n", ::getsid(0) == ::getpid() ? "yes" : "no");
  ::fprintf(out, "parent=%d\n", static_cast<int>(::getppid()));
  ::fprintf(out, "directory=%s\n", Target("/proc/self/cwd").c_str());
  ::fprintf(out, "umask=%03o\n", static_cast<unsigned>(::umask(0)));
  PrintSignals(out);
  if (::fclose(out) != 0) return 2;
  return ::rename(unfinished.c_str(), report) == 0 ? 0 : 2;
}
