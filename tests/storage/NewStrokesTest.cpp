// New ink on its way into the store, and what is said of ink that can't be filed.

#include "storage/NewStrokes.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <boost/filesystem.hpp>

#include "storage/StoreTest.h"
#include "support/RefusedCalls.h"

using namespace TalvoQuillpost::Storage;
using testing::ElementsAre;

namespace fs = boost::filesystem;

namespace {

std::vector<char> Bytes(const std::string& text) {
  return std::vector<char>(text.begin(), text.end());
}

bool Import(const StrokeID& id, const std::string& data = "ink") {
  return ImportStroke(kPen, id, Bytes(data));
}

class ImportStrokeTest : public StoreTest {
 protected:
  // The lines of an import that fails with `message`.
  void ExpectImportFails(const std::string& pen, const StrokeID& id, const std::string& data,
                         const std::string& message) const {
    const LogCapture log;
    EXPECT_FALSE(ImportStroke(pen, id, Bytes(data)));
    EXPECT_EQ(Lines({{3, "Importing " + std::to_string(data.size()) + " bytes of Ink from Pen '" +
                             pen + "' and Page Address '" + id.page_address + "'..."},
                     {1, message}}),
              log.lines());
    EXPECT_FALSE(fs::exists(root_.storage())) << "a directory was made for nothing";
  }
};

// Some strokes of one import that are not committed yet.
class NewStrokesTest : public StoreTest {
 protected:
  bool Add(const StrokeID& id, const std::string& data = "ink") {
    return strokes_.Add(kPen, id, data.data(), data.size());
  }

  NewStrokes strokes_;
};

// A directory that is gone and can be reached all the same: nothing can be made in it, and nobody
// can make it again. While this object lives, the process works in it.
class GoneDirectory {
 public:
  explicit GoneDirectory(const fs::path& path) {
    fs::create_directories(path);
    EXPECT_EQ(0, ::chdir(path.c_str()));
    fs::remove(path);
  }
  ~GoneDirectory() { EXPECT_EQ(0, ::chdir(before_.c_str())); }
  GoneDirectory(const GoneDirectory&) = delete;
  GoneDirectory& operator=(const GoneDirectory&) = delete;

  static const char* link() { return "/proc/self/cwd"; }

 private:
  const fs::path before_ = fs::current_path();
};

// Whether the file system can make files that have no name.
bool KnowsUnnamedFiles(const fs::path& directory) {
  const TalvoCppUtils::Descriptor file(
      ::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  return file.is_open();
}

}  // namespace

TEST_F(NewStrokesTest, HaveNoNameUntilTheyAreCommitted) {
  ASSERT_TRUE(Add(Stroke("a")));
  ASSERT_TRUE(Add(Stroke("b"), "words"));
  EXPECT_EQ(2u, strokes_.size());
  EXPECT_EQ(8u, strokes_.size_bytes());
  if (KnowsUnnamedFiles(PenPath(kPage))) {
    EXPECT_TRUE(HoldsNothing(PenPath(kPage)));
  }
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_THAT(Undelivered(), testing::IsEmpty());
  CommitStrokes({&strokes_});
  EXPECT_TRUE(strokes_.all_stored());
  EXPECT_EQ(0u, strokes_.size());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ("words", ReadFile(PenPath("1.2.3.4/b.stf2")));
}

TEST_F(NewStrokesTest, ThatAreNotCommittedLeaveNothing) {
  {
    NewStrokes strokes;
    ASSERT_TRUE(strokes.Add(kPen, Stroke("a"), "ink", 3));
  }
  EXPECT_TRUE(HoldsNothing(PenPath(kPage)));
}

// One that can't be added fails the import, whatever is added after it, and costs no other stroke.
TEST_F(NewStrokesTest, OneThatCanNotBeAddedFailsTheImportAndNoOtherStroke) {
  WriteFile(PenPath("5.6.7.8"), "in its place");
  ASSERT_TRUE(Add(Stroke("a")));
  EXPECT_FALSE(Add(Stroke("")));
  EXPECT_FALSE(strokes_.all_stored());
  EXPECT_FALSE(Add(Stroke("b", "5.6.7.8")));
  ASSERT_TRUE(Add(Stroke("c")));
  EXPECT_FALSE(strokes_.all_stored());
  CommitStrokes({&strokes_});
  EXPECT_FALSE(strokes_.all_stored());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/c.stf2")));
}

TEST_F(NewStrokesTest, OfSeveralImportsAreCommittedTogetherAndFailAlone) {
  NewStrokes other;
  ASSERT_TRUE(Add(Stroke("a")));
  ASSERT_TRUE(other.Add(kPen, Stroke("a"), "other", 5));
  other.Fail();
  CommitStrokes({&strokes_, &other});
  EXPECT_TRUE(strokes_.all_stored());
  EXPECT_FALSE(other.all_stored());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ("other", ReadFile(PenPath("1.2.3.4/a-1.stf2")));
}

// Strokes on so many pages that one sync of the disk is cheaper than theirs.
class ManyPagesTest : public NewStrokesTest {
 protected:
  static constexpr int kPages = 20;

