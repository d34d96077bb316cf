// A disk that is full for real: of bytes, and of inodes. Ink that finds no room is refused, and
// leaves nothing; nothing else is lost, and all goes on when there is room again.

#include <gtest/gtest.h>

#include "faults/InkAccount.h"
#include "faults/Road.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;

namespace {

class FullDisk : public testing::Test {
 protected:
  void Start(const std::string& options) {
    disk_ = std::make_unique<Disk>(road_.root().home(), options);
    if (!disk_->is_mounted()) GTEST_SKIP() << "this user can't mount";
    ASSERT_TRUE(road_.Start());
  }

  // All that is asked of a service that has room again, and of the next one.
  void ExpectAllIsWell(std::set<std::string> inks) {
    EXPECT_TRUE(road_.IsServing());
    EXPECT_EQ(road_.Import(9000), "Success");
    inks.merge(InksOf(9000));
    road_.Receive(inks);
    EXPECT_TRUE(road_.IsDone(inks)) << road_.log();
    EXPECT_EQ(road_.Stop(), 0);
    for (const std::string& ink : inks) EXPECT_EQ(road_.received().count(ink), 1u) << ink;
    EXPECT_TRUE(fs::is_empty(road_.root().scratch()));
  }

  Road road_;
  std::unique_ptr<Disk> disk_;
};

TEST_F(FullDisk, OfBytesRefusesImports) {
  Start("size=256k");
  if (IsSkipped()) return;
  ASSERT_EQ(road_.Import(1000), "Success");
  disk_->Fill();
  EXPECT_EQ(road_.Import(2000), "Failed");
  EXPECT_TRUE(road_.IsServing());
  EXPECT_EQ(ListStrokeFiles(road_.root().storage()).size(), 2u);
  road_.Receive(InksOf(1000), std::chrono::seconds(1));  // no room for a package either
  EXPECT_TRUE(road_.IsServing());
  disk_->Free();
  ExpectAllIsWell(InksOf(1000));
}

TEST_F(FullDisk, OfBytesKeepsWhatWasConfirmed) {
  Start("size=256k");
  if (IsSkipped()) return;
  road_.root().Subscribe("Other", "1.2.*.*");
  ASSERT_EQ(road_.Import(1000), "Success");
  // The other has not had it, so it stays.
  road_.Receive(InksOf(1000), kPatience, Road::Until::kReceived);
  ASSERT_TRUE(road_.HasReceived(InksOf(1000)));
  disk_->Fill();
  for (std::uint64_t time_ms = 2000; time_ms < 5000; time_ms += 1000) road_.Import(time_ms);
  EXPECT_EQ(road_.Stop(), 0);
  disk_->Free();
  ASSERT_TRUE(road_.Start());
  EXPECT_EQ(road_.Import(6000), "Success");
  road_.Receive(InksOf(6000), kPatience, Road::Until::kReceived);
  EXPECT_TRUE(road_.HasReceived(InksOf(6000)));
  for (const std::string& ink : InksOf(1000)) EXPECT_EQ(road_.received().count(ink), 1u) << ink;
  EXPECT_EQ(road_.Stop(), 0);
}

TEST_F(FullDisk, OfInodesRefusesImports) {
  Start("size=4m,nr_inodes=60");
  if (IsSkipped()) return;
  ASSERT_EQ(road_.Import(1000), "Success");
  int files = 0;
  const auto filler = [&](int i) { return road_.root().home() / ("filler-" + std::to_string(i)); };
  for (; files < 100; ++files) {
    const int fd = ::open(filler(files).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) break;
    ::close(fd);
  }
  ASSERT_LT(files, 100);
  EXPECT_EQ(road_.Import(2000), "Failed");
  road_.Receive(InksOf(1000), std::chrono::seconds(1));
  EXPECT_TRUE(road_.IsServing());
  for (int i = 0; i < files; ++i) fs::remove(filler(i));
  ExpectAllIsWell(InksOf(1000));
}

}  // namespace
