// What the service makes is its user's alone, whatever umask it was started with; and no name that
// a client gives leads out of the directories that are meant.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "faults/Road.h"

namespace fs = boost::filesystem;

namespace {

// The umask of the process, and so of what it starts, as long as the object lives.
class Umask {
 public:
  explicit Umask(mode_t mask) : before_(::umask(mask)) {}
  ~Umask() { ::umask(before_); }
  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;

 private:
  const mode_t before_;
};

void ExpectPrivate(const fs::path& directory) {
  int entries = 0;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    const fs::file_status status = entry.symlink_status();
    const auto expected = status.type() == fs::directory_file ? 0700 : 0600;
    EXPECT_EQ(status.permissions(), expected) << entry.path();
    ++entries;
  }
  EXPECT_GE(entries, 1) << directory;
  EXPECT_EQ(fs::status(directory).permissions(), 0700) << directory;
}

}  // namespace

TEST(Privacy, WhatIsStoredAndOfferedIsForTheUserAlone) {
  TestRoot root;
  root.Subscribe("Notes", "1.2.*.*");
  WriteFile(root.path() / "in.stf2", TwoPages(1000));
  const Umask nothing(0);
  KilledService service(QUILLPOSTD, (root.path() / "log").string());
  ASSERT_TRUE(service.WaitUntilServing());
  WireClient client(IPC::Protocol::Quillpost::GetEndpoint());
  EXPECT_EQ(client.Request("ImportSTF2File",
                           Params({{"InkPackagePath", (root.path() / "in.stf2").string()}})),
            "Success");
  client.Request("EnableNotifications", Params({{"ApplicationID", "Notes"}}));
  const Json::Value package = client.WaitForNotification();
  EXPECT_TRUE(fs::exists(package["InkPackagePath"].asString()));
  ExpectPrivate(root.storage());
  ExpectPrivate(root.scratch());
  EXPECT_EQ(fs::status(IPC::Protocol::Quillpost::GetEndpoint()).permissions(), 0600);
  EXPECT_EQ(service.Stop(), 0);
}

TEST(Privacy, NoApplicationIDAndNoPageLeadsOut) {
  Road road;
  WriteFile(road.root().subscriptions().parent_path() / "Outside",
            R"({"Path":"/x","Title":"","PageAddresses":["1.2.*.*"]})");
  ASSERT_TRUE(road.Start());
  WireClient client(IPC::Protocol::Quillpost::GetEndpoint());
  for (const char* name : {"../Outside", "..", ".", "./Notes", "/etc/passwd", "Notes/", "",
                           "Subscriptions/../Notes", ".Notes", "Notes\n"}) {
    EXPECT_EQ(client.Request("EnableNotifications", Params({{"ApplicationID", name}})),
              "NotRegistered")
        << name;
  }
  for (const char* page : {"../1.2.3.4", "1.2.3.4/../../x", "..", "/tmp/x", "1.2.3.4/", "1..2.3",
                           "..1.2.3", "1.2.3.4\n", "encrypted-stf2/.."}) {
    const std::string file = (road.root().path() / "strange.stf2").string();
    WriteFile(file, InkFile().AddStroke(page, 1000).bytes());
    EXPECT_EQ(road.ImportFile(file), "Failed") << page;
  }
  EXPECT_FALSE(fs::exists(road.root().storage()));
  EXPECT_EQ(road.Stop(), 0);
}
