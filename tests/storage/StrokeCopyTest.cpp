// Copies of strokes that are made before they are asked for.

#include "storage/StrokeCopy.h"

#include <sys/resource.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <memory>
#include <vector>

#include "storage/StoreTest.h"
#include "support/OpenDescriptors.h"

using namespace TalvoQuillpost::Storage;

namespace fs = boost::filesystem;

namespace {

class StrokeCopyTest : public StoreTest {
 protected:
  StrokeCopyTest() {
    fs::create_directories(root_.scratch());
    Write("a", "ink of a");
    Write("b", "ink of b");
  }

  // Returns when the file's times prove that it has been left alone.
  void Write(const std::string& name, const std::string& bytes) const {
    WriteFile(File(name), bytes);
    EXPECT_TRUE(Eventually([&] { return FileStamp(File(name)).proves(); }));
  }

  fs::path File(const std::string& name) const { return PenPath("1.2.3.4/" + name + ".stf2"); }

  void Make(const std::string& name) { copy_ = StrokeCopy::Make(kPen, Stroke(name)); }

  // The bytes of the copy that is taken; "none" if there is none.
  std::string Taken(const std::string& name, const std::string& pen = kPen) {
    if (!copy_) return "none";
    fs::path out = "/stale";
    if (!copy_->Take(pen, Stroke(name), out)) {
      EXPECT_TRUE(out.empty());
      return "none";
    }
    EXPECT_EQ(root_.scratch(), out.parent_path());
    EXPECT_EQ(0u, out.filename().string().find("stf2."));
    EXPECT_EQ(fs::perms(0600), fs::status(out).permissions());
    return ReadFile(out);
  }

  std::unique_ptr<StrokeCopy> copy_;
};

}  // namespace

TEST_F(StrokeCopyTest, IsTakenOnce) {
  Make("a");
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
  EXPECT_EQ("ink of a", Taken("a"));
  EXPECT_EQ("none", Taken("a"));
  EXPECT_EQ("ink of a", ReadFile(File("a")));
}

TEST_F(StrokeCopyTest, IsOfNoOtherStrokeAndPen) {
  Make("a");
  EXPECT_EQ("none", Taken("b"));
  Make("a");
  EXPECT_EQ("none", Taken("a", "OTHER"));
}

TEST_F(StrokeCopyTest, OfAStrokeThatIsGoneOrWasChangedIsNotGiven) {
  Make("a");
  fs::remove(File("a"));
  EXPECT_EQ("none", Taken("a"));
  Make("b");
  Write("b", "new ink.");
  EXPECT_EQ("none", Taken("b"));
  Make("b");
  fs::rename(File("b"), File("moved"));
  Write("b", "new ink.");
  EXPECT_EQ("none", Taken("b"));
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
}

TEST_F(StrokeCopyTest, OfWhatCanNotBeCopiedIsNotMade) {
  fs::create_directory(File("folder"));
  Write("large", std::string((1 << 20) + 1, 'x'));
  for (const fs::path& file :
       {PenPath("pages/a.stf2"), root_.storage() / "no pen/1.2.3.4/a.stf2"}) {
    WriteFile(file, "no ink");
    EXPECT_TRUE(Eventually([&] { return FileStamp(file).proves(); }));
  }
  const std::vector<StrokeID> strokes = {Stroke("gone"),
                                         Stroke("folder"),
                                         Stroke("large"),
                                         Stroke("../1.2.3.4/a"),
                                         {"pages", "a", "stf2"}};
  for (const StrokeID& stroke : strokes) {
    const LogCapture log;
    EXPECT_EQ(nullptr, StrokeCopy::Make(kPen, stroke)) << stroke.string();
    EXPECT_TRUE(log.lines().empty());
  }
  EXPECT_EQ(nullptr, StrokeCopy::Make("no pen", Stroke("a")));
  Write("largest", std::string(1 << 20, 'x'));
  Make("largest");
  EXPECT_EQ(std::size_t(1) << 20, Taken("largest").size());
}

