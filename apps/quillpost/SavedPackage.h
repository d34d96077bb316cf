// The files of packages, as an application handles them.

#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <set>
#include <string>

// Keeps a copy of the package file `package` in `directory`, which is made when missing, under the
// name NAME.stf2, or NAME-1.stf2 and so on if that is taken. The copy appears atomically, complete
// and on the disk. `saved` is its path; false, with the reason in `reason`, if it can't be made.
bool SavePackage(const boost::filesystem::path& package, const boost::filesystem::path& directory,
                 const std::string& name, boost::filesystem::path& saved, std::string& reason);

// Waits until all the files are gone, but no longer than `patience`. The service removes the file
// of a package when it carries out its confirmation: an application that leaves before that is
// offered the same ink again.
void WaitUntilGone(const std::set<boost::filesystem::path>& files,
                   std::chrono::milliseconds patience);
