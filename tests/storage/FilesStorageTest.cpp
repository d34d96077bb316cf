// The store from start to stop: what a start loads and what it makes of damaged routing info, and
// the removal of strokes.

#include "storage/FilesStorage.h"

#include <boost/filesystem.hpp>
#include <thread>

#include "storage/StoreTest.h"
#include "support/DescriptorLimit.h"

using namespace TalvoQuillpost::Storage;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = boost::filesystem;

namespace {

class FilesStorageTest : public StoreTest {
 protected:
  // Writes routing info with these strokes, claimed by kApp and not delivered.
  void WriteStrokes(const Names& names, const std::string& pen = kPen) const {
    StrokeMap strokes;
    for (const std::string& name : names) strokes[Stroke(name)] = {{kApp, {}}};
    WriteFile(Path(pen + "/RoutingInfo.txt"), WriteRoutingInfo(strokes));
  }

  // What Initialize logs between its first and its last line.
  Lines LinesOfInitialize() const {
    const LogCapture log;
    EXPECT_TRUE(Initialize());
    Lines lines = log.lines();
    EXPECT_GE(lines.size(), 2u);
    EXPECT_EQ(
        LogCapture::Line(3, "Initializing Storage (ROOT: '" + root_.storage().string() + "')..."),
        lines.front());
    EXPECT_EQ(LogCapture::Line(3, "Storage initialized."), lines.back());
    return Lines(lines.begin() + 1, lines.end() - 1);
  }

  static LogCapture::Line Loaded(const std::string& pen, int strokes) {
    return {3, "Loaded Routing Info 'ROOT/" + pen + "/RoutingInfo.txt' with " +
                   std::to_string(strokes) + " Ink items."};
  }
};

class InitializeTest : public FilesStorageTest {};
class RemoveStrokesTest : public FilesStorageTest {};

}  // namespace

// ---- Initialize, Cleanup ---------------------------------------------------------------------

TEST_F(InitializeTest, AStoreThatIsNotThereIsEmptyAndNotMade) {
  EXPECT_THAT(LinesOfInitialize(), IsEmpty());
  EXPECT_FALSE(fs::exists(root_.storage()));
  fs::create_directories(root_.storage());
  EXPECT_THAT(LinesOfInitialize(), IsEmpty());
}

TEST_F(InitializeTest, LoadsEveryPenInOrder) {
  WriteStrokes({"a"}, "pen-B");
  WriteStrokes({"a", "b", "c"}, "pen-A");
  fs::create_directories(Path("pen-C"));
  fs::create_directories(Path("not a pen"));
  EXPECT_EQ(Lines({{2, "Got unexpected directory while looking for Pen Serials: '" +
                           Path("not a pen").string() + "'."},
                   Loaded("pen-A", 3),
                   Loaded("pen-B", 1)}),
            LinesOfInitialize());
  EXPECT_THAT(Undelivered(kApp, "pen-A"), ElementsAre(Stroke("a"), Stroke("b"), Stroke("c")));
  EXPECT_THAT(Undelivered(kApp, "pen-B"), ElementsAre(Stroke("a")));
}

TEST_F(InitializeTest, MarksAreThereAgain) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {Stroke("a")}, {Stroke("a")}));
  Cleanup();
  EXPECT_THAT(Processed(), IsEmpty());
  Cleanup();
  ASSERT_TRUE(Initialize());
  EXPECT_THAT(Processed(), ElementsAre(Stroke("a")));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("b")));
}

TEST_F(InitializeTest, AnArchiveWithoutStrokesMakesNoEntry) {
  WriteStrokes({});
  EXPECT_THAT(LinesOfInitialize(), IsEmpty());
  EXPECT_FALSE(SaveRoutingInfo(kPen));
}

