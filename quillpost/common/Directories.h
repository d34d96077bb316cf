// Directories: to make them, and to list what is in them. Functions without state; any thread, each
// blocks for as long as the disk takes.

#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace TalvoQuillpost {
namespace Common {

// Makes sure that `directory` is a directory, making it and its missing parents. False, with a
// line in the log, if it is not; throws nothing.
bool PrepareDirectory(const boost::filesystem::path& directory);

// The regular files of `directory` (links count by what they point to) whose names do not begin
// with ".", as full paths. `out` is emptied first. False if `directory` is missing or no
// directory; throws boost::filesystem::filesystem_error if reading it fails.
bool ListFiles(const boost::filesystem::path& directory, std::set<boost::filesystem::path>& out);

// The same for subdirectories, those whose names begin with "." included. (Who only needs their
// names asks ListDirectoryNames.)
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
