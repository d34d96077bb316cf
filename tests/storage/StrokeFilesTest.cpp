// Stroke files: where they are filed, how they are listed, and the copies that are made of them.

#include "storage/StrokeFiles.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <boost/filesystem.hpp>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = boost::filesystem;

namespace {

class StrokeFilesTest : public StoreTest {
 protected:
  void ExpectExportFails(const std::string& pen, const StrokeID& id,
                         const std::string& message) const {
    const LogCapture log;
    fs::path out = "/stale";
    EXPECT_FALSE(ExportStroke(pen, id, out));
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(Lines({{3, std::string("Exporting Ink '") + id.string().c_str() + "' from Pen '" +
                             pen + "' storage..."},
                     {1, message}}),
              log.lines());
    EXPECT_FALSE(fs::exists(root_.scratch()));
  }

  fs::path Unique(const std::string& name) const {
    fs::path path = PenPath(name);
    MakePathUnique(path);
    EXPECT_EQ(PenPath(), path.parent_path());
    return path.filename();
  }
};

class ListStrokesTest : public StrokeFilesTest {};
class MakePathUniqueTest : public StrokeFilesTest {};
class ExportStrokeTest : public StrokeFilesTest {};

}  // namespace

TEST(StorageRoot, IsInTheHomeOfThePasswordDatabase) {
  const passwd* user = ::getpwuid(::getuid());
  ASSERT_NE(nullptr, user);
  ::setenv("HOME", "/of/the/environment", 1);
  ::unsetenv("QUILLPOST_ROOT");
  EXPECT_EQ(fs::path(user->pw_dir) / "Library/Application Support/Talvo/Quillpost/Storage",
            GetStorageRoot());
}

TEST_F(StrokeFilesTest, TheRootIsNeitherMadeNorAskedFor) {
  EXPECT_EQ(root_.storage(), GetStorageRoot());
  EXPECT_FALSE(fs::exists(root_.storage()));
}

// ---- GetKnownPens, GetPageAddresses ----------------------------------------------------------

TEST_F(ListStrokesTest, PensAreTheDirectoriesWithTheNameOfOne) {
  for (const char* name : {"B-2", "A-1", "pen 3", ".hidden", "caf\xC3\xA9"}) {
    fs::create_directories(Path(name));
  }
  WriteFile(Path("file"), "");
  fs::create_directory_symlink(Path("A-1"), Path("C-3"));
  fs::create_symlink(Path("nowhere"), Path("D-4"));
  const LogCapture log;
  Names pens = {"stale"};
  EXPECT_TRUE(GetKnownPens(pens));
  EXPECT_THAT(pens, ElementsAre("A-1", "B-2", "C-3"));
  const std::string unexpected = "Got unexpected directory while looking for Pen Serials: '";
  EXPECT_EQ(Lines({{2, unexpected + Path(".hidden").string() + "'."},
                   {2, unexpected + Path("caf\xC3\xA9").string() + "'."},
                   {2, unexpected + Path("pen 3").string() + "'."}}),
            log.lines());
}

TEST_F(ListStrokesTest, AStoreThatIsNotThereHasNoPens) {
  const LogCapture log;
  Names pens = {"stale"};
  EXPECT_FALSE(GetKnownPens(pens));
  EXPECT_THAT(pens, IsEmpty());
  WriteFile(root_.storage(), "in its place");
  EXPECT_FALSE(GetKnownPens(pens));
  fs::remove(root_.storage());
  fs::create_directory(root_.storage());
  EXPECT_TRUE(GetKnownPens(pens));
  EXPECT_THAT(pens, IsEmpty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ListStrokesTest, PagesAreTheDirectoriesWithTheNameOfOne) {
  for (const char* name : {"1.2.3.4", "10.2.3.4.5", "encrypted-stf2", "1.2.*.4", "tmp", ".cache"}) {
    fs::create_directories(PenPath(name));
  }
  WriteFile(PenPath("9.9.9.9"), "a file");
  WriteFile(RoutingInfoPath(), "");
  const LogCapture log;
  Names pages = {"stale"};
  EXPECT_TRUE(GetPageAddresses(kPen, pages));
  EXPECT_THAT(pages, ElementsAre("1.2.*.4", "1.2.3.4", "10.2.3.4.5", "encrypted-stf2"));
  const std::string unexpected = "Got unexpected directory while looking for Page Address: '";
  EXPECT_EQ(Lines({{2, unexpected + PenPath(".cache").string() + "'."},
                   {2, unexpected + PenPath("tmp").string() + "'."}}),
            log.lines());
}

TEST_F(ListStrokesTest, AnInvalidOrUnknownPenHasNoPages) {
  WriteFile(Path("file"), "in a pen's place");
  fs::create_directories(Path("pen 1/1.2.3.4"));
  const LogCapture log;
  for (const char* pen : {"", "pen 1", ".", "..", "unknown", "file"}) {
    Names pages = {"stale"};
    EXPECT_FALSE(GetPageAddresses(pen, pages)) << pen;
    EXPECT_THAT(pages, IsEmpty()) << pen;
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ListStrokesTest, ADirectoryThatCantBeReadRaises) {
  fs::create_directories(PenPath(kPage));
  fs::permissions(PenPath(), fs::perms(0));
  fs::permissions(root_.storage(), fs::perms(0111));
  {
    const PlainUser user;
    Names names;
    EXPECT_THROW(GetKnownPens(names), fs::filesystem_error);
    EXPECT_THROW(GetPageAddresses(kPen, names), fs::filesystem_error);
  }
  fs::permissions(root_.storage(), fs::perms(0755));
  fs::permissions(PenPath(), fs::perms(0755));
}

// ---- MakePathUnique --------------------------------------------------------------------------

TEST_F(MakePathUniqueTest, AFreeNameStays) {
  EXPECT_EQ("100_200.stf2", Unique("100_200.stf2"));
  WriteFile(PenPath("100_200.stf"), "");
  fs::create_symlink(PenPath("nowhere"), PenPath("dangling.stf2"));
  EXPECT_EQ("100_200.stf2", Unique("100_200.stf2"));
  EXPECT_EQ("dangling.stf2", Unique("dangling.stf2"));
}

TEST_F(MakePathUniqueTest, ATakenNameIsNumberedBeforeItsExtension) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"100_200.stf2", "100_200-1.stf2"}, {"a.b.stf2", "a.b-1.stf2"},           {"x", "x-1"},
      {"a-1.stf2", "a-1-1.stf2"},         {"two words.s t", "two words-1.s t"}, {"dot.", "dot-1."}};
  for (const auto& [taken, expected] : rows) {
    WriteFile(PenPath(taken), "");
    EXPECT_EQ(expected, Unique(taken));
  }
}

