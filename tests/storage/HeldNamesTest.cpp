// Names of removed strokes, and when other ink may have them.

#include "storage/HeldNames.h"

#include "storage/StoreTest.h"

namespace TalvoQuillpost {
namespace Storage {
namespace {

class HeldNamesTest : public StoreTest {
 protected:
  static bool IsHeld(const StrokeID& id, const std::string& pen = kPen) {
    bool was_given = false;
    const auto error = GiveName(pen, id, [&was_given] {
      was_given = true;
      return boost::system::error_code();
    });
    EXPECT_EQ(was_given, !error);
    return error == boost::system::errc::file_exists;
  }

  const StrokeID a_ = Stroke("a");
  const StrokeID b_ = Stroke("b");
};

TEST_F(HeldNamesTest, ANameIsHeldForItsPenAlone) {
  HoldNames(kPen, {a_});
  EXPECT_TRUE(IsHeld(a_));
  EXPECT_FALSE(IsHeld(b_));
  EXPECT_FALSE(IsHeld(a_, "ANOTHER-PEN"));
}

TEST_F(HeldNamesTest, ASavedTableReleasesTheNamesThatItDoesNotKnow) {
  HoldNames(kPen, {a_, b_});
  ReleaseNames(kPen, StrokeMap{{a_, {}}});
  EXPECT_TRUE(IsHeld(a_));
  EXPECT_FALSE(IsHeld(b_));
  ReleaseNames(kPen, StrokeMap());
  EXPECT_FALSE(IsHeld(a_));
}

// A routing pass may drop a stroke's claims, and save, while its file is being removed.
TEST_F(HeldNamesTest, NoSaveReleasesNamesWhileARemovalRuns) {
  {
    const RemovalHold hold(kPen, {a_});
    ReleaseNames(kPen, StrokeMap());
    ReleaseNames(kPen);
    EXPECT_TRUE(IsHeld(a_));
  }
  EXPECT_TRUE(IsHeld(a_));
  ReleaseNames(kPen, StrokeMap());
  EXPECT_FALSE(IsHeld(a_));
}

TEST_F(HeldNamesTest, ANameIsFreeOnceItsRemovalIsSaved) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_TRUE(RemoveStrokes(kPen, {a_}));
  EXPECT_FALSE(IsHeld(a_));
}

// The table on the disk still calls the stroke processed: after the next start it would be removed,
// and new ink under its name with it.
TEST_F(HeldNamesTest, ARemovalThatCanNotBeSavedKeepsTheNames) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {a_}, {a_}));
  boost::filesystem::rename(RoutingInfoPath(), PenPath("backup"));
  boost::filesystem::create_directory(RoutingInfoPath());
  EXPECT_FALSE(RemoveStrokes(kPen, {a_}));
  EXPECT_TRUE(ImportStroke(kPen, a_, {'n', 'e', 'w'}));
  EXPECT_EQ("new", ReadFile(PenPath("1.2.3.4/a-1.stf2")));
  boost::filesystem::remove(RoutingInfoPath());
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_TRUE(ImportStroke(kPen, a_, {'n', 'e', 'x', 't'}));
  EXPECT_EQ("next", ReadFile(PenPath("1.2.3.4/a.stf2")));
}

TEST_F(HeldNamesTest, AProcessedStrokeWhoseFileIsGoneIsDroppedAndItsNameHeldUntilThatIsSaved) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {a_}, {a_}));
  boost::filesystem::remove(PenPath("1.2.3.4/a.stf2"));
  Cleanup();
  ASSERT_TRUE(Initialize());
  EXPECT_TRUE(Processed().empty());
  EXPECT_EQ(2u, Saved().size());  // nothing is written before the endpoint is had
  EXPECT_TRUE(ImportStroke(kPen, a_, {'n', 'e', 'w'}));
  EXPECT_FALSE(boost::filesystem::exists(PenPath("1.2.3.4/a.stf2")));
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_FALSE(IsHeld(a_));
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
