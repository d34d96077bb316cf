// A folder of its own for each test of files and directories, which a user without rights can
// reach.

#pragma once

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <string>

#include "support/TestRoot.h"

class FolderFixture : public testing::Test {
 protected:
  boost::filesystem::path Path(const std::string& name) const { return root_.path() / "d" / name; }

  void SetUp() override {
    boost::filesystem::create_directory(root_.path() / "d");
    boost::filesystem::permissions(root_.path(), boost::filesystem::perms(0755));
  }

  const TestRoot root_;
};

// The service's line about something in the place of a directory.
inline std::string NotADirectory(const boost::filesystem::path& path) {
  return "'" + path.string() + "' not a directory (as it should): Success (0)";
}
