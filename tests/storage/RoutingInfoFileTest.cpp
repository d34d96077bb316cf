// How a change reaches RoutingInfo.txt: which bytes are written, and what makes the whole file be.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "common/File.h"
#include "storage/LibraryArchive.h"
#include "storage/RoutingTable.h"
#include "storage/StoreTest.h"
#include "support/FileWatch.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {
namespace {

class RoutingInfoFileTest : public StoreTest {
 protected:
  // Twenty strokes, claimed and saved.
  RoutingInfoFileTest() {
    for (int i = 10; i < 30; ++i) Put("s" + std::to_string(i) + ".stf2");
    EXPECT_TRUE(Sync({kApp}));
    model_ = Saved();
  }

  bool Mark(const std::string& name) {
    model_[Stroke(name)][kApp] = {true, true};
    return SetRoutingInfoMarkers(kPen, kApp, {Stroke(name)}, {Stroke(name)});
  }

  // Puts other bytes there, behind the back of the service.
  void Overwrite(const std::string& bytes, std::size_t position) const {
    const int file = ::open(RoutingInfoPath().c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
              ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(position)));
    ::close(file);
  }

  struct stat Status() const {
    struct stat status = {};
    EXPECT_EQ(0, ::stat(RoutingInfoPath().c_str(), &status));
    return status;
  }

  void ExpectFresh() const { EXPECT_EQ(WriteRoutingInfo(model_), ReadFile(RoutingInfoPath())); }

  StrokeMap model_;
};

TEST_F(RoutingInfoFileTest, AMarkIsWrittenIntoTheFile) {
  const auto before = Status();
  ASSERT_TRUE(Mark("s15"));
  ExpectFresh();
  EXPECT_EQ(before.st_ino, Status().st_ino);
}

TEST_F(RoutingInfoFileTest, ClaimsOfAnotherApplicationOnKnownStrokesAreWritten) {
  for (auto& [id, claims] : model_) claims["app.two"];
  ASSERT_TRUE(Sync({kApp, "app.two"}));
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, MarksOfManyStrokesAreWrittenTogether) {
  for (const char* name : {"s10", "s29", "s20"}) model_[Stroke(name)][kApp] = {true, false};
  const Strokes strokes = {Stroke("s10"), Stroke("s20"), Stroke("s29")};
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, strokes, {}));
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, AChangeIsWrittenOnceAndTheFileNotReadAgain) {
  FileWatch watch(RoutingInfoPath());
  const auto expect_writes_once = [&](const auto& change) {
    EXPECT_TRUE(change());
    EXPECT_NE(0u, watch.Seen() & IN_MODIFY);
    EXPECT_TRUE(Sync({kApp}));
    EXPECT_TRUE(SaveRoutingInfo(kPen));
    EXPECT_EQ(0u, watch.Seen());
  };
  expect_writes_once([&] { return Mark("s15"); });
  Put("s205.stf2");
  model_[Stroke("s205")][kApp];
  expect_writes_once([&] { return Sync({kApp}); });
  model_.erase(Stroke("s25"));
  expect_writes_once([&] { return RemoveStrokes(kPen, {Stroke("s25")}); });
  ExpectFresh();
}

// A routing pass is at the pages of the pen, and an application confirms ink before it ends.
TEST_F(RoutingInfoFileTest, MarksBesideClaimsThatWaitAreWrittenWithThem) {
  Put("s145.stf2");
  model_[Stroke("s145")][kApp];
  const auto apps = std::make_shared<const Names>(Names{kApp});
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  for (const char* name : {"s12", "s145", "s20"}) model_[Stroke(name)][kApp] = {true, true};
  const Strokes strokes = {Stroke("s12"), Stroke("s145"), Stroke("s20")};
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, strokes, strokes));
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, NewStrokesAreWrittenFromWhereTheBytesDiffer) {
  for (const char* name : {"s30", "s145", "s99"}) {
    Put(std::string(name) + ".stf2");
    model_[Stroke(name)][kApp];
    ASSERT_TRUE(Sync({kApp}));
    ExpectFresh();
  }
}

TEST_F(RoutingInfoFileTest, ANewFirstStrokeIsWrittenRight) {
  Put("a.stf2");
  model_[Stroke("a")][kApp];
  ASSERT_TRUE(Sync({kApp}));
  ExpectFresh();
  ASSERT_TRUE(Mark("a"));
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, FewerStrokesMakeAShorterFile) {
  for (const char* name : {"s29", "s20", "s10", "s11"}) {
    model_.erase(Stroke(name));
    ASSERT_TRUE(RemoveStrokes(kPen, {Stroke(name)}));
    ExpectFresh();
  }
}

