#include "Instance.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "support/TestRoot.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

class InstanceTest : public testing::Test {
 protected:
  InstanceTest() { std::filesystem::create_directories(directory_); }

  // The address as a running inbox writes it: whole or not at all.
  void WriteAddress(const std::string& address) {
    WriteFile(AddressFile(directory_) + ".new", address + "\n");
    std::filesystem::rename(AddressFile(directory_) + ".new", AddressFile(directory_));
  }

  const TestRoot root_;
  const std::string directory_ = (root_.path() / "inbox").string();
};

// A process that runs the inbox of the folder, until it is ended.
class RunningInbox {
 public:
  explicit RunningInbox(const std::string& directory) {
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    process_ = ::fork();
    if (process_ == 0) {
      const Instance instance(directory);
      const char answer = instance.is_ours() ? 'y' : 'n';
      if (::write(ready[1], &answer, 1) != 1) ::_exit(1);
      while (true) ::pause();
    }
    EXPECT_EQ(::read(ready[0], &answer_, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
  }
  ~RunningInbox() {
    if (!has_ended_) ::kill(process_, SIGKILL);
    if (!has_ended_) ::waitpid(process_, nullptr, 0);
  }
  RunningInbox(const RunningInbox&) = delete;
  RunningInbox& operator=(const RunningInbox&) = delete;

  bool is_ours() const { return answer_ == 'y'; }

  // The signal that ended it.
  int EndedBy() {
    int status = 0;
    EXPECT_EQ(::waitpid(process_, &status, 0), process_);
    has_ended_ = true;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

 private:
  pid_t process_ = -1;
  char answer_ = '?';
  bool has_ended_ = false;
};

}  // namespace

TEST_F(InstanceTest, OnlyOneAtATimeIsTheInboxOfAFolder) {
  {
    const Instance first(directory_);
    EXPECT_TRUE(first.is_ours());
    EXPECT_FALSE(Instance(directory_).is_ours());
    EXPECT_FALSE(RunningInbox(directory_).is_ours());
  }
  EXPECT_TRUE(Instance(directory_).is_ours());
}

TEST_F(InstanceTest, AKilledProcessLosesItsClaim) {
  { const RunningInbox killed(directory_); }
  EXPECT_TRUE(Instance(directory_).is_ours());
}

TEST_F(InstanceTest, TheClaimIsItsOwnersAlone) {
  const Instance instance(directory_);
  struct stat status;
  ASSERT_EQ(::stat((directory_ + "/inbox.lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

// A program that waits for the address of the next inbox must not read that of the last.
TEST_F(InstanceTest, AnAddressThatAKilledOneLeftIsGone) {
  WriteAddress("http://127.0.0.1:1/open?token=old");
  const Instance instance(directory_);
  EXPECT_FALSE(std::filesystem::exists(AddressFile(directory_)));
}

TEST_F(InstanceTest, AFolderThatCantBeWrittenToIsRefused) {
  const std::string missing = directory_ + "/missing";
  try {
    const Instance instance(missing);
    ADD_FAILURE() << "it was not refused";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "can't open " + missing + "/inbox.lock: No such file or directory");
  }
}

TEST_F(InstanceTest, WhereNoneRunsNoneIsEnded) {
  EXPECT_FALSE(EndRunning(directory_));
  { const Instance instance(directory_); }
  EXPECT_FALSE(EndRunning(directory_));
}

TEST_F(InstanceTest, TheOneThatRunsIsAskedToEndAndWaitedFor) {
  RunningInbox running(directory_);
  ASSERT_TRUE(running.is_ours());
  EXPECT_TRUE(EndRunning(directory_));
  EXPECT_EQ(running.EndedBy(), SIGTERM);
  EXPECT_TRUE(Instance(directory_).is_ours());
}

TEST_F(InstanceTest, AnAddressThatIsThereIsNotWaitedFor) {
  WriteAddress("http://127.0.0.1:2/open?token=new");
  EXPECT_EQ(WaitForAddress(directory_), "http://127.0.0.1:2/open?token=new");
}

TEST_F(InstanceTest, AnAddressThatComesIsSeen) {
  std::string address;
  std::thread waiting([&] { address = WaitForAddress(directory_); });
  WriteFile(directory_ + "/something.else", "news");
  WriteAddress("http://127.0.0.1:3/open?token=late");
  waiting.join();
  EXPECT_EQ(address, "http://127.0.0.1:3/open?token=late");
}

TEST_F(InstanceTest, WithoutABrowserTheUserIsToldSo) {
  const std::string path = ::getenv("PATH");
  // A shell, and no browser.
  std::filesystem::create_symlink("/bin/sh", directory_ + "/sh");
  ::setenv("PATH", directory_.c_str(), 1);
  testing::internal::CaptureStderr();
  EXPECT_FALSE(ShowInBrowser("http://127.0.0.1:4/"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "quillpost-inbox: there is no xdg-open to show it; open the address by hand\n");
  ::setenv("PATH", path.c_str(), 1);
}
