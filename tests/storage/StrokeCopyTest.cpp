// Copies of strokes that are made before they are asked for.

#include "storage/StrokeCopy.h"

#include <boost/filesystem.hpp>

#include "storage/StoreTest.h"
#include "support/FileSizeLimit.h"

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

  // The bytes of the copy that is taken; "none" if there is none.
  std::string Taken(const std::string& name, const std::string& pen = kPen) {
    fs::path out = "/stale";
    if (!copy_.Take(pen, Stroke(name), out)) {
      EXPECT_TRUE(out.empty());
      return "none";
    }
    EXPECT_EQ(root_.scratch(), out.parent_path());
    EXPECT_EQ(0u, out.filename().string().find("stf2."));
    EXPECT_EQ(fs::perms(0600), fs::status(out).permissions());
    return ReadFile(out);
  }

  StrokeCopy copy_;
};

}  // namespace

TEST_F(StrokeCopyTest, IsTakenOnce) {
  copy_.Make(kPen, Stroke("a"));
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
  EXPECT_EQ("ink of a", Taken("a"));
  EXPECT_EQ("none", Taken("a"));
  EXPECT_EQ("ink of a", ReadFile(File("a")));
}

TEST_F(StrokeCopyTest, IsOfNoOtherStrokeAndPen) {
  EXPECT_EQ("none", Taken("a"));
  copy_.Make(kPen, Stroke("a"));
  EXPECT_EQ("none", Taken("b"));
  EXPECT_EQ("none", Taken("a", "OTHER"));
  EXPECT_EQ("ink of a", Taken("a"));
}

TEST_F(StrokeCopyTest, IsMadeOnce) {
  copy_.Make(kPen, Stroke("a"));
  const FileSizeLimit limit(1);
  copy_.Make(kPen, Stroke("a"));
  EXPECT_EQ("ink of a", Taken("a"));
}

TEST_F(StrokeCopyTest, OfAnotherStrokeTakesThePlaceOfTheFirst) {
  copy_.Make(kPen, Stroke("a"));
  copy_.Make(kPen, Stroke("b"));
  EXPECT_EQ("none", Taken("a"));
  EXPECT_EQ("ink of b", Taken("b"));
}

TEST_F(StrokeCopyTest, OfAStrokeThatIsGoneOrWasChangedIsNotGiven) {
  copy_.Make(kPen, Stroke("a"));
  fs::remove(File("a"));
  EXPECT_EQ("none", Taken("a"));
  copy_.Make(kPen, Stroke("b"));
  Write("b", "new ink.");
  EXPECT_EQ("none", Taken("b"));
  copy_.Make(kPen, Stroke("b"));
  fs::rename(File("b"), File("moved"));
  Write("b", "new ink.");
  EXPECT_EQ("none", Taken("b"));
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
}

TEST_F(StrokeCopyTest, OfWhatCanNotBeCopiedIsNotMade) {
  fs::create_directory(File("folder"));
  Write("large", std::string((1 << 20) + 1, 'x'));
  for (const char* name : {"gone", "folder", "large"}) {
    const LogCapture log;
    copy_.Make(kPen, Stroke("a"));
    copy_.Make(kPen, Stroke(name));
    EXPECT_EQ("none", Taken(name)) << name;
    EXPECT_EQ("none", Taken("a")) << name;
    EXPECT_TRUE(log.lines().empty());
  }
  Write("largest", std::string(1 << 20, 'x'));
  copy_.Make(kPen, Stroke("largest"));
  EXPECT_EQ(std::size_t(1) << 20, Taken("largest").size());
}

// It may be changed once more within the same tick of the clock, and would look the same.
TEST_F(StrokeCopyTest, OfAStrokeThatWasJustChangedIsNotMade) {
  const fs::path file = File("a");
  do {
    WriteFile(file, "new ink");
    copy_.Make(kPen, Stroke("a"));
  } while (FileStamp(file).proves());  // a test that was held up tries again
  EXPECT_TRUE(Eventually([&] { return FileStamp(file).proves(); }));
  EXPECT_EQ("none", Taken("a"));
}

TEST_F(StrokeCopyTest, OnAFullDiskIsNotMade) {
  Disk disk(root_.scratch());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  disk.Fill();
  const LogCapture log;
  copy_.Make(kPen, Stroke("a"));
  disk.Free();
  EXPECT_EQ("none", Taken("a"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StrokeCopyTest, WithoutAScratchDirectoryIsNotMade) {
  fs::remove(root_.scratch());
  copy_.Make(kPen, Stroke("a"));
  EXPECT_EQ("none", Taken("a"));
  EXPECT_FALSE(fs::exists(root_.scratch()));
}

// The scratch directory may go while the copy waits.
TEST_F(StrokeCopyTest, ThatCanNotGetANameIsNotGiven) {
  copy_.Make(kPen, Stroke("a"));
  fs::remove(root_.scratch());
  EXPECT_EQ("none", Taken("a"));
}

TEST_F(StrokeCopyTest, IsWhatAnExportGives) {
  copy_.Make(kPen, Stroke("a"));
  const LogCapture log;
  fs::path out;
  EXPECT_TRUE(ExportStroke(
      kPen, Stroke("a"), out, [] { return false; }, &copy_));
  EXPECT_EQ("ink of a", ReadFile(out));
  EXPECT_EQ(Lines({{3, "Exporting Ink '1.2.3.4/a.stf2' from Pen 'AJ3-000-1X' storage..."},
                   {3, "Exported Ink 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' -> '" + out.string() + "'"}}),
            log.lines());
  EXPECT_EQ("none", Taken("a"));
}

TEST_F(StrokeCopyTest, OfAnotherStrokeDoesNotKeepAnExportFromCopying) {
  copy_.Make(kPen, Stroke("a"));
  fs::path out;
  EXPECT_TRUE(ExportStroke(kPen, Stroke("b"), out, nullptr, &copy_));
  EXPECT_EQ("ink of b", ReadFile(out));
  EXPECT_EQ("ink of a", Taken("a"));
}