// It may be changed once more within the same tick of the clock, and would look the same.
TEST_F(StrokeCopyTest, OfAStrokeThatWasJustChangedIsNotMade) {
  const fs::path file = File("a");
  do {
    WriteFile(file, "new ink");
    Make("a");
  } while (FileStamp(file).proves());  // a test that was held up tries again
  EXPECT_EQ(nullptr, copy_);
}

TEST_F(StrokeCopyTest, IsNotMadeByOneThatIsStopped) {
  EXPECT_EQ(nullptr, StrokeCopy::Make(kPen, Stroke("a"), [] { return false; }));
  EXPECT_NE(nullptr, StrokeCopy::Make(kPen, Stroke("a"), [] { return true; }));
}

TEST_F(StrokeCopyTest, DoesNotFollowAFileThatGrows) {
  Write("large", std::string(1 << 20, 'x'));
  int chunks = 0;
  EXPECT_EQ(nullptr, StrokeCopy::Make(kPen, Stroke("large"), [&] {
              std::ofstream(File("large").string(), std::ios::app) << std::string(1 << 16, 'x');
              return ++chunks < 100;
            }));
  EXPECT_LT(chunks, 20);
}

// Each holds a descriptor. The limit counts them all, whoever has made them.
TEST_F(StrokeCopyTest, OnlySomeExistAtATime) {
  const std::size_t most = StrokeCopy::MaxCopies();
  EXPECT_GE(most, 1u);
  EXPECT_LE(most, 64u);
  std::vector<std::unique_ptr<StrokeCopy>> copies;
  for (std::size_t i = 0; i < most; ++i) {
    copies.push_back(StrokeCopy::Make(kPen, Stroke("a")));
    ASSERT_NE(nullptr, copies.back());
  }
  const std::size_t open = OpenDescriptors();
  EXPECT_EQ(nullptr, StrokeCopy::Make(kPen, Stroke("b")));
  EXPECT_EQ(open, OpenDescriptors());
  copies.pop_back();
  EXPECT_NE(nullptr, StrokeCopy::Make(kPen, Stroke("b")));
}

TEST_F(StrokeCopyTest, LeavesTheMostDescriptorsToOthers) {
  rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
  const rlimit limit = {160, before.rlim_max};
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
  EXPECT_EQ(10u, StrokeCopy::MaxCopies());
  ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(StrokeCopyTest, OnAFullDiskIsNotMade) {
  Disk disk(root_.scratch());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  disk.Fill();
  const LogCapture log;
  Make("a");
  disk.Free();
  EXPECT_EQ("none", Taken("a"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StrokeCopyTest, WithoutAScratchDirectoryIsNotMade) {
  fs::remove(root_.scratch());
  Make("a");
  EXPECT_EQ("none", Taken("a"));
  EXPECT_FALSE(fs::exists(root_.scratch()));
}

// The scratch directory may go while the copy waits.
TEST_F(StrokeCopyTest, ThatCanNotGetANameIsNotGiven) {
  Make("a");
  fs::remove(root_.scratch());
  EXPECT_EQ("none", Taken("a"));
}

TEST_F(StrokeCopyTest, IsWhatAnExportGives) {
  Make("a");
  const LogCapture log;
  fs::path out;
  EXPECT_TRUE(ExportStroke(
      kPen, Stroke("a"), out, [] { return false; }, copy_.get()));
  EXPECT_EQ("ink of a", ReadFile(out));
  EXPECT_EQ(Lines({{3, "Exporting Ink '1.2.3.4/a.stf2' from Pen 'AJ3-000-1X' storage..."},
                   {3, "Exported Ink 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' -> '" + out.string() + "'"}}),
            log.lines());
  EXPECT_EQ("none", Taken("a"));
}

TEST_F(StrokeCopyTest, OfAnotherStrokeDoesNotKeepAnExportFromCopying) {
  Make("a");
  fs::path out;
  EXPECT_TRUE(ExportStroke(kPen, Stroke("b"), out, nullptr, copy_.get()));
  EXPECT_EQ("ink of b", ReadFile(out));
}