TEST_F(MakePathUniqueTest, NumbersFollowEachOtherAndDoNotPileUp) {
  WriteFile(PenPath("a.stf2"), "");
  for (int i = 1; i <= 120; ++i) {
    const fs::path name = Unique("a.stf2");
    EXPECT_EQ("a-" + std::to_string(i) + ".stf2", name);
    WriteFile(PenPath(name.string()), "");
  }
  fs::remove(PenPath("a-7.stf2"));
  EXPECT_EQ("a-7.stf2", Unique("a.stf2"));
}

TEST_F(MakePathUniqueTest, WhateverHasTheNameTakesIt) {
  fs::create_directories(PenPath("folder.stf2"));
  ASSERT_EQ(0, ::mkfifo(PenPath("fifo.stf2").c_str(), 0600));
  EXPECT_EQ("folder-1.stf2", Unique("folder.stf2"));
  EXPECT_EQ("fifo-1.stf2", Unique("fifo.stf2"));
}

TEST_F(MakePathUniqueTest, ANameThatCantBeAskedForRaises) {
  fs::create_directories(PenPath());
  fs::create_symlink("loop.stf2", PenPath("loop.stf2"));
  EXPECT_THROW(Unique("loop.stf2"), fs::filesystem_error);
  EXPECT_THROW(Unique(std::string(300, 'x')), fs::filesystem_error);
}

// ---- ExportStroke ----------------------------------------------------------------------------

