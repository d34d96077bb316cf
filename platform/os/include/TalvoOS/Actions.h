// What the system asks of the desktop: today, to launch an application.

#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace TalvoOS {
namespace Actions {

// A program that was started, as its starter sees it. A value that is cheap to copy; copies stand
// for the same program. It neither owns the program nor keeps it: dropping it ends nothing. Any
// thread.
class Program {
 public:
  Program() = default;  // no program: what could not be started

  // Whether a program was started.
  explicit operator bool() const { return process_ != nullptr; }

  // Whether the program is still running; never waits. It counts from its start to the end of its
  // process: a child that it leaves behind does not count. False on a kernel before Linux 5.3,
  // which can't tell.
  bool IsRunning() const;

  // When it was started.
  std::chrono::steady_clock::time_point start_time() const { return start_time_; }

 private:
  friend Program StartApplication(const std::string& path);
  class Process;
  std::shared_ptr<const Process> process_;
  std::chrono::steady_clock::time_point start_time_;
};

// Starts the program at `path`; never waits for it to do anything. The program is detached: it has
// a session of its own, standard input, output and error on /dev/null and no other descriptor,
// default signal dispositions, an empty signal mask, and the environment of the caller. Its umask
// is the one that this process had when it loaded this library, before the host set one of its own.
// Its working directory is the user's home (Root.h), or "/" if there is none. It never becomes a
// zombie of the caller, and the caller's SIGCHLD disposition is neither used nor changed.
//
// A relative path starts at the caller's working directory. A path ending in ".desktop" is started
// by the Exec line of its [Desktop Entry] group: quoting is undone, field codes (%f, %U, ...) are
// dropped, "%%" is a percent sign, and a program without a slash is searched for in PATH. The
// entry's Path line, if there is one, is the working directory.
//
// No program for a path that is missing, not executable or not a program, for a .desktop file
// without a usable Exec line, and for a Path line that names no directory. Any thread.
Program StartApplication(const std::string& path);

// The same for a caller who does not want to look at the program again: whether it was started.
bool LaunchApplication(const std::string& path);

// Why StartApplication would refuse the path, as far as that can be seen without starting anything:
// "/usr/bin/notes: No such file or directory". Empty if nothing speaks against it. Any thread.
std::string FindObstacle(const std::string& path);

}  // namespace Actions
}  // namespace TalvoOS
