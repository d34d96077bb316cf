// The removal of directories that hold no ink any more.

#include <boost/filesystem.hpp>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;
using testing::IsEmpty;

namespace fs = boost::filesystem;

namespace {

class TidyingTest : public StoreTest {
 protected:
  static LogCapture::Line RemovedPage(const std::string& page) {
    return {3, "Removed empty Storage dir: 'ROOT/AJ3-000-1X/" + page + "'."};
  }

  static Lines LinesOfCleanup() {
    const LogCapture log;
    Cleanup(kPen);
    return log.lines();
  }

  const LogCapture::Line kRemovedPen = {3, "Removed empty Storage dir: 'ROOT/AJ3-000-1X'."};
};

}  // namespace

TEST_F(TidyingTest, AnInvalidPenIsLeftAloneInSilence) {
  fs::create_directories(Path("pen 1/1.2.3.4"));
  WriteFile(Path(".pen"), "");
  const LogCapture log;
  for (const char* pen : {"pen 1", ".pen", "", "..", "."}) Cleanup(pen);
  EXPECT_TRUE(fs::exists(Path("pen 1/1.2.3.4")));
  EXPECT_TRUE(fs::exists(Path(".pen")));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(TidyingTest, APenThatIsNotThereIsNoMistake) {
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_FALSE(fs::exists(root_.storage()));
}

TEST_F(TidyingTest, WhateverStandsInThePensPlaceIsRemovedInSilence) {
  WriteFile(root_.path() / "elsewhere", "ink");
  WriteFile(PenPath(), "a stray file");
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_FALSE(fs::exists(PenPath()));
  fs::create_symlink(root_.path() / "elsewhere", PenPath());
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_FALSE(fs::is_symlink(PenPath()));
  EXPECT_EQ("ink", ReadFile(root_.path() / "elsewhere"));
  fs::create_symlink("nowhere", PenPath());
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_FALSE(fs::is_symlink(PenPath()));
  ASSERT_EQ(0, ::mkfifo(PenPath().c_str(), 0600));
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_FALSE(fs::exists(PenPath()));
}

TEST_F(TidyingTest, PagesWithInkStay) {
  Put("a.stf2");
  Put("no extension", "1.2.3.5");
  Put("x", "encrypted-stf2");
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.5/no extension")));
  EXPECT_EQ("ink", ReadFile(PenPath("encrypted-stf2/x")));
  EXPECT_TRUE(fs::exists(RoutingInfoPath()));
  EXPECT_TRUE(SaveRoutingInfo(kPen));
}

TEST_F(TidyingTest, PagesWithoutVisibleFilesGoWithAllTheirContent) {
  Put("a.stf2", "9.9.9.9");
  fs::create_directories(PenPath("1.1.1.1"));
  Put(".hidden", "2.2.2.2");
  Put("deep/down/file", "3.3.3.3");
  Put(".hidden/file", "4.4.4.4.4");
  fs::create_directories(PenPath("encrypted-stf2"));
  fs::create_symlink("nowhere", PenPath("encrypted-stf2/dangling"));
  ASSERT_EQ(0, ::mkfifo(PenPath("1.1.1.1/fifo").c_str(), 0600));
  EXPECT_EQ(Lines({RemovedPage("1.1.1.1"), RemovedPage("2.2.2.2"), RemovedPage("3.3.3.3"),
                   RemovedPage("4.4.4.4.4"), RemovedPage("encrypted-stf2")}),
            LinesOfCleanup());
  Names pages;
  EXPECT_TRUE(GetPageAddresses(kPen, pages));
  EXPECT_THAT(pages, testing::ElementsAre("9.9.9.9"));
}

TEST_F(TidyingTest, ThePenGoesWithItsLastPageItsFilesAndItsEntry) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  WriteFile(PenPath("notes.txt"), "somebody's");
  WriteFile(PenPath(".hidden"), "somebody's");
  fs::create_symlink("nowhere", PenPath("dangling"));
  fs::create_symlink("loop", PenPath("loop"));
  ASSERT_TRUE(RemoveStrokes(kPen, {Stroke("a")}));
  EXPECT_EQ(Lines({RemovedPage(kPage), kRemovedPen}), LinesOfCleanup());
  EXPECT_FALSE(fs::exists(PenPath()));
  EXPECT_TRUE(fs::exists(root_.storage()));
  EXPECT_FALSE(SaveRoutingInfo(kPen)) << "the pen is still in the table";
}

TEST_F(TidyingTest, APenWithNothingButRoutingInfoGoes) {
  ASSERT_TRUE(RemoveStrokes(kPen, {}));
  ASSERT_TRUE(fs::exists(RoutingInfoPath()));
  EXPECT_EQ(Lines({kRemovedPen}), LinesOfCleanup());
  EXPECT_FALSE(fs::exists(PenPath()));
  EXPECT_FALSE(SaveRoutingInfo(kPen));
}

