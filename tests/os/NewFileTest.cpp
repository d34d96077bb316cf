#include <TalvoCppUtils/Descriptor.h>
#include <TalvoOS/NewFile.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <set>
#include <string>
#include <thread>

#include "support/Machine.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using boost::system::errc::file_exists;
using TalvoCppUtils::Descriptor;

namespace {

class NewFile : public testing::Test {
 protected:
  std::string Write(const std::string& bytes) {
    std::string temporary;
    EXPECT_FALSE(TalvoOS::WriteTemporary(root_.path(), bytes.data(), bytes.size(), temporary));
    return temporary;
  }

  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(root_.path())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  std::string Content(const std::string& name) const { return ReadFile(root_.path() / name); }

  const TestRoot root_;
  const fs::path file_ = root_.path() / "ink";
  const std::set<std::string> before_ = Names();
};

TEST_F(NewFile, IsItsUsersAloneAndHiddenUntilItHasItsName) {
  const std::string temporary = Write("ink");
  EXPECT_EQ(fs::path(temporary).filename().string().front(), '.');
  struct stat status;
  ASSERT_EQ(0, ::stat(temporary.c_str(), &status));
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_FALSE(TalvoOS::GiveName(temporary, file_));
  EXPECT_EQ(Content("ink"), "ink");
  EXPECT_FALSE(fs::exists(temporary));
}

TEST_F(NewFile, TakesNoOtherFilesName) {
  WriteFile(file_, "old");
  const std::string temporary = Write("new");
  EXPECT_EQ(TalvoOS::GiveName(temporary, file_), file_exists);
  EXPECT_EQ(Content("ink"), "old");
  EXPECT_FALSE(fs::exists(temporary));
}

TEST_F(NewFile, ReplacesTheOtherIfWished) {
  WriteFile(file_, "old");
  EXPECT_FALSE(TalvoOS::GiveName(Write("new"), file_, /*replace=*/true));
  EXPECT_EQ(Content("ink"), "new");
}

TEST_F(NewFile, IsGoneIfItsNameCannotBeGiven) {
  const std::string temporary = Write("new");
  EXPECT_TRUE(TalvoOS::GiveName(temporary, root_.path() / "nowhere" / "ink"));
  EXPECT_EQ(Names(), before_);
}

TEST_F(NewFile, OnAFullDiskLeavesNothingAndTellsTheReason) {
  const fs::path full = root_.path() / "full";
  Disk disk(full);
  if (!disk.is_mounted()) GTEST_SKIP() << "no file system may be mounted";
  disk.Fill();
  const std::string bytes(200, 'x');
  std::string temporary;
  const auto error = TalvoOS::WriteTemporary(full, bytes.data(), bytes.size(), temporary);
  EXPECT_EQ(error.message(), "No space left on device");
  EXPECT_EQ(std::distance(fs::directory_iterator(full), fs::directory_iterator()), 1);
}

TEST_F(NewFile, AFileIsRenamedToAFreeNameOnly) {
  WriteFile(file_, "ink");
  WriteFile(root_.path() / "other", "other");
  EXPECT_EQ(TalvoOS::RenameWithoutReplacing(file_.string(), (root_.path() / "other").string()),
            file_exists);
  EXPECT_EQ(Content("ink"), "ink");
  EXPECT_FALSE(TalvoOS::RenameWithoutReplacing(file_.string(), (root_.path() / "free").string()));
  EXPECT_EQ(Content("free"), "ink");
  EXPECT_EQ(Content("other"), "other");
}

TEST_F(NewFile, AllBytesArriveThoughTheReaderIsSlow) {
  int ends[2];
  ASSERT_EQ(0, ::pipe(ends));
  Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  const std::string content(1 << 20, 'x');
  std::string arrived;
  std::thread thread([&] {
    char buffer[1000];
    for (ssize_t got; (got = ::read(reader.get(), buffer, sizeof buffer)) > 0;) {
      arrived.append(buffer, static_cast<std::size_t>(got));
    }
  });
  EXPECT_FALSE(TalvoOS::WriteAll(writer.get(), content.data(), content.size()));
  writer.Close();
  thread.join();
  EXPECT_EQ(content, arrived);
}

TEST_F(NewFile, TheErrorOfWritingIsTold) {
  EXPECT_EQ(EBADF, TalvoOS::WriteAll(-1, "ink", 3).value());
  EXPECT_FALSE(TalvoOS::WriteAll(-1, "ink", 0));
  const Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(ENOSPC, TalvoOS::WriteAll(full.get(), "ink", 3).value());
}

}  // namespace