  // Commits a stroke on each page while these calls fail. Whether all have been stored.
  bool Commit(int pages, const std::vector<RefusedCall>& refused) {
    for (int page = 1; page <= pages; ++page) {
      EXPECT_TRUE(Add(Stroke("a", "1.2.3." + std::to_string(page))));
    }
    EXPECT_TRUE(RunWithRefused(refused, [this] { CommitStrokes({&strokes_}); }));
    return strokes_.all_stored();
  }

  const Disk disk_{root_.storage(), "size=1m"};  // of a kind that syncs its own files
};

TEST_F(ManyPagesTest, AreSyncedWithTheirFileSystem) {
  if (!disk_.is_mounted()) GTEST_SKIP() << "this user can't mount";
  EXPECT_TRUE(Commit(kPages, {{SYS_fdatasync, EIO}, {SYS_fsync, EIO}}));
  for (int page = 1; page <= kPages; ++page) {
    EXPECT_EQ("ink", ReadFile(PenPath("1.2.3." + std::to_string(page) + "/a.stf2")));
  }
}

// The error may be that of another program's file.
TEST_F(ManyPagesTest, AreSyncedOneByOneIfTheFileSystemAsAWholeFails) {
  if (!disk_.is_mounted()) GTEST_SKIP() << "this user can't mount";
  EXPECT_TRUE(Commit(kPages, {{SYS_syncfs, EIO}}));
}

TEST_F(ManyPagesTest, AFewAreSyncedByThemselves) {
  if (!disk_.is_mounted()) GTEST_SKIP() << "this user can't mount";
  EXPECT_FALSE(Commit(3, {{SYS_fdatasync, EIO}}));
  EXPECT_TRUE(HoldsNothing(PenPath("1.2.3.1")));
}

TEST_F(ManyPagesTest, AStrokeWhoseNameCanNotBeSyncedIsTakenBack) {
  if (!disk_.is_mounted()) GTEST_SKIP() << "this user can't mount";
  EXPECT_FALSE(Commit(3, {{SYS_fsync, EIO}}));
  EXPECT_TRUE(HoldsNothing(PenPath("1.2.3.1")));
}

// The tidying of the store may take an empty page away between both.
TEST_F(NewStrokesTest, APageThatVanishesBeforeTheCommitIsMadeAgain) {
  ASSERT_TRUE(Add(Stroke("a")));
  if (!HoldsNothing(PenPath(kPage))) GTEST_SKIP() << "new ink has a name here";
  fs::remove_all(PenPath());
  CommitStrokes({&strokes_});
  EXPECT_TRUE(strokes_.all_stored());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
}

TEST_F(NewStrokesTest, APageThatVanishesAgainAndAgainIsGivenUp) {
  const GoneDirectory gone(root_.path() / "gone");
  fs::create_directories(PenPath());
  fs::create_symlink(gone.link(), PenPath(kPage));
  const LogCapture log(1);
  EXPECT_FALSE(Add(Stroke("a")));
  EXPECT_EQ(Lines({{1, "Ink Import failed: can't create file '" +
                           PenPath("1.2.3.4/a.stf2").string() + "'"}}),
            log.lines());
}

TEST_F(NewStrokesTest, APageThatVanishesAgainAndAgainBeforeTheCommitIsGivenUp) {
  ASSERT_TRUE(Add(Stroke("a")));
  if (!HoldsNothing(PenPath(kPage))) GTEST_SKIP() << "new ink has a name here";
  fs::remove(PenPath(kPage));
  const GoneDirectory gone(root_.path() / "gone");
  fs::create_symlink(gone.link(), PenPath(kPage));
  const LogCapture log(1);
  CommitStrokes({&strokes_});
  EXPECT_FALSE(strokes_.all_stored());
  EXPECT_EQ(Lines({{1, "Ink Import failed: can't create file '" +
                           PenPath("1.2.3.4/a.stf2").string() + "': No such file or directory"}}),
            log.lines());
}

// A file system that can't make files without a name.
const RefusedCall kNoUnnamedFiles = {SYS_openat, EOPNOTSUPP, 2, O_TMPFILE & ~O_DIRECTORY};

TEST_F(NewStrokesTest, HaveAHiddenNameIfTheFileSystemKnowsNoFilesWithoutOne) {
  const bool has_run = RunWithRefused({kNoUnnamedFiles}, [this] {
    ASSERT_TRUE(Add(Stroke("a")));
    const fs::path hidden = fs::directory_iterator(PenPath(kPage))->path();
    EXPECT_TRUE(IsNewStroke(hidden.filename().native()));
    // A process of another machine, or of another container, may have this one's number.
    char own[40];
    std::snprintf(own, sizeof own, ".import-%016x-", static_cast<unsigned int>(::getpid()));
    EXPECT_NE(0u, hidden.filename().native().find(own));
    ASSERT_TRUE(Sync({kApp}));
    EXPECT_THAT(Undelivered(), testing::IsEmpty());
    CommitStrokes({&strokes_});
    EXPECT_TRUE(strokes_.all_stored());
    EXPECT_FALSE(fs::exists(hidden));
    EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  });
  if (!has_run) GTEST_SKIP() << "this system can't refuse calls";
}

TEST_F(NewStrokesTest, AHiddenOneReplacesNothing) {
  Put("a.stf2");
  for (const int error : {0, EINVAL, ENOSYS}) {  // those of a file system that only knows links
    std::vector<RefusedCall> calls = {kNoUnnamedFiles};
    if (error != 0) calls.push_back({SYS_renameat2, error});
    const std::string ink = "ink " + std::to_string(error);
    const bool has_run = RunWithRefused(calls, [&] { EXPECT_TRUE(Import(Stroke("a"), ink)); });
    if (!has_run) GTEST_SKIP() << "this system can't refuse calls";
  }
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ("ink 0", ReadFile(PenPath("1.2.3.4/a-1.stf2")));
  EXPECT_EQ(4, std::distance(fs::directory_iterator(PenPath(kPage)), {}));
}

TEST_F(NewStrokesTest, AHiddenOneThatCanNotBeNamedIsNamedAndRemoved) {
  const LogCapture log(1);
  const bool has_run = RunWithRefused({kNoUnnamedFiles, {SYS_renameat2, EIO}},
                                      [&] { EXPECT_FALSE(Import(Stroke("a"))); });
  if (!has_run) GTEST_SKIP() << "this system can't refuse calls";
  EXPECT_TRUE(HoldsNothing(PenPath(kPage)));
  EXPECT_EQ(Lines({{1, "Ink Import failed: can't create file '" +
                           PenPath("1.2.3.4/a.stf2").string() + "': Input/output error"}}),
            log.lines());
}

// A quarter of the descriptors, and at least one, so that imports go on however few there are.
TEST_F(NewStrokesTest, HoldNoMoreFilesOpenThanAQuarterOfTheLimit) {
  rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
  const auto most_of = [&before](rlim_t count) {
    const rlimit limit = {count, before.rlim_max};
    EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    const std::size_t most = NewStrokes::MaxOpenFiles();
    EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
    return most;
  };
  EXPECT_EQ(1u, most_of(3));
  EXPECT_EQ(1u, most_of(4));
  EXPECT_EQ(2u, most_of(8));
  EXPECT_EQ(100u, most_of(400));
  if (before.rlim_cur >= 4 * 256) {
    EXPECT_EQ(256u, NewStrokes::MaxOpenFiles());
  }
}

TEST_F(ImportStrokeTest, FilesTheBytesAsTheyAre) {
  const std::string data("ink\r\n\0\xFF\x1A ink", 12);
  const LogCapture log;
  EXPECT_TRUE(Import(Stroke("100_200"), data));
  const fs::path file = root_.storage() / "AJ3-000-1X/1.2.3.4/100_200.stf2";
  EXPECT_EQ(data, ReadFile(file));
  EXPECT_EQ(
      Lines({{3, "Importing 12 bytes of Ink from Pen 'AJ3-000-1X' and Page Address '1.2.3.4'..."},
             {3, "Ink was imported to: '" + file.string() + "'"}}),
      log.lines());
}

TEST_F(ImportStrokeTest, TheNameOfTheFileFollowsFromTheID) {
  EXPECT_TRUE(Import({kPage, "a", ""}));
  EXPECT_TRUE(Import({kPage, "x.y", "stf2"}));
  EXPECT_TRUE(Import({"encrypted-stf2", "..", "stf2"}));
  EXPECT_TRUE(Import({"1.*.3.4.5", "two words", "s t"}));
  for (const char* file :
       {"1.2.3.4/a", "1.2.3.4/x.y.stf2", "encrypted-stf2/...stf2", "1.*.3.4.5/two words.s t"}) {
    EXPECT_EQ("ink", ReadFile(PenPath(file))) << file;
  }
}

TEST_F(ImportStrokeTest, TheSameNameAgainIsNumberedAndReplacesNothing) {
  const StrokeID id = {"encrypted-stf2", "1700000000", "stf2"};
  const LogCapture log;
  for (const char* data : {"first", "second", "third"}) EXPECT_TRUE(Import(id, data));
  EXPECT_EQ("first", ReadFile(PenPath("encrypted-stf2/1700000000.stf2")));
  EXPECT_EQ("second", ReadFile(PenPath("encrypted-stf2/1700000000-1.stf2")));
  EXPECT_EQ("third", ReadFile(PenPath("encrypted-stf2/1700000000-2.stf2")));
  EXPECT_TRUE(log.Has(
      3, "Ink was imported to: '" + PenPath("encrypted-stf2/1700000000-2.stf2").string() + "'"));
  // It is the numbered name by which routing knows the stroke.
  ASSERT_TRUE(Sync({kApp}, "encrypted-stf2"));
  EXPECT_THAT(Undelivered(), ElementsAre(StrokeID{"encrypted-stf2", "1700000000", "stf2"},
                                         StrokeID{"encrypted-stf2", "1700000000-1", "stf2"},
                                         StrokeID{"encrypted-stf2", "1700000000-2", "stf2"}));
}

TEST_F(ImportStrokeTest, DoesNotTouchTheRoutingInfo) {
  EXPECT_TRUE(Import(Stroke("a")));
  EXPECT_FALSE(fs::exists(RoutingInfoPath()));
  EXPECT_FALSE(SaveRoutingInfo(kPen));
}

TEST_F(ImportStrokeTest, EachCheckNamesItsReasonAndMakesNothing) {
  const std::string id_reason = "Ink Import failed: invalid stroke id.";
  ExpectImportFails("pen 1", Stroke("a"), "ink",
                    "Ink Import failed: invalid Pen Serial - 'pen 1'.");
  ExpectImportFails("", Stroke("a"), "ink", "Ink Import failed: invalid Pen Serial - ''.");
  ExpectImportFails("..", Stroke("a"), "ink", "Ink Import failed: invalid Pen Serial - '..'.");
  ExpectImportFails(kPen, Stroke("a", "1.2.3"), "ink",
                    "Ink Import failed: invalid Page Address - '1.2.3'.");
  ExpectImportFails(kPen, Stroke("a", ".."), "ink",
                    "Ink Import failed: invalid Page Address - '..'.");
  ExpectImportFails(kPen, Stroke(""), "ink", "Ink Import failed: empty name.");
  ExpectImportFails(kPen, Stroke("a"), "", "Ink Import failed: no data.");
  ExpectImportFails(kPen, Stroke("../a"), "ink", id_reason);
  ExpectImportFails(kPen, Stroke(std::string("a\0b", 3)), "ink", id_reason);
  ExpectImportFails(kPen, {kPage, "a", "/stf2"}, "ink", id_reason);
  ExpectImportFails(kPen, {kPage, "..", ""}, "ink", id_reason);
}

TEST_F(ImportStrokeTest, TheFirstReasonIsTheOneThatIsNamed) {
  ExpectImportFails("", {"", "", ""}, "", "Ink Import failed: invalid Pen Serial - ''.");
  ExpectImportFails(kPen, {"", "", ""}, "", "Ink Import failed: invalid Page Address - ''.");
  ExpectImportFails(kPen, {kPage, "", ""}, "", "Ink Import failed: empty name.");
}

TEST_F(ImportStrokeTest, NamesADirectoryThatCantBeMade) {
  WriteFile(PenPath(kPage), "in its place");
  const LogCapture log;
  EXPECT_FALSE(Import(Stroke("a")));
  const std::string directory = PenPath(kPage).string();
  ASSERT_EQ(3u, log.lines().size());
  EXPECT_EQ(LogCapture::Line(1, "'" + directory + "' not a directory (as it should): Success (0)"),
            log.lines()[1]);
  EXPECT_EQ(LogCapture::Line(1, "Ink Import failed: can't create directory '" + directory + "'."),
            log.lines()[2]);
}

TEST_F(ImportStrokeTest, NamesAFileThatCantBeMade) {
  fs::create_directories(PenPath(kPage));
  fs::permissions(PenPath(kPage), fs::perms(0555));
  const LogCapture log;
  {
    const PlainUser user;
    EXPECT_FALSE(Import(Stroke("a")));
  }
  fs::permissions(PenPath(kPage), fs::perms(0755));
  ASSERT_EQ(2u, log.lines().size());
  EXPECT_EQ(LogCapture::Line(1, "Ink Import failed: can't create file '" +
                                    PenPath("1.2.3.4/a.stf2").string() + "'"),
            log.lines()[1]);
}

TEST_F(ImportStrokeTest, ANameThatIsTooLongIsRefused) {
  const LogCapture log(1);
  EXPECT_FALSE(Import(Stroke(std::string(300, 'x'))));
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_EQ(0u, log.lines()[0].second.find("Ink Import failed: can't create file '"));
  EXPECT_TRUE(Import(Stroke(std::string(250, 'x'))));
}

// A link in the store never has ink written to where it leads.
TEST_F(ImportStrokeTest, NeverGoesThroughALink) {
  fs::create_directories(PenPath(kPage));
  fs::create_symlink(root_.path() / "elsewhere", PenPath("1.2.3.4/a.stf2"));
  fs::create_symlink("a-1.stf2", PenPath("1.2.3.4/a-1.stf2"));
  WriteFile(root_.path() / "letter", "not ink");
  fs::create_symlink(root_.path() / "letter", PenPath("1.2.3.4/a-2.stf2"));
  EXPECT_TRUE(Import(Stroke("a")));
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a-3.stf2")));
  EXPECT_FALSE(fs::exists(root_.path() / "elsewhere"));
  EXPECT_EQ("not ink", ReadFile(root_.path() / "letter"));
}