TEST_F(TidyingTest, AnotherPenIsNotTouched) {
  ASSERT_TRUE(RemoveStrokes(kPen, {}));
  ASSERT_TRUE(RemoveStrokes("other-pen", {}));
  EXPECT_EQ(Lines({kRemovedPen}), LinesOfCleanup());
  EXPECT_TRUE(fs::exists(Path("other-pen/RoutingInfo.txt")));
  EXPECT_TRUE(SaveRoutingInfo("other-pen"));
}

TEST_F(TidyingTest, ADirectoryThatIsNoPageKeepsThePen) {
  for (const char* name : {"tmp", ".cache", "1.2.3", "pages"}) {
    fs::create_directories(PenPath(name));
    fs::create_directories(PenPath(kPage));
    ASSERT_TRUE(RemoveStrokes(kPen, {}));
    EXPECT_EQ(Lines({RemovedPage(kPage)}), LinesOfCleanup()) << name;
    EXPECT_TRUE(fs::exists(PenPath(name)));
    EXPECT_TRUE(fs::exists(RoutingInfoPath()));
    EXPECT_TRUE(SaveRoutingInfo(kPen));
    fs::remove(PenPath(name));
  }
  fs::create_directory(root_.path() / "elsewhere");
  fs::create_directory_symlink(root_.path() / "elsewhere", PenPath("linked"));
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_TRUE(fs::exists(PenPath("linked")));
}

// Somebody keeps a page, or a pen, on another disk. What else lies there is not the store's.
TEST_F(TidyingTest, OfALinkedDirectoryOnlyTheLinkIsRemoved) {
  const fs::path elsewhere = root_.path() / "elsewhere";
  WriteFile(elsewhere / "photographs/one", "a photograph");
  WriteFile(elsewhere / ".hidden", "a secret");
  fs::create_directories(PenPath());
  fs::create_directory_symlink(elsewhere, PenPath(kPage));
  EXPECT_EQ(Lines({RemovedPage(kPage), kRemovedPen}), LinesOfCleanup());
  EXPECT_EQ("a photograph", ReadFile(elsewhere / "photographs/one"));
  EXPECT_EQ("a secret", ReadFile(elsewhere / ".hidden"));

  fs::remove_all(elsewhere / "photographs");
  fs::create_directory_symlink(elsewhere, PenPath());
  EXPECT_EQ(Lines({kRemovedPen}), LinesOfCleanup());
  EXPECT_FALSE(fs::is_symlink(PenPath()));
  EXPECT_EQ("a secret", ReadFile(elsewhere / ".hidden"));
}

TEST_F(TidyingTest, ALinkedPageWithInkStays) {
  const fs::path elsewhere = root_.path() / "elsewhere";
  WriteFile(elsewhere / "a.stf2", "ink");
  fs::create_directories(PenPath());
  fs::create_directory_symlink(elsewhere, PenPath(kPage));
  EXPECT_THAT(LinesOfCleanup(), IsEmpty());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
}

// An import comes between the look into the directory and its removal.
TEST_F(TidyingTest, InkFiledDuringTheTidyingStays) {
  Put(".hidden");
  bool imported = false;
  EXPECT_FALSE(RemoveDirectoryWithout(PenPath(kPage), [&](const fs::path& entry) {
    if (!imported) imported = ImportStroke(kPen, Stroke("late"), {'i', 'n', 'k'});
    return entry.filename() != ".hidden";
  }));
  EXPECT_TRUE(imported);
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/late.stf2")));
  EXPECT_FALSE(fs::exists(PenPath("1.2.3.4/.hidden")));
}

TEST_F(TidyingTest, WhatCantBeRemovedRaises) {
  fs::create_directories(PenPath(kPage));
  fs::permissions(PenPath(), fs::perms(0555));
  {
    const PlainUser user;
    EXPECT_THROW(Cleanup(kPen), fs::filesystem_error);
  }
  fs::permissions(PenPath(), fs::perms(0755));
  EXPECT_TRUE(fs::exists(PenPath(kPage)));

  fs::remove(PenPath(kPage));
  fs::permissions(root_.storage(), fs::perms(0555));
  {
    const PlainUser user;
    EXPECT_THROW(Cleanup(kPen), fs::filesystem_error);
  }
  fs::permissions(root_.storage(), fs::perms(0));
  {
    const PlainUser user;
    EXPECT_THROW(Cleanup(kPen), fs::filesystem_error) << "the pen's status can't be asked for";
  }
  fs::permissions(root_.storage(), fs::perms(0755));
}

TEST_F(TidyingTest, AnEntryOfAPageThatCantBeRemovedRaises) {
  const fs::path stuck = PenPath("1.2.3.4/.stuck");
  WriteFile(stuck / "file", "not ink");
  fs::permissions(stuck, fs::perms(0555));
  for (const fs::path& path : {PenPath(), PenPath(kPage)}) fs::permissions(path, fs::perms(0777));
  {
    const PlainUser user;
    EXPECT_THROW(Cleanup(kPen), fs::filesystem_error);
  }
  EXPECT_TRUE(fs::exists(stuck / "file"));
  fs::permissions(stuck, fs::perms(0755));
}
