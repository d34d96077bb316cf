#include "StoreReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <fstream>

#include "storage/FilesStorage.h"
#include "support/InkFile.h"
#include "support/Machine.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char kPen[] = "0123-4567-89AB-CDEF";

class StoreReportTest : public testing::Test {
 protected:
  void FileStroke(const std::string& page, const std::string& name, const std::string& bytes,
                  const std::string& pen = kPen) {
    ASSERT_TRUE(Storage::ImportStroke(pen, {page, name, "stf2"},
                                      std::vector<char>(bytes.begin(), bytes.end())));
  }

  fs::path PathOf(const std::string& stroke) const { return root_.storage() / kPen / stroke; }

  // Every name below the store, with its bytes.
  std::vector<std::string> Snapshot() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root_.storage())) {
      names.push_back(entry.path().string() +
                      (fs::is_regular_file(entry.path()) ? ReadFile(entry.path()) : ""));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  TestRoot root_;
};

}  // namespace

TEST_F(StoreReportTest, AMissingStoreIsEmpty) {
  const StoreReport report = ReadStore();
  EXPECT_EQ(root_.storage().string(), report.root);
  EXPECT_THAT(report.pens, IsEmpty());
  EXPECT_THAT(report.applications, IsEmpty());
  EXPECT_THAT(report.problems, IsEmpty());
  EXPECT_EQ(0u, report.Total().strokes);
}

TEST_F(StoreReportTest, CountsPensPagesStrokesAndBytes) {
  FileStroke("1.2.3.4", "1_2", "12345");
  FileStroke("1.2.3.4", "3_4", "123");
  FileStroke("1.2.3.5", "1_2", "12");
  FileStroke("1.2.3.4", "1_2", "1", "FFFF-FFFF-FFFF-FFFF");
  const StoreReport report = ReadStore();
  EXPECT_EQ(2u, report.pens.size());
  EXPECT_EQ(3u, report.PageCount());
  EXPECT_EQ(3u, report.Of(kPen).files);
  EXPECT_EQ(10u, report.Of(kPen).bytes);
  EXPECT_EQ(2u, report.pens.at(kPen).at("1.2.3.4").files);
  EXPECT_EQ(4u, report.Total().files);
  EXPECT_EQ(11u, report.Total().bytes);
  EXPECT_EQ(4u, report.unclaimed);
  EXPECT_THAT(report.problems, IsEmpty());
}

TEST_F(StoreReportTest, TellsHowFarEachApplicationIs) {
  root_.Subscribe("Notes", "1.2.3.*");
  root_.Subscribe("Quiet", "9.9.9.9");
  FileStroke("1.2.3.4", "1_2", "12345");
  FileStroke("1.2.3.4", "3_4", "123");
  FileStroke("1.2.3.5", "5_6", "12");
  ASSERT_TRUE(Storage::SyncRoutingInfo(kPen, "1.2.3.4", {"Notes", "Former"}));
  ASSERT_TRUE(Storage::SetRoutingInfoMarkers(
      kPen, "Notes", {{"1.2.3.4", "1_2", "stf2"}, {"1.2.3.4", "3_4", "stf2"}},
      {{"1.2.3.4", "3_4", "stf2"}}));
  const StoreReport report = ReadStore();
  ASSERT_EQ(3u, report.applications.size());
  const StoreReport::Application& notes = report.applications.at("Notes");
  EXPECT_TRUE(notes.subscribed);
  EXPECT_EQ("A test", notes.title);
  EXPECT_EQ(2u, notes.claimed);
  EXPECT_EQ(2u, notes.delivered);
  EXPECT_EQ(1u, notes.processed);
  EXPECT_FALSE(report.applications.at("Former").subscribed);
  EXPECT_EQ(2u, report.applications.at("Former").claimed);
  EXPECT_EQ(0u, report.applications.at("Former").delivered);
  EXPECT_EQ(0u, report.applications.at("Quiet").claimed);
}

TEST_F(StoreReportTest, CountsTheStrokesInTheFiles) {
  FileStroke("1.2.3.4", "1_2", InkFile().AddStroke("1.2.3.4", 1).AddStroke("1.2.3.4", 2).bytes());
  FileStroke("1.2.3.4", "3_4", InkFile().AddStroke("1.2.3.4", 3).bytes());
  FileStroke("encrypted-stf2", "1", Seal(InkFile().AddStroke("1.2.3.4", 3).bytes()));
  const StoreReport report = ReadStore();
  EXPECT_EQ(3u, report.Total().files);
  EXPECT_EQ(3u, report.Total().strokes) << "sealed strokes can't be counted";
}