TEST_F(InitializeTest, AgainMergesAndReplacesOnlyWhatItReads) {
  WriteStrokes({"a"}, "pen-A");
  WriteStrokes({"b"}, "pen-B");
  WriteStrokes({"c"}, "pen-C");
  ASSERT_TRUE(Initialize());
  WriteStrokes({"a2", "a3"}, "pen-A");
  fs::remove_all(Path("pen-B"));
  WriteFile(Path("pen-C/RoutingInfo.txt"), "damaged");
  ASSERT_TRUE(Initialize());
  EXPECT_THAT(Undelivered(kApp, "pen-A"), ElementsAre(Stroke("a2"), Stroke("a3")));
  EXPECT_THAT(Undelivered(kApp, "pen-B"), ElementsAre(Stroke("b")));
  EXPECT_THAT(Undelivered(kApp, "pen-C"), ElementsAre(Stroke("c")));
}

TEST_F(InitializeTest, WhatIsNoRegularFileIsNamedAndNeverWaitedFor) {
  fs::create_directories(Path("pen-A/RoutingInfo.txt"));
  fs::create_directories(Path("pen-B"));
  ASSERT_EQ(0, ::mkfifo(Path("pen-B/RoutingInfo.txt").c_str(), 0600));
  WriteStrokes({"a"}, "pen-C");
  EXPECT_EQ(Lines({{1, "Routing Info 'ROOT/pen-A/RoutingInfo.txt' is not regular file?!?."},
                   {1, "Routing Info 'ROOT/pen-B/RoutingInfo.txt' is not regular file?!?."},
                   Loaded("pen-C", 1)}),
            LinesOfInitialize());
}

TEST_F(InitializeTest, LinksCountByWhatTheyPointTo) {
  WriteStrokes({"a"}, "pen-A");
  fs::create_directories(Path("pen-B"));
  fs::create_symlink("../pen-A/RoutingInfo.txt", Path("pen-B/RoutingInfo.txt"));
  fs::create_directories(Path("pen-C"));
  fs::create_symlink("nowhere", Path("pen-C/RoutingInfo.txt"));
  EXPECT_EQ(Lines({Loaded("pen-A", 1), Loaded("pen-B", 1)}), LinesOfInitialize());
}

TEST_F(InitializeTest, AFileThatCantBeOpenedIsNamed) {
  WriteStrokes({"a"}, "pen-A");
  WriteStrokes({"b"}, "pen-B");
  fs::permissions(Path("pen-A/RoutingInfo.txt"), fs::perms(0));
  const PlainUser user;
  EXPECT_EQ(
      Lines({{1, "Failed to open Routing Info 'ROOT/pen-A/RoutingInfo.txt'."}, Loaded("pen-B", 1)}),
      LinesOfInitialize());
}

TEST_F(InitializeTest, ADamagedFileIsNamedWithTheReasonAndThePenStartsEmpty) {
  WriteStrokes({"a", "b"}, "pen-A");
  const std::string whole = ReadFile(Path("pen-A/RoutingInfo.txt"));
  WriteFile(Path("pen-A/RoutingInfo.txt"), whole.substr(0, whole.size() - 10));
  WriteFile(Path("pen-B/RoutingInfo.txt"), "");
  WriteFile(Path("pen-C/RoutingInfo.txt"), "22 serialization::arcHive 17 0 0 0 0\n");
  WriteFile(Path("pen-D/RoutingInfo.txt"), "22 serialization::archive 9999 0 0 0 0\n");
  WriteStrokes({"a"}, "pen-E");
  const auto corrupted = [](const std::string& pen, const std::string& reason) {
    return LogCapture::Line(
        2, "Corrupted Routing Info 'ROOT/" + pen + "/RoutingInfo.txt': " + reason + ".");
  };
  EXPECT_EQ(
      Lines({corrupted("pen-A", "input stream error"), corrupted("pen-B", "input stream error"),
             corrupted("pen-C", "invalid signature"), corrupted("pen-D", "unsupported version"),
             Loaded("pen-E", 1)}),
      LinesOfInitialize());
  EXPECT_FALSE(SaveRoutingInfo("pen-A"));
  EXPECT_THAT(Undelivered(kApp, "pen-A"), IsEmpty());
}

