// A change of an archive, by a process that is killed at each of its steps.

#include "storage/ArchiveChange.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/crc.hpp>
#include <set>

#include "support/TestRoot.h"

using namespace TalvoQuillpost::Storage;

namespace {

const std::string kOldHead = "22 serialization::archive 18 0 0 20";
const std::string kNewHead = "22 serialization::archive 18 0 0 21";

struct Change {
  std::string head;
  std::uint64_t offset;
  std::string tail;

  std::string ApplyTo(const std::string& old) const {
    return head + old.substr(head.size(), offset - head.size()) + tail;
  }
  void Make(const std::string& file) const {
    const int fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    const auto size = static_cast<std::uint64_t>(::lseek(fd, 0, SEEK_END));
    ChangeArchive(fd, size, head, offset, tail);
    ::close(fd);
  }
};

std::string WithChecksum(const std::string& parts) {
  boost::crc_32_type checksum;
  checksum.process_bytes(parts.data(), parts.size());
  return std::to_string(checksum.checksum()) + " " + parts;
}

class ArchiveChangeTest : public testing::Test {
 protected:
  std::string file() const { return (root_.path() / "archive").string(); }

  // Has a child make the change and kills it before its system call of that number, from 0. False
  // if the child has made fewer.
  bool KillAt(const Change& change, int call) const {
    const pid_t child = ::fork();
    if (child == 0) {
      ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      ::raise(SIGSTOP);
      change.Make(file());
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    const int stops = 2 * call + 1;  // one before each call and one after it
    for (int stop = 0; stop < stops && WIFSTOPPED(status); ++stop) {
      ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
      ::waitpid(child, &status, 0);
    }
    const bool is_alive = WIFSTOPPED(status);
    if (is_alive) {
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
    }
    return is_alive;
  }

  TestRoot root_;
};

const Change kChanges[] = {
    {kNewHead, 100, std::string(500, 'n')},                             // longer
    {kNewHead, 100, std::string(30, 'n')},                              // shorter
    {kNewHead, kNewHead.size(), std::string(9000, 'n')},                // all of it
    {kNewHead, 300, ""},                                                // cut
    {kNewHead, 100, std::string(20000, 'n') + " redo 0 0 1 2 3 4 \n"},  // many pages
};

TEST_F(ArchiveChangeTest, IsMade) {
  const std::string old = kOldHead + std::string(1000, 'o');
  for (const Change& change : kChanges) {
    WriteFile(file(), old);
    change.Make(file());
    EXPECT_EQ(ReadFile(file()), change.ApplyTo(old));
  }
}

TEST_F(ArchiveChangeTest, OfAKilledProcessIsMadeOrNotMade) {
  const std::string old = kOldHead + std::string(1000, 'o');
  for (const Change& change : kChanges) {
    const std::string changed = change.ApplyTo(old);
    std::set<std::string> left;
    int call = 0;
    for (WriteFile(file(), old); KillAt(change, call); WriteFile(file(), old), ++call) {
      const std::string archive = FinishChange(ReadFile(file()));
      // Behind its end an archive may be followed by anything.
      const bool is_old = archive.compare(0, old.size(), old) == 0;
      EXPECT_TRUE(is_old || archive.compare(0, changed.size(), changed) == 0) << call;
      left.insert(is_old ? "old" : "changed");
    }
    if (call == 0) GTEST_SKIP() << "this machine does not let a process be traced";
    EXPECT_GE(call, 5);
    EXPECT_EQ(left, (std::set<std::string>{"changed", "old"}));
  }
}

// A second process, killed too, meets the change that the first one did not finish.
TEST_F(ArchiveChangeTest, OnTopOfAnUnfinishedOneIsMadeOrNotMade) {
  const std::string old = kOldHead + std::string(1000, 'o');
  const Change second = {kNewHead, kNewHead.size(), std::string(3000, 'z')};
  for (int first_call = 0; WriteFile(file(), old), KillAt(kChanges[0], first_call); ++first_call) {
    const std::string unfinished = ReadFile(file());
    const std::string before = FinishChange(unfinished);
    const std::string changed = second.ApplyTo(before);
    for (int call = 0; WriteFile(file(), unfinished), KillAt(second, call); ++call) {
      const std::string archive = FinishChange(ReadFile(file()));
      EXPECT_TRUE(archive.compare(0, before.size(), before) == 0 ||
                  archive.compare(0, changed.size(), changed) == 0)
          << first_call << ", " << call;
    }
  }
}

TEST_F(ArchiveChangeTest, WithADamagedRecordIsLeftAsItIs) {
  const std::string old = kOldHead + std::string(300, 'o');
  const std::string record = WithChecksum("100 35 " + kNewHead + "5 nnnnn");
  const std::string mark = "redo 00000000000000000335 ";
  const std::string bytes = mark + old.substr(mark.size()) + record;
  ASSERT_EQ(FinishChange(bytes), kNewHead + old.substr(35, 65) + "nnnnn");
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_EQ(FinishChange(bytes.substr(0, size)), bytes.substr(0, size));
  }
  for (const char* damaged : {"redo ", "redo x", "redo 99999999999999999999999 ",
                              "redo 18446744073709551615 ", "redo -1 ", "redo 0 "}) {
    EXPECT_EQ(FinishChange(damaged), damaged);
  }
  // Sizes and offsets that point elsewhere.
  for (const char* parts : {"400 35 ", "34 35 ", "100 99999 ", "18446744073709551615 35 "}) {
    const std::string other =
        mark + old.substr(mark.size()) + WithChecksum(parts + kNewHead + "5 nnnnn");
    EXPECT_EQ(FinishChange(other), other);
  }
  // Any byte of the record that is another one.
  for (std::size_t i = old.size(); i < bytes.size(); ++i) {
    std::string other = bytes;
    other[i] ^= 1;
    EXPECT_EQ(FinishChange(other), other) << "byte " << i;
  }
}

}  // namespace
