// Routing info whose saving was cut off in the middle, as by a full disk.

#include "storage/LibraryArchive.h"
#include "storage/StoreTest.h"
#include "support/FileSizeLimit.h"

using namespace TalvoQuillpost::Storage;

namespace fs = boost::filesystem;

namespace {

class TornSave : public StoreTest {
 protected:
  static std::string Name(int i) { return "17000000000" + std::to_string(10 + i); }

  // Half of the strokes have been taken, the other half nobody has received.
  void FileStrokes() {
    for (int i = 0; i < 80; ++i) {
      Put(Name(i) + ".stf2");
      if (i % 2 == 0) taken_.insert(Stroke(Name(i)));
    }
    ASSERT_TRUE(Sync({kApp}));
    ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, taken_, taken_));
  }

  Strokes taken_;
};

// Records of strokes are often equally long: the new beginning of a file before its old rest would
// read well, and give strokes that nobody has received the marks of others.
TEST_F(TornSave, LeavesWhatWasThere) {
  for (const rlim_t bytes : {300, 1000, 1500, 6000}) {
    FileStrokes();
    {
      const FileSizeLimit limit(bytes);
      EXPECT_FALSE(RemoveStrokes(kPen, taken_));
    }
    EXPECT_EQ(ReadWithLibrary(ReadFile(RoutingInfoPath())).size(), 80u);
    Cleanup();
    const LogCapture log(2);
    ASSERT_TRUE(Initialize());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(Processed().empty());  // their files have gone
    EXPECT_EQ(Undelivered().size(), 40u);
    ASSERT_TRUE(SaveRoutingInfo(kPen));
    EXPECT_EQ(Saved().size(), 40u);
  }
}

// A stroke has gone that could not be taken out of the file, and another one has come: the archive
// is as long as the one that is there, and every record is another.
TEST_F(TornSave, OfAnArchiveOfTheSameLengthLeavesWhatWasThere) {
  FileStrokes();
  fs::rename(RoutingInfoPath(), PenPath("backup"));
  fs::create_directory(RoutingInfoPath());
  EXPECT_FALSE(RemoveStrokes(kPen, {Stroke(Name(0))}));
  fs::remove(RoutingInfoPath());
  fs::rename(PenPath("backup"), RoutingInfoPath());
  Put(Name(80) + ".stf2");
  {
    const FileSizeLimit limit(fs::file_size(RoutingInfoPath()) / 2);
    EXPECT_FALSE(Sync({kApp}));
  }
  Cleanup();
  const LogCapture log(2);
  ASSERT_TRUE(Initialize());
  EXPECT_TRUE(log.lines().empty());
  taken_.erase(Stroke(Name(0)));
  EXPECT_EQ(Processed(), taken_);
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_EQ(Undelivered().size(), 41u);
}

TEST_F(TornSave, OfMarksKeepsThoseThatWereWritten) {
  FileStrokes();
  const auto size = fs::file_size(RoutingInfoPath());
  const Strokes last = {Stroke(Name(79))};
  {
    const FileSizeLimit limit(size / 2);
    EXPECT_FALSE(SetRoutingInfoMarkers(kPen, kApp, last, last));
  }
  Cleanup();
  ASSERT_TRUE(Initialize());
  EXPECT_EQ(Processed(), taken_);
  EXPECT_EQ(Undelivered().size(), 40u);
}

TEST_F(TornSave, IsMadeGoodByTheNextSave) {
  FileStrokes();
  {
    const FileSizeLimit limit(500);
    EXPECT_FALSE(RemoveStrokes(kPen, taken_));
  }
  EXPECT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(Saved().size(), 40u);
}

}  // namespace