// The stroke files are there: the next routing pass makes of them what it would have made at first.
TEST_F(InitializeTest, ADamagedFileIsMadeAnewFromTheStrokeFiles) {
  Put("a.stf2");
  WriteFile(RoutingInfoPath(), "damaged");
  ASSERT_TRUE(Initialize());
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("a")));
  EXPECT_EQ(1u, Saved().size());
}

TEST_F(InitializeTest, AFileTooLargeToBeRoutingInfoIsNotReadIntoMemory) {
  WriteFile(RoutingInfoPath(), "22 serialization::archive");
  ASSERT_EQ(0, ::truncate(RoutingInfoPath().c_str(), off_t{1} << 42));
  EXPECT_EQ(
      Lines({{2, "Corrupted Routing Info 'ROOT/AJ3-000-1X/RoutingInfo.txt': file too large."}}),
      LinesOfInitialize());
}

// What lies behind an archive is not looked at, so that the file can be made as long as one likes.
TEST_F(InitializeTest, AFileOfTheGreatestSizeIsReadAndOneByteMoreIsNot) {
  constexpr off_t kGreatest = off_t{256} << 20;
  WriteStrokes({"a"});
  ASSERT_EQ(0, ::truncate(RoutingInfoPath().c_str(), kGreatest));
  EXPECT_EQ(Lines({Loaded(kPen, 1)}), LinesOfInitialize());
  ASSERT_EQ(0, ::truncate(RoutingInfoPath().c_str(), kGreatest + 1));
  EXPECT_EQ(
      Lines({{2, "Corrupted Routing Info 'ROOT/AJ3-000-1X/RoutingInfo.txt': file too large."}}),
      LinesOfInitialize());
}

TEST_F(InitializeTest, AFileThatCantBeAskedForRaisesAndReleasesTheLock) {
  fs::create_directories(PenPath());
  fs::create_symlink("RoutingInfo.txt", RoutingInfoPath());
  const LogCapture log;
  EXPECT_THROW(Initialize(), fs::filesystem_error);
  EXPECT_EQ(1u, log.lines().size());
  std::thread([] { EXPECT_THAT(Undelivered(), IsEmpty()); }).join();
}

TEST_F(InitializeTest, AStoreThatCantBeReadRaises) {
  fs::create_directories(root_.storage());
  fs::permissions(root_.storage(), fs::perms(0));
  {
    const PlainUser user;
    EXPECT_THROW(Initialize(), fs::filesystem_error);
  }
  fs::permissions(root_.storage(), fs::perms(0755));
}

TEST_F(InitializeTest, AUserWithoutAHomeIsNamed) {
  const UnknownUser user;
  if (!user.is_set()) GTEST_SKIP() << "only root can take on the user ID of nobody's";
  {
    const LogCapture log(1);
    EXPECT_FALSE(Initialize());
    EXPECT_EQ(Lines({{1,
                      "Failed to find a home directory of user 3999999998 in the password "
                      "database."}}),
              log.lines());
  }
  EXPECT_FALSE(Initialize());
  EXPECT_TRUE(GetStorageRoot().empty());
}

TEST_F(FilesStorageTest, CleanupEmptiesTheTableAndTouchesNoFile) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  const std::string saved = ReadFile(RoutingInfoPath());
  const LogCapture log;
  Cleanup();
  EXPECT_EQ(Lines({{3, "Storage deinitialized."}}), log.lines());
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_EQ(saved, ReadFile(RoutingInfoPath()));
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
}

// ---- RemoveStrokes ---------------------------------------------------------------------------

