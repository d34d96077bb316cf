// When the times of a file or a directory prove that nothing has changed in it.

#include "storage/FileStamp.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include "storage/StoreDirectories.h"
#include "storage/StoreTest.h"
#include "support/FileWatch.h"

namespace TalvoQuillpost {
namespace Storage {
namespace {

class FileStampTest : public StoreTest {
 protected:
  FileStampTest() { Put("a.stf2"); }

  FileStamp Look() const { return FileStamp(PenPath(kPage)); }

  // Waits until the last change is longer ago than the grain of any clock.
  bool WaitForProof() const {
    return Eventually([this] { return Look().proves(); });
  }

  // A tick of the clock that stamps changes.
  static double TickSeconds() {
    timespec tick;
    ::clock_getres(CLOCK_REALTIME_COARSE, &tick);
    return static_cast<double>(tick.tv_nsec) * 1e-9;
  }

  // For how long the directory has been left alone, as far as its own times tell.
  double AgeSeconds() const {
    struct stat status;
    timespec now;
    if (::stat(PenPath(kPage).c_str(), &status) != 0) return 0;
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec - status.st_ctim.tv_sec) +
           static_cast<double>(now.tv_nsec - status.st_ctim.tv_nsec) * 1e-9;
  }
};

TEST_F(FileStampTest, OfADirectoryThatWasJustChangedProvesNothing) {
  FileStamp stamp;
  // A test that is held up after the change looks too late, and tries again.
  do {
    Put("b.stf2");
    boost::filesystem::remove(PenPath("1.2.3.4/b.stf2"));
    stamp = Look();
  } while (AgeSeconds() > TickSeconds());
  EXPECT_FALSE(stamp.proves());
  EXPECT_FALSE(stamp == stamp);
  EXPECT_TRUE(stamp != stamp);
}

TEST_F(FileStampTest, ProvesSoonOnAFileSystemThatKeepsTheTickOfAChange) {
  FileStamp stamp;
  do {
    stamp = Look();
  } while (!stamp.proves() && AgeSeconds() < 2);
  EXPECT_TRUE(stamp.proves());
}

// Two changes within the same second would have the same times there.
TEST_F(FileStampTest, ProvesNothingSoonOnAFileSystemThatMayKeepSecondsAlone) {
  const timespec whole_second[] = {{0, UTIME_OMIT}, {1700000000, 0}};
  FileStamp stamp;
  do {
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, PenPath(kPage).c_str(), whole_second, 0));
    while (AgeSeconds() < 0.1) {
    }
    stamp = Look();
  } while (AgeSeconds() > 2);
  EXPECT_FALSE(stamp.proves());
}

TEST_F(FileStampTest, OfNeitherFileNorDirectoryProvesNothing) {
  EXPECT_FALSE(FileStamp(PenPath("9.9.9.9")).proves());
  EXPECT_FALSE(FileStamp("/dev/null").proves());
  EXPECT_FALSE(FileStamp() == FileStamp());
}

TEST_F(FileStampTest, IsAnotherAfterEachChange) {
  ASSERT_TRUE(WaitForProof());
  const FileStamp before = Look();
  EXPECT_TRUE(before == Look());
  Put("b.stf2");
  EXPECT_FALSE(before == Look());
  ASSERT_TRUE(WaitForProof());
  EXPECT_FALSE(before == Look());
}

TEST_F(FileStampTest, OfAFileIsAnotherAfterEachChange) {
  const boost::filesystem::path file = PenPath("1.2.3.4/a.stf2");
  const auto look = [&file] { return FileStamp(file); };
  for (const char* bytes : {"ink", "kni"}) {
    ASSERT_TRUE(Eventually([&] { return look().proves(); }));
    const FileStamp before = look();
    EXPECT_TRUE(before == look());
    WriteFile(file, bytes);
    EXPECT_FALSE(before == look());
    ASSERT_TRUE(Eventually([&] { return look().proves(); }));
    EXPECT_FALSE(before == look());
  }
}

// The proof is believed.
TEST_F(FileStampTest, APageThatDidNotChangeIsNotListedAgain) {
  const auto apps = std::make_shared<const Names>(Names{kApp});
  ASSERT_TRUE(WaitForProof());
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  FileWatch watch(PenPath(kPage));
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_EQ(0u, watch.Seen());
  // Unless ink was named in it meanwhile, whatever its times say, and for other applications.
  NoteNewInk(PenPath(kPage));
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_NE(0u, watch.Seen() & IN_ACCESS);
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_EQ(0u, watch.Seen());
  ASSERT_TRUE(SyncPage(kPen, kPage, std::make_shared<const Names>(Names{kApp, "app.two"}), {}));
  EXPECT_NE(0u, watch.Seen() & IN_ACCESS);
}

TEST_F(FileStampTest, APageIsListedAgainWhenItHasChanged) {
  const auto apps = std::make_shared<const Names>(Names{kApp});
  ASSERT_TRUE(WaitForProof());
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_EQ(1u, Undelivered().size());
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_EQ(1u, Undelivered().size());
  Put("b.stf2");
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_EQ(2u, Undelivered().size());
  // A stroke that was erased, and whose file has stayed, is found though the page is the same.
  ASSERT_TRUE(WaitForProof());
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  boost::filesystem::permissions(PenPath(kPage), boost::filesystem::perms(0555));
  {
    const PlainUser user;
    RemoveStrokes(kPen, {Stroke("a")});
  }
  boost::filesystem::permissions(PenPath(kPage), boost::filesystem::perms(0755));
  ASSERT_TRUE(boost::filesystem::exists(PenPath("1.2.3.4/a.stf2")));
  ASSERT_TRUE(SyncPage(kPen, kPage, apps, {}));
  EXPECT_EQ(2u, Undelivered().size());
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
