#include "ink/Sink.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kPiece = 64 * 1024;

TEST(TextSink, TextIsHandedOnInLargePieces) {
  std::vector<std::size_t> pieces;
  TextSink out([&](std::string_view piece) { pieces.push_back(piece.size()); });
  out.text.assign(kPiece - 1, 'a');
  out.HandOn();
  EXPECT_THAT(pieces, IsEmpty());
  out.text += 'b';
  out.HandOn();
  EXPECT_THAT(pieces, ElementsAre(kPiece));
  EXPECT_EQ(out.text, "");
}

TEST(TextSink, FinishHandsOnWhatIsLeft) {
  std::string taken;
  TextSink out([&](std::string_view piece) { taken += piece; });
  out.text = "the end";
  out.Finish();
  EXPECT_EQ(taken, "the end");
}

TEST(TextSink, WhatTheSinkThrowsGoesOnToTheCaller) {
  TextSink out([](std::string_view) { throw std::length_error("full"); });
  out.text = "ink";
  EXPECT_THROW(out.Finish(), std::length_error);
}

// What a teller of `amount` tells of the part from `begin` to `end`.
class ShareTellerTest : public testing::Test {
 protected:
  std::vector<double> shares_;
  const TellShare tell_ = [this](double share) { shares_.push_back(share); };
};

TEST_F(ShareTellerTest, TellsAThousandTimesAtMostAndNeverLess) {
  ShareTeller teller(tell_, 1000000);
  for (int i = 0; i < 1000000; ++i) teller.Done(1);
  EXPECT_GT(shares_.size(), 900u);
  EXPECT_LE(shares_.size(), 1000u);
  EXPECT_TRUE(std::is_sorted(shares_.begin(), shares_.end()));
  EXPECT_NEAR(shares_.back(), 1, 0.001);
}

TEST_F(ShareTellerTest, TellsAPartOfTheWhole) {
  ShareTeller teller(tell_, 4, 0.5, 0.75);
  for (int i = 0; i < 4; ++i) teller.Done(1);
  EXPECT_THAT(shares_, ElementsAre(0.5625, 0.625, 0.6875, 0.75));
}

TEST_F(ShareTellerTest, MoreThanAllIsAllAndLessThanBeforeIsNothing) {
  ShareTeller teller(tell_, 4);
  teller.DoneTo(3);
  teller.DoneTo(1);
  teller.DoneTo(9);
  EXPECT_THAT(shares_, ElementsAre(0.75, 1));
}

TEST_F(ShareTellerTest, NoWorkIsDoneAtOnce) {
  ShareTeller teller(tell_, 0);
  teller.Done(0);
  EXPECT_THAT(shares_, ElementsAre(1));
}

TEST(ShareTeller, NobodyNeedsToBeTold) {
  const TellShare nobody;
  ShareTeller teller(nobody, 2);
  teller.Done(2);
}

}  // namespace
}  // namespace TalvoInk
