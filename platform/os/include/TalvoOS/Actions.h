// What the system asks of the desktop: today, to launch an application.

#pragma once

#include <string>

namespace TalvoOS {
namespace Actions {

// Starts the program at `path` and returns whether it could be started; never waits for it to do
// anything. The program is detached: it has a session of its own, standard input, output and error
// on /dev/null and no other descriptor, default signal dispositions, an empty signal mask, and the
// environment, working directory and umask of the caller. It never becomes a zombie of the caller,
// and the caller's SIGCHLD disposition is neither used nor changed.
//
// A path ending in ".desktop" is started by the Exec line of its [Desktop Entry] group: quoting is
// undone, field codes (%f, %U, ...) are dropped, "%%" is a percent sign, and a program without a
// slash is searched for in PATH.
//
// False for a path that is missing, not executable or not a program, and for a .desktop file
// without a usable Exec line. Any thread.
bool LaunchApplication(const std::string& path);

}  // namespace Actions
}  // namespace TalvoOS