TEST_F(RemoveStrokesTest, FilesAndEntriesGoAndTheRestStays) {
  for (const char* name : {"a.stf2", "b.stf2", "c.stf2"}) Put(name);
  Put("a.stf2", "1.2.3.5");
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(Sync({kApp}, "1.2.3.5"));
  const LogCapture log;
  EXPECT_TRUE(RemoveStrokes(kPen, {Stroke("a"), Stroke("c")}));
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/a.stf2")));
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/c.stf2")));
  EXPECT_TRUE(fs::exists(PenPath("1.2.3.4/b.stf2")));
  EXPECT_TRUE(fs::exists(PenPath("1.2.3.5/a.stf2")));
  EXPECT_EQ(StrokeMap({{Stroke("a", "1.2.3.5"), {{kApp, {}}}}, {Stroke("b"), {{kApp, {}}}}}),
            Saved());
  EXPECT_EQ(Lines({{3, "Removing 2 Inks from Pen 'AJ3-000-1X' storage..."},
                   {3, "Removed 2 Inks from Pen 'AJ3-000-1X' storage."}}),
            log.lines());
}

TEST_F(RemoveStrokesTest, NothingToRemoveIsSavedAllTheSame) {
  const LogCapture log;
  EXPECT_TRUE(RemoveStrokes(kPen, {}));
  EXPECT_EQ(WriteRoutingInfo({}), ReadFile(RoutingInfoPath()));
  EXPECT_EQ(Lines({{3, "Removing 0 Inks from Pen 'AJ3-000-1X' storage..."},
                   {3, "Removed 0 Inks from Pen 'AJ3-000-1X' storage."}}),
            log.lines());
}

TEST_F(RemoveStrokesTest, AnInvalidPenIsNamedAndNothingElseHappens) {
  const LogCapture log;
  EXPECT_FALSE(RemoveStrokes("pen/..", {Stroke("a")}));
  EXPECT_EQ(Lines({{3, "Removing 1 Inks from Pen 'pen/..' storage..."},
                   {1, "Ink Removing failed: invalid Pen Serial - 'pen/..'."}}),
            log.lines());
  EXPECT_FALSE(fs::exists(root_.storage()));
}

// Each one is named, the next one is tried, and all of them leave the table.
TEST_F(RemoveStrokesTest, WhatCantBeRemovedIsNamedAndLeavesTheTableAllTheSame) {
  Put("file.stf2");
  Put("gone.stf2");
  fs::create_directories(PenPath("1.2.3.4/folder.stf2/below"));
  fs::create_symlink("nowhere", PenPath("1.2.3.4/link.stf2"));
  fs::create_symlink("loop.stf2", PenPath("1.2.3.4/loop.stf2"));
  ASSERT_TRUE(Sync({kApp}));
  fs::remove(PenPath("1.2.3.4/gone.stf2"));
  const LogCapture log;
  EXPECT_TRUE(RemoveStrokes(kPen, {{kPage, "", ""},
                                   {kPage, "..", ""},
                                   {"1.2.3", "a", "stf2"},
                                   Stroke("../../x"),
                                   Stroke("file"),
                                   Stroke("folder"),
                                   Stroke("gone"),
                                   Stroke("link"),
                                   Stroke("loop"),
                                   Stroke(std::string(300, 'n'))}));
  const std::string stf2 = ".stf2";
  const std::string long_name = "1.2.3.4/" + std::string(300, 'n') + stf2;
  const auto missing = [](const std::string& name) {
    return LogCapture::Line(1, "Ink Removing failed (" + name +
                                   "): file does not exists: 'ROOT/AJ3-000-1X/" + name + "'");
  };
  EXPECT_EQ(Lines({{3, "Removing 10 Inks from Pen 'AJ3-000-1X' storage..."},
                   {1, "Ink Removing failed (1.2.3.4/unnamed): invalid stroke id."},
                   {1, "Ink Removing failed (1.2.3.4/..): invalid stroke id."},
                   {1, "Ink Removing failed (1.2.3.4/../../x.stf2): invalid stroke id."},
                   {1, "Ink Removing failed (1.2.3/a.stf2): invalid Page Address - '1.2.3'."},
                   {1,
                    "Ink Removing failed (1.2.3.4/folder.stf2): can't remove file "
                    "'ROOT/AJ3-000-1X/1.2.3.4/folder.stf2': Directory not empty"},
                   missing("1.2.3.4/gone.stf2"),
                   missing("1.2.3.4/link.stf2"),
                   missing("1.2.3.4/loop.stf2"),
                   missing(long_name),
                   {3, "Removed 10 Inks from Pen 'AJ3-000-1X' storage."}}),
            log.lines());
  EXPECT_THAT(Saved(), IsEmpty());
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/file.stf2")));
}

