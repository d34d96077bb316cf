#include "StoreView.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "storage/FilesStorage.h"
#include "support/InkFile.h"
#include "support/TestRoot.h"

using namespace TalvoQuillpost;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

typedef std::vector<std::string> Told;

// "arrived PEN/STROKE", "confirmed PEN/STROKE by APP", "left PEN/STROKE".
Told Tell(const PenState& before, const PenState& after) {
  Told told;
  for (const StoreChange& change : Compare("P", before, after)) {
    const char* const kinds[] = {"arrived ", "confirmed ", "left "};
    told.push_back(kinds[change.kind] + change.stroke +
                   (change.application.empty() ? "" : " by " + change.application));
  }
  return told;
}

StrokeState Stroke(std::time_t arrived, std::map<std::string, bool> claims) {
  StrokeState stroke;
  stroke.arrived = arrived;
  stroke.claims = std::move(claims);
  return stroke;
}

}  // namespace

TEST(Compare, TellsWhatArrivedWasConfirmedAndLeft) {
  const PenState waiting = {{"a", Stroke(1, {{"Notes", false}, {"Vault", false}})}};
  const PenState half = {{"a", Stroke(1, {{"Notes", true}, {"Vault", false}})}};
  EXPECT_THAT(Tell({}, waiting), ElementsAre("arrived a"));
  EXPECT_THAT(Tell(waiting, half), ElementsAre("confirmed a by Notes"));
  EXPECT_THAT(Tell(half, {}), ElementsAre("confirmed a by Vault", "left a"));
  EXPECT_THAT(Tell(half, half), IsEmpty());
}

TEST(WaitingFor, CountsFilesAndFindsTheOldest) {
  const StoreState store = {{"P",
                             {{"a", Stroke(30, {{"Notes", false}})},
                              {"b", Stroke(10, {{"Notes", true}, {"Vault", false}})}}},
                            {"Q", {{"a", Stroke(20, {{"Notes", false}})}, {"c", Stroke(5, {})}}}};
  const auto waiting = WaitingFor(store, {"Quiet"});
  ASSERT_EQ(3u, waiting.size());
  EXPECT_EQ(2u, waiting.at("Notes").files);
  EXPECT_EQ(20, waiting.at("Notes").since);
  EXPECT_EQ(1u, waiting.at("Vault").files);
  EXPECT_EQ(0u, waiting.at("Quiet").files);
  EXPECT_EQ(1u, Unclaimed(store).files);
  EXPECT_EQ(5, Unclaimed(store).since);
}

TEST(ReadPenState, HasTheFilesAndTheirClaims) {
  TestRoot root;
  const Storage::StrokeID id = {"1.2.3.4", "1_2", "stf2"};
  ASSERT_TRUE(Storage::ImportStroke(kTestPenSerial, id, std::vector<char>(5, 'x')));
  ASSERT_TRUE(Storage::ImportStroke(kTestPenSerial, {"7.7.7.7", "1_2", "stf2"}, {'x'}));
  ASSERT_TRUE(Storage::SyncRoutingInfo(kTestPenSerial, "1.2.3.4", {"Notes", "Vault"}));
  ASSERT_TRUE(Storage::SetRoutingInfoMarkers(kTestPenSerial, "Notes", {id}, {id}));
  const PenState state = ReadPenState(kTestPenSerial);
  ASSERT_EQ(2u, state.size());
  EXPECT_EQ(5u, state.at("1.2.3.4/1_2.stf2").bytes);
  EXPECT_TRUE(state.at("1.2.3.4/1_2.stf2").claims.at("Notes"));
  EXPECT_FALSE(state.at("1.2.3.4/1_2.stf2").claims.at("Vault"));
  EXPECT_THAT(state.at("7.7.7.7/1_2.stf2").claims, IsEmpty());
  EXPECT_THAT(ReadPenState("0000-0000-0000-0001"), IsEmpty());
}