TEST_F(RoutingInfoFileTest, ANumberOfStrokesWithMoreDigitsMovesEverything) {
  for (int i = 30; i < 110; ++i) {
    Put("t" + std::to_string(i) + ".stf2");
    model_[Stroke("t" + std::to_string(i))][kApp];
  }
  ASSERT_TRUE(Sync({kApp}));
  ExpectFresh();
}

// A file that was overwritten has the same size and inode. It has another time only if the clock
// has moved on since the service wrote.
TEST_F(RoutingInfoFileTest, BytesThatAnotherProgramPutsThereAreNotBelieved) {
  for (int i = 10; i < 15; ++i) {
    ASSERT_TRUE(Mark("s" + std::to_string(i)));
    WaitForClockTick();
    Overwrite("~~~", 100);
    ASSERT_TRUE(SaveRoutingInfo(kPen));
    ExpectFresh();
    WaitForClockTick();
    Overwrite("~~~", 100);
    ASSERT_TRUE(Mark("s10"));
    ExpectFresh();
  }
}

// As a copy that keeps the times does.
TEST_F(RoutingInfoFileTest, BytesThatComeWithTheOldTimeAreNotBelieved) {
  for (const bool is_marked : {false, true}) {
    const auto before = Status();
    WaitForClockTick();
    Overwrite("~~~", 100);
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, RoutingInfoPath().c_str(), times, 0));
    ASSERT_TRUE(is_marked ? Mark("s10") : SaveRoutingInfo(kPen));
    ExpectFresh();
  }
}

TEST_F(RoutingInfoFileTest, AFileInItsPlaceIsNotBelieved) {
  WriteFile(PenPath("copy"), std::string(ReadFile(RoutingInfoPath()).size(), 'x'));
  fs::rename(PenPath("copy"), RoutingInfoPath());
  ASSERT_TRUE(Mark("s12"));
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, AFileThatIsCutOrGoneIsMadeAnew) {
  fs::resize_file(RoutingInfoPath(), 50);
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  ExpectFresh();
  fs::remove(RoutingInfoPath());
  ASSERT_TRUE(Sync({kApp}));
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, AFileThatBecomesUnwritableIsNamedThoughNothingChanged) {
  const LogCapture log;
  fs::remove(RoutingInfoPath());
  fs::create_directory(RoutingInfoPath());
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_EQ(log.lines(), Lines({{1,
                                 "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create "
                                 "file 'ROOT/AJ3-000-1X/RoutingInfo.txt'."}}));
}

TEST_F(RoutingInfoFileTest, AFileThatWasReadIsKnownFromThenOn) {
  Cleanup();
  Initialize();
  FileWatch watch(RoutingInfoPath());
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(0u, watch.Seen());
  ASSERT_TRUE(Mark("s15"));
  EXPECT_EQ(std::uint32_t(IN_MODIFY), watch.Seen());
  ExpectFresh();
}

TEST_F(RoutingInfoFileTest, BytesBehindAnArchiveThatWasReadAreTakenAway) {
  const std::string archive = ReadFile(RoutingInfoPath());
  WriteFile(RoutingInfoPath(), archive + "bytes that nobody reads");
  Cleanup();
  Initialize();
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(archive, ReadFile(RoutingInfoPath()));
}

// Marks, claims and removals in every order, several of them between two saves.
TEST(RoutingInfoFileOfATable, HoldsAllThatChangedSinceTheLastSave) {
  constexpr unsigned int kSeed = 20260207;
  constexpr int kRounds = 3000;
  const TestRoot root;
  const fs::path path = root.storage() / kPen / "RoutingInfo.txt";
  RoutingTable table(kPen);
  std::mt19937 random(kSeed);
  const auto any_stroke = [&] {
    return StrokeID{random() % 8 > 0 ? kPage : "5.6.7.8", std::to_string(random() % 60), "stf2"};
  };
  const auto change = [&] {
    const std::string app = random() % 3 > 0 ? kApp : "app.two";
    switch (random() % 16) {
      case 0:
        return table.Erase(any_stroke());
      case 1:
      case 2:
        return table.Claim(any_stroke(), {kApp, app});
      case 3:
        return table.KeepClaims("5.6.7.8", {app});
      default:
        return table.Mark(any_stroke(), app, random() % 2 > 0);
    }
  };
  for (int i = 10; i < 50; ++i) table.Claim({kPage, std::to_string(i), "stf2"}, {kApp});
  for (int round = 0; round < kRounds && !testing::Test::HasFailure(); ++round) {
    std::string reason;
    EXPECT_TRUE(table.Save(reason)) << reason;
    EXPECT_EQ(WriteWithLibrary(table.strokes()), ReadFile(path))
        << "seed " << kSeed << ", round " << round;
    for (unsigned int changes = 1 + random() % 4; changes > 0; --changes) change();
  }
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
