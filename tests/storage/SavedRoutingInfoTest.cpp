// How a change reaches RoutingInfo.txt: which bytes are written, and what makes the whole file be.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "storage/StoreTest.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {
namespace {

class SavedRoutingInfoTest : public StoreTest {
 protected:
  // Twenty strokes, claimed and saved.
  SavedRoutingInfoTest() {
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

TEST_F(SavedRoutingInfoTest, AMarkIsWrittenIntoTheFile) {
  const auto before = Status();
  ASSERT_TRUE(Mark("s15"));
  ExpectFresh();
  EXPECT_EQ(before.st_ino, Status().st_ino);
}

TEST_F(SavedRoutingInfoTest, ClaimsOfAnotherApplicationOnKnownStrokesAreWritten) {
  for (auto& [id, claims] : model_) claims["app.two"];
  ASSERT_TRUE(Sync({kApp, "app.two"}));
  ExpectFresh();
}

TEST_F(SavedRoutingInfoTest, MarksOfManyStrokesAreWrittenTogether) {
  for (const char* name : {"s10", "s29", "s20"}) model_[Stroke(name)][kApp] = {true, false};
  const Strokes strokes = {Stroke("s10"), Stroke("s20"), Stroke("s29")};
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, strokes, {}));
  ExpectFresh();
}

TEST_F(SavedRoutingInfoTest, ASaveWithoutAChangeWritesNothing) {
  const auto before = Status();
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(before.st_mtim.tv_sec, Status().st_mtim.tv_sec);
  EXPECT_EQ(before.st_mtim.tv_nsec, Status().st_mtim.tv_nsec);
  ExpectFresh();
}

TEST_F(SavedRoutingInfoTest, NewStrokesAreWrittenFromWhereTheBytesDiffer) {
  for (const char* name : {"s30", "s145", "s99"}) {
    Put(std::string(name) + ".stf2");
    model_[Stroke(name)][kApp];
    ASSERT_TRUE(Sync({kApp}));
    ExpectFresh();
  }
}

TEST_F(SavedRoutingInfoTest, ANewFirstStrokeIsWrittenRight) {
  Put("a.stf2");
  model_[Stroke("a")][kApp];
  ASSERT_TRUE(Sync({kApp}));
  ExpectFresh();
  ASSERT_TRUE(Mark("a"));
  ExpectFresh();
}

TEST_F(SavedRoutingInfoTest, FewerStrokesMakeAShorterFile) {
  for (const char* name : {"s29", "s20", "s10", "s11"}) {
    model_.erase(Stroke(name));
    ASSERT_TRUE(RemoveStrokes(kPen, {Stroke(name)}));
    ExpectFresh();
  }
}

TEST_F(SavedRoutingInfoTest, ANumberOfStrokesWithMoreDigitsMovesEverything) {
  for (int i = 30; i < 110; ++i) {
    Put("t" + std::to_string(i) + ".stf2");
    model_[Stroke("t" + std::to_string(i))][kApp];
  }
  ASSERT_TRUE(Sync({kApp}));
  ExpectFresh();
}

// A file that was overwritten with as many bytes right after it was saved has the same size and
// inode, and on many systems times that differ by less than a tick of the clock.
TEST_F(SavedRoutingInfoTest, BytesThatAnotherProgramPutsThereAtOnceAreNotBelieved) {
  for (int i = 10; i < 30; ++i) {
    ASSERT_TRUE(Mark("s" + std::to_string(i)));
    Overwrite("~~~", 100);
    ASSERT_TRUE(SaveRoutingInfo(kPen));
    ExpectFresh();
    Overwrite("~~~", 100);
    ASSERT_TRUE(Mark("s10"));
    ExpectFresh();
  }
}

// As a copy that keeps the times does.
TEST_F(SavedRoutingInfoTest, BytesThatComeWithTheOldTimeAreNotBelieved) {
  for (const bool is_marked : {false, true}) {
    const auto before = Status();
    Overwrite("~~~", 100);
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, RoutingInfoPath().c_str(), times, 0));
    ASSERT_TRUE(is_marked ? Mark("s10") : SaveRoutingInfo(kPen));
    ExpectFresh();
  }
}

TEST_F(SavedRoutingInfoTest, AFileInItsPlaceIsNotBelieved) {
  WriteFile(PenPath("copy"), std::string(ReadFile(RoutingInfoPath()).size(), 'x'));
  fs::rename(PenPath("copy"), RoutingInfoPath());
  ASSERT_TRUE(Mark("s12"));
  ExpectFresh();
}

TEST_F(SavedRoutingInfoTest, AFileThatIsCutOrGoneIsMadeAnew) {
  fs::resize_file(RoutingInfoPath(), 50);
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  ExpectFresh();
  fs::remove(RoutingInfoPath());
  ASSERT_TRUE(Sync({kApp}));
  ExpectFresh();
}

TEST_F(SavedRoutingInfoTest, AFileThatBecomesUnwritableIsNamedThoughNothingChanged) {
  const LogCapture log;
  fs::remove(RoutingInfoPath());
  fs::create_directory(RoutingInfoPath());
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_EQ(log.lines(), Lines({{1,
                                 "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create "
                                 "file 'ROOT/AJ3-000-1X/RoutingInfo.txt'."}}));
}

// The first save after a start writes the whole file: nothing is known of the one that was read.
TEST_F(SavedRoutingInfoTest, AFileThatWasReadIsWrittenWholeOnce) {
  const std::string archive = ReadFile(RoutingInfoPath());
  WriteFile(RoutingInfoPath(), archive + "bytes that nobody reads");
  Cleanup();
  Initialize();
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(archive, ReadFile(RoutingInfoPath()));
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
