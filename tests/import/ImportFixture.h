// A service that has not been started, in a world of its own: enough for imports.

#pragma once

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <boost/make_shared.hpp>
#include <map>
#include <string>
#include <vector>

#include "service/Service.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/TestRoot.h"

class ImportFixture : public testing::Test {
 protected:
  // Writes a capture file and returns its path.
  boost::filesystem::path Capture(const std::string& bytes) {
    const boost::filesystem::path file = root.path() / "capture.stf2";
    WriteFile(file, bytes);
    return file;
  }

  bool Import(const std::string& bytes) { return service->ImportSTF2File(Capture(bytes)); }

  // The stroke files of the store with their bytes, by path relative to its root.
  std::map<std::string, std::string> Stored() const {
    namespace fs = boost::filesystem;
    std::map<std::string, std::string> files;
    if (!fs::exists(root.storage())) return files;
    for (const auto& entry : fs::recursive_directory_iterator(root.storage())) {
      if (!fs::is_directory(entry.status())) {
        files[fs::relative(entry.path(), root.storage()).string()] = ReadFile(entry.path());
      }
    }
    return files;
  }

  std::vector<std::string> StoredNames() const {
    std::vector<std::string> names;
    for (const auto& file : Stored()) names.push_back(file.first);
    return names;
  }

  // The messages of level 1.
  std::vector<std::string> Errors() const {
    std::vector<std::string> errors;
    for (const auto& line : log.lines()) {
      if (line.first == 1) errors.push_back(line.second);
    }
    return errors;
  }

  static std::string Stroke(const std::string& page_and_name) {
    return std::string(kTestPenSerial) + "/" + page_and_name + ".stf2";
  }

  TestRoot root;
  LogCapture log;
  boost::shared_ptr<TalvoQuillpost::Service> service =
      boost::make_shared<TalvoQuillpost::Service>();
};
