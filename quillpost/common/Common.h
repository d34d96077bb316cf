// Identifiers and file-system helpers that the whole service shares. Free functions without state:
// all may be called from any thread.

#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "common/File.h"

namespace TalvoQuillpost {
namespace Common {

// The page address under which sealed ink is filed, since its real pages are hidden.
inline constexpr char kEncryptedPageAddress[] = "encrypted-stf2";

// ---- Identifiers: the only barrier between strings from outside and the file system ----------
// Pure, never throw for bad input.

// An application ID: not empty, no "." in front, only digits, ASCII letters, space, ".", "_", ":"
// and "-".
bool IsAppIDValid(const std::string& id);

// A pen serial: not empty, only digits, ASCII letters and "-".
bool IsPenSerialValid(const std::string& pen);

// A page address: "encrypted-stf2", or four or five fields of digits and "*" joined by single dots.
bool IsPageAddressValid(const std::string& page);

// Whether the page address `address` lies in the range `range`, a page address whose "*" fields
// stand for any value. Equal strings always match, an address with "*" matches nothing else. A
// four-field address is the five-field one whose first field is 0. Fields are read one signed
// 32-bit number after the other, each "*" as -1: so "1*" reads as the two numbers 1 and -1, and
// after a number out of range the remaining fields are 0.
bool IsPageAddressInRange(const std::string& address, const std::string& range);

// ---- Files -----------------------------------------------------------------------------------

// Makes sure that `directory` is a directory, making it and its missing parents. False, with a
// line in the log, if it is not; throws nothing.
bool PrepareDirectory(const boost::filesystem::path& directory);

// Gives a file that is handed to an application its access rights. Nothing needs to
// be done on this platform: service and applications run as one user. Always true.
bool SetPermissions(const boost::filesystem::path& file);

// Makes a new empty file in the scratch directory (which is made when missing) and stores its path.
// The caller owns the file. False, with `out` empty, if that fails.
bool CreateTempSTF2File(boost::filesystem::path& out);

// The same, and leaves the file open in `file` for reading and writing.
bool CreateTempSTF2File(boost::filesystem::path& out, Descriptor& file);

// Removes the scratch files that a killed service has left behind. Only for a service that has the
// endpoint, and before its first package: a running service's packages lie in the same place.
// Throws nothing; what can't be removed stays.
void RemoveLeftoverTempSTF2Files();

// The regular files of `directory` (links count by what they point to) whose names do not begin
// with ".", as full paths. `out` is emptied first. False if `directory` is missing or no
// directory; throws boost::filesystem::filesystem_error if reading it fails.
bool ListFiles(const boost::filesystem::path& directory, std::set<boost::filesystem::path>& out);

// The same for subdirectories, those whose names begin with "." included.
bool ListDirectories(const boost::filesystem::path& directory,
                     std::set<boost::filesystem::path>& out);

// The same, as names in their directory, in the same order: paths take long to compare. If
// reading the directory fails `out` holds the names so far, in no order.
bool ListFileNames(const boost::filesystem::path& directory, std::vector<std::string>& out);
bool ListDirectoryNames(const boost::filesystem::path& directory, std::vector<std::string>& out);

// Whether ListFileNames would give a name, without reading on behind the first one.
bool HasFiles(const boost::filesystem::path& directory, bool& out);

// Calls `visit` with each name that ListFileNames would give, in no order, without keeping them.
// True if the directory itself told all about its entries: it could be read, and none was a link.
// Throws as ListFiles.
bool VisitFileNames(const boost::filesystem::path& directory,
                    const std::function<void(const char* name)>& visit);

}  // namespace Common
}  // namespace TalvoQuillpost
