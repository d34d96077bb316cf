// When the times of a directory prove that nothing has changed in it.

#include "storage/DirectoryStamp.h"

#include "storage/StoreTest.h"

namespace TalvoQuillpost {
namespace Storage {
namespace {

class DirectoryStampTest : public StoreTest {
 protected:
  DirectoryStampTest() { Put("a.stf2"); }

  DirectoryStamp Look() const { return DirectoryStamp(PenPath(kPage)); }

  // Waits until the last change is longer ago than the grain of any clock.
  bool WaitForProof() const {
    return Eventually([this] { return Look().proves(); });
  }
};

TEST_F(DirectoryStampTest, OfADirectoryThatWasJustChangedProvesNothing) {
  const DirectoryStamp stamp = Look();
  EXPECT_FALSE(stamp.proves());
  EXPECT_FALSE(stamp == stamp);
  EXPECT_TRUE(stamp != stamp);
}

TEST_F(DirectoryStampTest, OfNoDirectoryProvesNothing) {
  EXPECT_FALSE(DirectoryStamp(PenPath("9.9.9.9")).proves());
  EXPECT_FALSE(DirectoryStamp(PenPath("1.2.3.4/a.stf2")).proves());
  EXPECT_FALSE(DirectoryStamp() == DirectoryStamp());
}

TEST_F(DirectoryStampTest, IsAnotherAfterEachChange) {
  ASSERT_TRUE(WaitForProof());
  const DirectoryStamp before = Look();
  EXPECT_TRUE(before == Look());
  Put("b.stf2");
  EXPECT_FALSE(before == Look());
  ASSERT_TRUE(WaitForProof());
  EXPECT_FALSE(before == Look());
}

// The proof is believed: the claims of a page that did not change are not looked for again, and a
// new file in it is found.
TEST_F(DirectoryStampTest, APageIsListedAgainWhenItHasChanged) {
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