// A service that was killed had removed a file, and not yet taken its stroke out of the table.
TEST_F(RemoveStrokesTest, ARemovalThatWasCutOffIsFinishedAfterTheNextStart) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  const Strokes strokes = {Stroke("a"), Stroke("b")};
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, strokes, strokes));
  fs::remove(PenPath("1.2.3.4/a.stf2"));
  Cleanup();
  const LogCapture log;
  ASSERT_TRUE(Initialize());
  EXPECT_TRUE(log.Has(3, "Dropped 1 processed Inks from Pen 'AJ3-000-1X' whose files are gone."));
  EXPECT_EQ(Strokes({Stroke("b")}), Processed());
  RemoveProccessedStrokes(kPen);
  EXPECT_EQ(0u, log.CountUpTo(2));
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/b.stf2")));
  EXPECT_THAT(Saved(), IsEmpty());
}

// Offered again after the next start, a stroke without a file would keep back all other ink of the
// pen: so no file is removed before the marks of its stroke are on the disk.
TEST_F(RemoveStrokesTest, NothingIsRemovedWhoseMarksCanNotBeSynced) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {Stroke("a")}, {Stroke("a")}));
  const LogCapture log(1);
  {
    const DescriptorLimit limit(0);
    RemoveProccessedStrokes(kPen);
  }
  EXPECT_THAT(log.lines(),
              ElementsAre(LogCapture::Line{1,
                                           "Failed to save Routing Info for Pen 'AJ3-000-1X': "
                                           "can't sync file: Too many open files."}));
  EXPECT_TRUE(fs::exists(PenPath("1.2.3.4/a.stf2")));
  RemoveProccessedStrokes(kPen);
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/a.stf2")));
}

TEST_F(RemoveStrokesTest, NothingIsRemovedWhoseMarksCanNotBeSaved) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  {
    const DescriptorLimit limit(0);
    EXPECT_FALSE(SetRoutingInfoMarkers(kPen, kApp, {Stroke("a")}, {Stroke("a")}));
    RemoveProccessedStrokes(kPen);
  }
  EXPECT_TRUE(fs::exists(PenPath("1.2.3.4/a.stf2")));
  RemoveProccessedStrokes(kPen);
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/a.stf2")));
  EXPECT_TRUE(Saved().empty());
}

TEST_F(RemoveStrokesTest, OfALinkOnlyTheLinkIsRemoved) {
  WriteFile(root_.path() / "elsewhere", "ink");
  fs::create_directories(PenPath(kPage));
  fs::create_symlink(root_.path() / "elsewhere", PenPath("1.2.3.4/link.stf2"));
  EXPECT_TRUE(RemoveStrokes(kPen, {Stroke("link")}));
  EXPECT_FALSE(fs::is_symlink(PenPath("1.2.3.4/link.stf2")));
  EXPECT_EQ("ink", ReadFile(root_.path() / "elsewhere"));
}

TEST_F(RemoveStrokesTest, TheResultIsThatOfSaving) {
  Put("a.stf2");
  fs::create_directory(RoutingInfoPath());
  const LogCapture log;
  EXPECT_FALSE(RemoveStrokes(kPen, {Stroke("a")}));
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ(Lines({{3, "Removing 1 Inks from Pen 'AJ3-000-1X' storage..."},
                   {1,
                    "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create file "
                    "'ROOT/AJ3-000-1X/RoutingInfo.txt'."},
                   {3, "Removed 1 Inks from Pen 'AJ3-000-1X' storage."}}),
            log.lines());
}
