// A whole service on a socket of its own, spoken to as any client would.

#pragma once

#include <TalvoQuillpost/IService.h>
#include <TalvoQuillpost/Protocol.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <boost/weak_ptr.hpp>
#include <set>
#include <string>
#include <vector>

#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

class ServiceFixture : public testing::Test {
 protected:
  typedef std::vector<LogCapture::Line> Lines;

  ServiceFixture() : service(TalvoQuillpost::CreateQuillpostService()) {}

  // Ends the service, and sees that nothing keeps it.
  void TearDown() override {
    if (!service) return;
    service->Stop();
    const boost::weak_ptr<TalvoQuillpost::IService> watch(service);
    service.reset();
    EXPECT_TRUE(watch.expired());
  }

  // Starts the service and waits until its first passes are over.
  void Start() {
    ASSERT_TRUE(service->Start());
    ASSERT_TRUE(WaitForPasses(1));
  }

  // Waits until that many delivery passes are over, whichever way they ended.
  bool WaitForPasses(std::size_t count) const {
    return Eventually([&] {
      return log.Count(3, "Ink Delivery finished.") +
                 log.Count(4, "Ink delivery can't be performed: no apps registered.") +
                 log.Count(4, "Ink delivery can't be performed: no data in storage.") +
                 log.Count(1,
                           "Ink delivery can't be performed: can't get list of pen serials from "
                           "storage.") >=
             count;
    });
  }

  static std::string Endpoint() { return IPC::Protocol::Quillpost::GetEndpoint(); }

  static Json::Value App(const std::string& id) { return Params({{"ApplicationID", id}}); }

  static Json::Value Confirmation(const std::string& pen, bool delivered = true,
                                  const std::vector<std::string>& ignored = {}) {
    Json::Value pages(Json::arrayValue);
    for (const std::string& page : ignored) pages.append(page);
    return Params({{"InkPackagePen", pen},
                   {"InkPackageDelivered", delivered},
                   {"IgnoredPageAddresses", pages}});
  }

  // Files a stroke, as if it had been imported before.
  boost::filesystem::path AddStroke(const std::string& name, const std::string& pen = "PEN",
                                    const std::string& page = "1.2.3.4") {
    const boost::filesystem::path file = root.storage() / pen / page / (name + ".stf2");
    WriteFile(file, "ink " + name);
    return file;
  }

  // A capture file with one stroke, and its path.
  std::string Capture(const std::string& name, std::uint64_t time_ms = 100,
                      const char* page = "1.2.3.4") {
    const boost::filesystem::path file = root.path() / name;
    WriteFile(file, InkFile().AddStroke(page, time_ms).bytes());
    return file.string();
  }

  // The bytes of the package that a notification announces.
  static std::string InkOf(const Json::Value& package) {
    return ReadFile(package["InkPackagePath"].asString());
  }

  std::size_t CountScratchFiles() const {
    namespace fs = boost::filesystem;
    if (!fs::exists(root.scratch())) return 0;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(root.scratch()), fs::directory_iterator()));
  }

  // Puts a directory that is not empty in the place of a file.
  static void MakeUndeletable(const boost::filesystem::path& file) {
    boost::filesystem::remove(file);
    WriteFile(file / "file", "in the way");
  }

  // The lines of the log that are among `wanted`, in the order in which they were written.
  Lines Among(const std::vector<std::string>& wanted) const {
    Lines lines;
    for (const auto& line : log.lines()) {
      if (std::count(wanted.begin(), wanted.end(), line.second) > 0) lines.push_back(line);
    }
    return lines;
  }

  // The lines of the log that begin with one of these.
  Lines Beginning(const std::vector<std::string>& beginnings) const {
    Lines lines;
    for (const auto& line : log.lines()) {
      for (const std::string& beginning : beginnings) {
        if (line.second.find(beginning) == 0) lines.push_back(line);
      }
    }
    return lines;
  }

  TestRoot root;
  LogCapture log;
  boost::shared_ptr<TalvoQuillpost::IService> service;
};

// The threads of this process.
inline std::size_t CountThreads() {
  namespace fs = boost::filesystem;
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
}
