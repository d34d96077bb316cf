// Files that get a name only when they are complete: until then nobody sees them, and they are gone
// with their descriptor, also if the process is killed. Functions without state; any thread.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>

namespace TalvoQuillpost {
namespace Common {

// Makes an empty file for reading and writing on the file system of `directory`, with the mode less
// the umask.
boost::system::error_code OpenUnnamed(const boost::filesystem::path& directory, unsigned int mode,
                                      TalvoCppUtils::Descriptor& file);

// Whether OpenUnnamed failed because the file system or the kernel has no files without a name.
bool MeansUnsupported(const boost::system::error_code& error);

// Gives such a file its name, on the file system that it was made on. file_exists if another file
// has it.
boost::system::error_code GiveNameToUnnamed(int file, const boost::filesystem::path& name);

}  // namespace Common
}  // namespace TalvoQuillpost