TEST_F(StoreReportTest, TellsUnclaimedInkFromInkThatIsNotTakenUpYet) {
  root_.Subscribe("Notes", "1.2.3.*");
  FileStroke("1.2.3.4", "1_2", "12345");
  FileStroke("9.9.9.9", "1_2", "12345");
  FileStroke("9.9.9.9", "3_4", "12345");
  const StoreReport report = ReadStore();
  EXPECT_EQ(1u, report.unrouted);
  EXPECT_EQ(2u, report.unclaimed);
}

TEST_F(StoreReportTest, SaysWhyAnApplicationCannotBeLaunched) {
  root_.Subscribe("Notes", "1.2.3.*");
  root_.Subscribe("Shell", "1.2.3.*", "/bin/sh");
  const StoreReport report = ReadStore();
  EXPECT_EQ("/nonexistent/application: No such file or directory",
            report.applications.at("Notes").obstacle);
  EXPECT_EQ("", report.applications.at("Shell").obstacle);
}

TEST_F(StoreReportTest, CountsOnlyDirectoriesOfPens) {
  fs::create_directories(root_.storage() / "lost+found");
  fs::create_directories(root_.storage() / "backup/old");
  fs::create_directories(root_.storage() / "0000-0000-0000-0001");
  FileStroke("1.2.3.4", "1_2", "12345");
  fs::create_directories(PathOf("notes"));
  const StoreReport report = ReadStore();
  EXPECT_EQ(1u, report.pens.size());
  EXPECT_THAT(report.problems, ElementsAre("0123-4567-89AB-CDEF/notes is not a page's directory",
                                           "backup/old is not a page's directory",
                                           "\"backup\" is not a pen's directory",
                                           "\"lost+found\" is not a pen's directory"));
}

TEST_F(StoreReportTest, NamesAStrokeWithoutItsFile) {
  FileStroke("1.2.3.4", "1_2", "12345");
  FileStroke("1.2.3.4", "3_4", "12345");
  ASSERT_TRUE(Storage::SyncRoutingInfo(kPen, "1.2.3.4", {"Notes"}));
  fs::remove(PathOf("1.2.3.4/1_2.stf2"));
  const StoreReport report = ReadStore();
  EXPECT_THAT(report.problems,
              ElementsAre("0123-4567-89AB-CDEF/1.2.3.4/1_2.stf2: the file has vanished"));
  EXPECT_EQ(2u, report.applications.at("Notes").claimed);
  EXPECT_EQ(1u, report.Total().files);
}

// It is being removed: the service takes it out of the table after its file.
TEST_F(StoreReportTest, AStrokeThatAllHaveReceivedHasNotVanished) {
  FileStroke("1.2.3.4", "1_2", "12345");
  ASSERT_TRUE(Storage::SyncRoutingInfo(kPen, "1.2.3.4", {"Notes"}));
  const Storage::StrokeID id = {"1.2.3.4", "1_2", "stf2"};
  fs::remove(PathOf("1.2.3.4/1_2.stf2"));
  EXPECT_EQ(1u, ReadStore().problems.size());
  ASSERT_TRUE(Storage::SetRoutingInfoMarkers(kPen, "Notes", {id}, {id}));
  EXPECT_THAT(ReadStore().problems, IsEmpty());
}

TEST_F(StoreReportTest, NamesWhatIsInAStrokesPlace) {
  FileStroke("1.2.3.4", "1_2", "12345");
  FileStroke("1.2.3.4", "3_4", "12345");
  ASSERT_TRUE(Storage::SyncRoutingInfo(kPen, "1.2.3.4", {"Notes"}));
  fs::remove(PathOf("1.2.3.4/1_2.stf2"));
  fs::remove(PathOf("1.2.3.4/3_4.stf2"));
  fs::create_directory(PathOf("1.2.3.4/1_2.stf2"));
  ASSERT_EQ(0, ::mkfifo(PathOf("1.2.3.4/3_4.stf2").c_str(), 0600));
  EXPECT_THAT(
      ReadStore().problems,
      ElementsAre("0123-4567-89AB-CDEF/1.2.3.4/1_2.stf2: a directory is in the place of the file",
                  "0123-4567-89AB-CDEF/1.2.3.4/3_4.stf2: the file is not a regular file"));
}

TEST_F(StoreReportTest, NamesAStrokeWithAnEmptyFile) {
  FileStroke("1.2.3.4", "1_2", "12345");
  WriteFile(PathOf("1.2.3.4/1_2.stf2"), "");
  EXPECT_THAT(ReadStore().problems,
              ElementsAre("0123-4567-89AB-CDEF/1.2.3.4/1_2.stf2: the file is empty"));
}

