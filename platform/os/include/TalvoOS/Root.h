// Where the system's absolute paths lie. Every absolute path that the system itself fixes (the
// user's home, the subscription directory, the endpoint) passes through UnderRoot.
//
// With the environment variable QUILLPOST_ROOT unset or empty, paths are what they are. Set to a
// directory, they all lie below it, so that a test, a demo or a container has a world of its own.
// Programs that the service launches inherit the variable. It is the only setting.

#pragma once

#include <boost/filesystem/path.hpp>

namespace TalvoOS {

// `path`, which is absolute, below QUILLPOST_ROOT. A relative QUILLPOST_ROOT starts at the working
// directory of the process. Reads the environment at each call; touches no file.
boost::filesystem::path UnderRoot(const boost::filesystem::path& path);

// The home directory of the user who runs the process, from the password database (the entry of
// the real user ID, never the environment), below the root. Looked up until it was found once.
// False, with `home` empty, if the user has no entry or no home there. Any thread.
bool GetHomeDirectory(boost::filesystem::path& home);

}  // namespace TalvoOS
