// Files that appear complete or not at all, and take no other file's name. Functions without state;
// each blocks for as long as the disk takes.

#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <string>

namespace TalvoOS {

// Writes all bytes at the descriptor's position, however often a signal interrupts it.
boost::system::error_code WriteAll(int descriptor, const void* data, std::size_t size_bytes);

// Makes a new file with these bytes in `directory`, under a name that begins with a dot and is in
// nobody's way, and syncs it to the disk. `temporary` is its path; it has mode 0600. Nothing is
// left on failure; a process that is killed leaves the file under that name.
boost::system::error_code WriteTemporary(const boost::filesystem::path& directory, const void* data,
                                         std::size_t size_bytes, std::string& temporary);

// Gives `temporary` the name `file` in the same directory, and syncs the directory. file_exists if
// the name is taken; with `replace` it then takes the place of the other file. Works on
// file systems without hard links. `temporary` is gone afterwards, also on failure.
boost::system::error_code GiveName(const std::string& temporary,
                                   const boost::filesystem::path& file, bool replace = false);

// Gives a file another name on the same file system; file_exists, with nothing changed, if that is
// taken.
boost::system::error_code RenameWithoutReplacing(const std::string& from, const std::string& to);

}  // namespace TalvoOS