// What a disk that was full leaves of an import.
TEST_F(StoreReportTest, NamesAStrokeWithAFileCutShort) {
  InkFile ink;
  for (std::uint64_t i = 0; i < 200; ++i) ink.AddStroke("1.2.3.4", 1000 + i);
  const std::string plain = ink.bytes();
  const std::string sealed = Seal(plain);
  ASSERT_GT(plain.size(), 4096u);
  FileStroke("1.2.3.4", "whole", plain);
  FileStroke("encrypted-stf2", "whole", sealed);
  EXPECT_THAT(ReadStore().problems, IsEmpty());
  FileStroke("1.2.3.4", "cut", plain.substr(0, 4096));
  FileStroke("encrypted-stf2", "cut", sealed.substr(0, 4096));
  EXPECT_THAT(ReadStore().problems,
              ElementsAre("0123-4567-89AB-CDEF/1.2.3.4/cut.stf2: the file is cut short",
                          "0123-4567-89AB-CDEF/encrypted-stf2/cut.stf2: the file is cut short"));
}

// The service writes a stroke in its place, and a large one takes a while.
TEST_F(StoreReportTest, FindsNoFaultWithAStrokeWhileItIsBeingWritten) {
  const std::string whole = InkFile().AddStroke("1.2.3.4", 1000).bytes();
  FileStroke("1.2.3.4", "1_2", whole.substr(0, whole.size() / 2));
  WriteFile(PathOf("1.2.3.4/3_4.stf2"), "");
  {
    const std::ofstream half(PathOf("1.2.3.4/1_2.stf2").string(), std::ios::app);
    const std::ofstream none(PathOf("1.2.3.4/3_4.stf2").string(), std::ios::app);
    EXPECT_THAT(ReadStore().problems, IsEmpty());
    EXPECT_EQ(2u, ReadStore().Total().files);
  }
  EXPECT_THAT(ReadStore().problems,
              ElementsAre("0123-4567-89AB-CDEF/1.2.3.4/1_2.stf2: the file is cut short",
                          "0123-4567-89AB-CDEF/1.2.3.4/3_4.stf2: the file is empty"));
}

TEST_F(StoreReportTest, NamesAStrokeThatCannotBeRead) {
  FileStroke("1.2.3.4", "1_2", "12345");
  ::chmod(PathOf("1.2.3.4/1_2.stf2").c_str(), 0);
  ::chmod(root_.path().c_str(), 0755);
  const PlainUser user;
  EXPECT_THAT(ReadStore().problems,
              ElementsAre("0123-4567-89AB-CDEF/1.2.3.4/1_2.stf2: the file can't be read: "
                          "Permission denied"));
}

TEST_F(StoreReportTest, NamesACorruptedRoutingInfo) {
  FileStroke("1.2.3.4", "1_2", "12345");
  ASSERT_TRUE(Storage::SyncRoutingInfo(kPen, "1.2.3.4", {"Notes"}));
  const std::string whole = ReadFile(PathOf("RoutingInfo.txt"));
  WriteFile(PathOf("RoutingInfo.txt"), whole.substr(0, whole.size() / 2));
  const StoreReport report = ReadStore();
  ASSERT_EQ(1u, report.problems.size());
  EXPECT_THAT(report.problems[0],
              testing::StartsWith("0123-4567-89AB-CDEF/RoutingInfo.txt: the file is corrupted: "));
  EXPECT_EQ(1u, report.unclaimed);
}

TEST_F(StoreReportTest, NamesARoutingInfoThatIsNotAFile) {
  FileStroke("1.2.3.4", "1_2", "12345");
  ASSERT_EQ(0, ::mkfifo(PathOf("RoutingInfo.txt").c_str(), 0600));
  const StoreReport report = ReadStore();
  ASSERT_EQ(1u, report.problems.size());
  EXPECT_THAT(report.problems[0],
              testing::StartsWith("0123-4567-89AB-CDEF/RoutingInfo.txt: the file can't be read"));
}

TEST_F(StoreReportTest, ReadingChangesNothing) {
  root_.Subscribe("Notes", "1.2.3.*");
  FileStroke("1.2.3.4", "1_2", "12345");
  ASSERT_TRUE(Storage::SyncRoutingInfo(kPen, "1.2.3.4", {"Notes", "Former"}));
  fs::remove(PathOf("1.2.3.4/1_2.stf2"));
  fs::create_directories(PathOf("1.2.3.9"));
  const auto before = Snapshot();
  ReadStore();
  EXPECT_EQ(before, Snapshot());
}
