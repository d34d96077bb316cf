// The store on disks that are full, read-only, or several.

#include <sys/stat.h>

#include <boost/filesystem.hpp>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;
using testing::ElementsAre;

namespace fs = boost::filesystem;

namespace {

class StorageDiskTest : public StoreTest {
 protected:
  static dev_t DeviceOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(0, ::stat(path.c_str(), &status));
    return status.st_dev;
  }

  const LogCapture::Line kDiskFull = {
      1, "Failed to save Routing Info for Pen 'AJ3-000-1X': No space left on device."};
};

}  // namespace

TEST_F(StorageDiskTest, RoutingInfoThatDoesNotFitIsReportedAndSavedLater) {
  Disk disk(PenPath());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  for (int i = 0; i < 500; ++i) {
    ASSERT_EQ(0, ::mknod(PenPath("1.2.3.4/" + std::to_string(i)).c_str(), S_IFREG | 0600, 0));
  }
  disk.Fill();
  {
    const LogCapture log;
    EXPECT_FALSE(Sync({kApp}));
    EXPECT_EQ(Lines({kDiskFull}), log.lines());
  }
  EXPECT_EQ(501u, Undelivered().size());
  disk.Free();
  EXPECT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {Stroke("a")}, {}));
  EXPECT_EQ(501u, Saved().size());
}

TEST_F(StorageDiskTest, ANewRoutingInfoOnAFullDiskIsReported) {
  Disk disk(PenPath());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  disk.Fill();
  const LogCapture log;
  EXPECT_FALSE(RemoveStrokes(kPen, {}));
  EXPECT_TRUE(log.Has(1, kDiskFull.second));
}

// What an application has confirmed is kept on a full disk, too: marks overwrite their own bytes.
TEST_F(StorageDiskTest, MarksAreSavedOnAFullDisk) {
  Disk disk(PenPath());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  disk.Fill();
  EXPECT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {Stroke("a")}, {Stroke("a")}));
  Cleanup();
  ASSERT_TRUE(Initialize());
  EXPECT_THAT(Processed(), ElementsAre(Stroke("a")));
}

TEST_F(StorageDiskTest, AnImportOntoAFullDiskIsReportedAndLeavesNothing) {
  Disk disk(PenPath());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  const LogCapture log;
  EXPECT_FALSE(ImportStroke(kPen, Stroke("long"), std::vector<char>(200000, 'i')));
  EXPECT_TRUE(fs::is_empty(PenPath("1.2.3.4")));
  EXPECT_EQ(2u, log.lines().size());
  EXPECT_TRUE(log.Has(1, "Ink Import failed: can't create file '" +
                             PenPath("1.2.3.4/long.stf2").string() + "': No space left on device"));
  EXPECT_TRUE(ImportStroke(kPen, Stroke("next"), std::vector<char>(10, 'i')));
  EXPECT_EQ(10u, fs::file_size(PenPath("1.2.3.4/next.stf2")));
}

TEST_F(StorageDiskTest, AnExportOntoAFullDiskIsReportedAndLeavesNothing) {
  Disk disk(root_.scratch());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  Put("a.stf2");
  disk.Fill();
  const LogCapture log;
  fs::path out = "/stale";
  EXPECT_FALSE(ExportStroke(kPen, Stroke("a"), out));
  EXPECT_TRUE(out.empty());
  EXPECT_THAT(
      log.lines().back().second,
      testing::MatchesRegex("Ink Export failed: failed to copy "
                            "'ROOT/AJ3-000-1X/1\\.2\\.3\\.4/a\\.stf2' to '.*/stf2\\.......' "
                            "due to error #No space left on device \\(28\\)\\."));
  disk.Free();
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
}

TEST_F(StorageDiskTest, AReadOnlyStoreIsListedAndNotChanged) {
  Disk disk(root_.storage());
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  fs::create_directory(PenPath("9.9.9.9"));
  ASSERT_TRUE(disk.MakeReadOnly());
  const LogCapture log(1);
  fs::path out;
  EXPECT_TRUE(ExportStroke(kPen, Stroke("a"), out));
  EXPECT_FALSE(ImportStroke(kPen, Stroke("b"), {'i'}));
  EXPECT_FALSE(ImportStroke(kPen, Stroke("b", "1.1.1.1"), {'i'}));
  EXPECT_FALSE(RemoveStrokes(kPen, {Stroke("a")}));
  EXPECT_THROW(Cleanup(kPen), fs::filesystem_error);
  EXPECT_EQ(
      Lines(
          {{1, "Ink Import failed: can't create file '" + PenPath("1.2.3.4/b.stf2").string() + "'"},
           {1, "Failed to create directory '" + PenPath("1.1.1.1").string() +
                   "': Read-only file system (30)"},
           {1, "Ink Import failed: can't create directory '" + PenPath("1.1.1.1").string() + "'."},
           {1,
            "Ink Removing failed (1.2.3.4/a.stf2): can't remove file "
            "'ROOT/AJ3-000-1X/1.2.3.4/a.stf2': Read-only file system"},
           {1,
            "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create file "
            "'ROOT/AJ3-000-1X/RoutingInfo.txt'."}}),
      log.lines());
}

TEST_F(StorageDiskTest, TheScratchDirectoryMayLieOnAnotherFileSystem) {
  char memory[] = "/dev/shm/qp.XXXXXX";
  if (::mkdtemp(memory) == nullptr) GTEST_SKIP() << "there is no /dev/shm";
  fs::create_directories(root_.scratch().parent_path());
  fs::create_directory_symlink(memory, root_.scratch());
  const bool is_another = DeviceOf(memory) != DeviceOf(root_.path());
  const std::string data(300000, 'i');
  EXPECT_TRUE(ImportStroke(kPen, Stroke("a"), std::vector<char>(data.begin(), data.end())));
  fs::path out;
  EXPECT_TRUE(ExportStroke(kPen, Stroke("a"), out));
  EXPECT_EQ(data, ReadFile(out));
  EXPECT_EQ(fs::path(memory), fs::canonical(out).parent_path());
  fs::remove_all(memory);
  if (!is_another) GTEST_SKIP() << "/dev/shm and the store are one file system";
}

TEST_F(StorageDiskTest, APageMayLieOnAnotherFileSystem) {
  Disk disk(PenPath(kPage));
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  ASSERT_NE(DeviceOf(PenPath()), DeviceOf(PenPath(kPage)));
  EXPECT_TRUE(ImportStroke(kPen, Stroke("a"), {'i', 'n', 'k'}));
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("a")));
  fs::path out;
  EXPECT_TRUE(ExportStroke(kPen, Stroke("a"), out));
  EXPECT_EQ("ink", ReadFile(out));
  EXPECT_TRUE(RemoveStrokes(kPen, {Stroke("a")}));
  EXPECT_TRUE(fs::is_empty(PenPath(kPage)));
}