TEST_F(ExportStrokeTest, GivesAPrivateCopy) {
  const std::string data("ink\r\n\0\xFF\x1A ink", 12);
  ASSERT_TRUE(ImportStroke(kPen, Stroke("a"), {data.begin(), data.end()}));
  const LogCapture log;
  fs::path first;
  fs::path second;
  EXPECT_TRUE(ExportStroke(kPen, Stroke("a"), first));
  EXPECT_TRUE(ExportStroke(kPen, Stroke("a"), second));
  EXPECT_NE(first, second);
  EXPECT_EQ(root_.scratch(), first.parent_path());
  EXPECT_EQ(data, ReadFile(first));
  EXPECT_EQ(data, ReadFile(second));
  EXPECT_EQ(data, ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ(
      Lines({{3, "Exporting Ink '1.2.3.4/a.stf2' from Pen 'AJ3-000-1X' storage..."},
             {3, "Exported Ink 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' -> '" + first.string() + "'"},
             {3, "Exporting Ink '1.2.3.4/a.stf2' from Pen 'AJ3-000-1X' storage..."},
             {3, "Exported Ink 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' -> '" + second.string() + "'"}}),
      log.lines());
}

TEST_F(ExportStrokeTest, TakesLinksAndEmptyFilesAndFilesWithoutExtension) {
  Put("abc");
  WriteFile(PenPath("1.2.3.4/empty.stf2"), "");
  fs::create_symlink(PenPath("1.2.3.4/abc"), PenPath("1.2.3.4/link.stf2"));
  fs::path out;
  EXPECT_TRUE(ExportStroke(kPen, {kPage, "abc", ""}, out));
  EXPECT_EQ("ink", ReadFile(out));
  EXPECT_TRUE(ExportStroke(kPen, Stroke("link"), out));
  EXPECT_EQ("ink", ReadFile(out));
  EXPECT_FALSE(fs::is_symlink(out));
  EXPECT_TRUE(ExportStroke(kPen, Stroke("empty"), out));
  EXPECT_TRUE(fs::is_empty(out));
}

TEST_F(ExportStrokeTest, EachCheckNamesItsReason) {
  const std::string id_reason = "Ink Export failed: invalid stroke id.";
  ExpectExportFails("pen 1", Stroke("a"), "Ink Export failed: invalid Pen Serial - 'pen 1'.");
  ExpectExportFails("", {"", "", ""}, "Ink Export failed: invalid Pen Serial - ''.");
  ExpectExportFails(kPen, Stroke("", "1.2.3"),
                    "Ink Export failed: invalid Page Address - '1.2.3'.");
  ExpectExportFails(kPen, Stroke(""), id_reason);
  ExpectExportFails(kPen, Stroke("../../a"), id_reason);
  ExpectExportFails(kPen, {kPage, "..", ""}, id_reason);
  ExpectExportFails(kPen, {kPage, "a", std::string("\0", 1)}, id_reason);
  ExpectExportFails(kPen, Stroke("gone"),
                    "Ink Export failed: file 'ROOT/AJ3-000-1X/1.2.3.4/gone.stf2' does not exists.");
}

TEST_F(ExportStrokeTest, ADanglingLinkDoesNotExist) {
  fs::create_directories(PenPath(kPage));
  fs::create_symlink(PenPath("nowhere"), PenPath("1.2.3.4/a.stf2"));
  ExpectExportFails(kPen, Stroke("a"),
                    "Ink Export failed: file 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' does not exists.");
}

TEST_F(ExportStrokeTest, ALoopOfLinksRaises) {
  fs::create_directories(PenPath(kPage));
  fs::create_symlink("a.stf2", PenPath("1.2.3.4/a.stf2"));
  fs::path out = "/stale";
  EXPECT_THROW(ExportStroke(kPen, Stroke("a"), out), fs::filesystem_error);
  EXPECT_TRUE(out.empty());
}

TEST_F(ExportStrokeTest, NamesTheLackOfAScratchFile) {
  Put("a.stf2");
  WriteFile(root_.scratch(), "in its place");
  const LogCapture log;
  fs::path out = "/stale";
  EXPECT_FALSE(ExportStroke(kPen, Stroke("a"), out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(LogCapture::Line(1, "Ink Export failed: failed to create temporary file."),
            log.lines().back());
}

TEST_F(ExportStrokeTest, ACopyThatNobodyWantsAnyMoreLeavesNothing) {
  ASSERT_TRUE(ImportStroke(kPen, Stroke("a"), std::vector<char>(200000, 'x')));
  const LogCapture log;
  fs::path out = "/stale";
  int asked = 0;
  EXPECT_FALSE(ExportStroke(kPen, Stroke("a"), out, [&asked] { return ++asked > 1; }));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
  EXPECT_EQ(0u, log.CountUpTo(2));
  EXPECT_TRUE(log.Has(4, "Ink Export of 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' was canceled."));
}

// What exists and is no file is found out when it is copied; nothing waits for it.
TEST_F(ExportStrokeTest, ACopyThatFailsIsNamedAndLeavesNothing) {
  fs::create_directories(PenPath("1.2.3.4/folder.stf2"));
  ASSERT_EQ(0, ::mkfifo(PenPath("1.2.3.4/fifo.stf2").c_str(), 0600));
  fs::permissions(PenPath("1.2.3.4/fifo.stf2"), fs::perms(0777));
  Put("locked.stf2");
  fs::permissions(PenPath("1.2.3.4/locked.stf2"), fs::perms(0));
  fs::create_directories(root_.scratch());
  fs::permissions(root_.scratch(), fs::perms(0777));
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"folder", "#Is a directory \\(21\\)"},
      {"fifo", "#Invalid argument \\(22\\)"},
      {"locked", "#Permission denied \\(13\\)"}};
  const PlainUser user;
  for (const auto& [name, reason] : rows) {
    const LogCapture log;
    fs::path out = "/stale";
    EXPECT_FALSE(ExportStroke(kPen, Stroke(name), out));
    EXPECT_TRUE(out.empty());
    ASSERT_EQ(2u, log.lines().size());
    EXPECT_EQ(1, log.lines()[1].first);
    EXPECT_THAT(log.lines()[1].second,
                testing::MatchesRegex("Ink Export failed: failed to copy "
                                      "'ROOT/AJ3-000-1X/1.2.3.4/" +
                                      name + ".stf2' to '" + root_.scratch().string() +
                                      "/stf2\\.......' due to error " + reason + "\\."));
    EXPECT_TRUE(fs::is_empty(root_.scratch()));
  }
}
