// Makes STF2 of ink in other formats, with the ink tool that is installed beside this program.

#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/noncopyable.hpp>
#include <string>

// STF2 that was made of another file: a file in a directory of its own, which goes with the object.
class ConvertedInk : boost::noncopyable {
 public:
  ConvertedInk() = default;
  ~ConvertedInk();

  const boost::filesystem::path& path() const { return path_; }

 private:
  friend class InkConverter;
  boost::filesystem::path directory_;  // empty: there is none
  boost::filesystem::path path_;
};

class InkConverter {
 public:
  std::string page;  // the page address of ink; empty: the file's own
  std::string pen;   // its pen's serial; empty: the file's own

  // Whether the file is InkML or .xopp, by its name; by its name or its content.
  static bool HasConvertibleName(const boost::filesystem::path& file);
  static bool IsConvertible(const boost::filesystem::path& file);

  // False, with the tool's reason, if it can't be converted. Blocks until the tool has ended.
  bool Convert(const boost::filesystem::path& file, ConvertedInk& ink, std::string& reason) const;
};
