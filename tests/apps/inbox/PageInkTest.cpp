#include "content/PageInk.h"

#include <gmock/gmock.h>

#include "Inks.h"
#include "ink/InkError.h"
#include "ink/PagePaper.h"
#include "ink/Stf2File.h"
#include "ink/Time.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

// Ink of a single point, in micrometres from the page's corner.
TalvoInk::Ink PointAt(int x_um, int y_um, std::uint64_t time_ms = 5000) {
  TalvoInk::Stroke stroke;
  stroke.page = "1.2.3.4";
  stroke.start_time_ms = time_ms;
  stroke.samples = TalvoInk::DrawThrough({{0, x_um, y_um, 0, STF2_SAMPLE_COORDINATE, 1}});
  TalvoInk::Ink ink;
  ink.items.emplace_back(stroke);
  return ink;
}

std::string WhyNotOpened(const std::string& sealed, const TalvoInk::KeyPair& key) {
  try {
    OpenSealed(sealed, key);
    return "";
  } catch (const TalvoInk::InkError& error) {
    return error.what();
  }
}

std::string WhyNoKey(const std::string& file) {
  TalvoInk::KeyPair key;
  try {
    ReadKeyFile(file, key);
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

std::string Edges(const TalvoInk::PaperBox& box) {
  std::string text;
  for (const std::int64_t um : {box.left, box.top, box.left + box.width, box.top + box.height})
    text += (text.empty() ? "" : " ") + std::to_string(um / 1000);
  return text;
}

}  // namespace

TEST(PageInk, AListTellsWhatInkHas) {
  TalvoInk::Ink ink = PointAt(1000, 1000, 7000);
  TalvoInk::Append(ink, PointAt(2000, 2000, 5000));
  const PageSummary summary = SumUp(ink);
  EXPECT_EQ(summary.strokes, 2);
  EXPECT_EQ(summary.points, 2);
  EXPECT_EQ(summary.first_ms, 5000);
  EXPECT_EQ(summary.last_ms, 7000);
}

// Columns of the database are signed.
TEST(PageInk, ATimeBeyondTheYear9999IsItsEnd) {
  const PageSummary summary = SumUp(PointAt(0, 0, UINT64_MAX - 100));
  EXPECT_EQ(summary.first_ms, std::int64_t{253402300799999});
  EXPECT_EQ(summary.last_ms, std::int64_t{253402300799999});
}

TEST(PageInk, ThePaperIsTheOneThatAMarkerStatesElseTheUsual) {
  TalvoInk::Ink ink = PointAt(50000, 50000);
  EXPECT_EQ(Edges(SumUp(ink).paper), "0 0 210 297");
  EXPECT_EQ(Edges(SumUp(ink, {0, 0, 100000, 80000}).paper), "0 0 100 80");
  ink.items.emplace_back(
      TalvoInk::Marker{"1.2.3.4", 0, TalvoInk::WritePaper({{148, 210}, "plain"})});
  EXPECT_EQ(Edges(SumUp(ink, {0, 0, 100000, 80000}).paper), "0 0 148 210");
}

TEST(PageInk, ThePaperReachesAsFarAsTheInkWithAMargin) {
  EXPECT_EQ(Edges(SumUp(PointAt(300000, 100000)).paper), "0 0 305 297");
  EXPECT_EQ(Edges(SumUp(PointAt(-20000, 400000)).paper), "-25 0 210 405");
}

// A pen's mistake must not make the writing a dot.
TEST(PageInk, ThePaperReachesTwoMetresAtMost) {
  EXPECT_EQ(Edges(SumUp(PointAt(INT32_MAX, 0)).paper), "0 -5 2005 297");
  EXPECT_EQ(Edges(SumUp(PointAt(0, INT32_MIN)).paper), "-5 -2005 210 297");
}

TEST(PageInk, JoinedPapersHoldBoth) {
  EXPECT_EQ(Edges(Join({0, 0, 100000, 50000}, {-10000, 20000, 50000, 80000})), "-10 0 100 100");
}

TEST(PageInk, KindsHaveTheNamesOfTheInterface) {
  EXPECT_STREQ(NameOf(PageKind::kInk), "ink");
  EXPECT_STREQ(NameOf(PageKind::kSealed), "sealed");
  EXPECT_STREQ(NameOf(PageKind::kUnreadable), "unreadable");
}

TEST(PageInk, SealedInkOfSeveralPagesIsOnePageOfThemBelowOneAnother) {
  const NewKeyPair key;
  InkFile ink;
  ink.AddStroke("1.1.1.1", 1000).AddStroke("1.1.1.2", 2000);
  const TalvoInk::Ink opened = OpenSealed(SealTo(key, ink.bytes()), key);
  EXPECT_EQ(TalvoInk::PagesOf(opened).size(), 1u);
  const auto& first = std::get<TalvoInk::Stroke>(opened.items[0]);
  const auto& second = std::get<TalvoInk::Stroke>(opened.items[1]);
  EXPECT_EQ(second.samples[1].y_um - first.samples[1].y_um, 297000);
}

TEST(PageInk, SealedInkOpensWithItsKeyAlone) {
  const NewKeyPair key;
  const std::string plain = TalvoInk::WriteStf2(PointAt(1, 2));
  const std::string sealed = SealTo(key, plain);
  EXPECT_EQ(TalvoInk::WriteStf2(OpenSealed(sealed, key)), plain);
  EXPECT_EQ(WhyNotOpened(sealed, NewKeyPair()), "sealed to another key");
  EXPECT_NE(WhyNotOpened(plain, key), "");
  EXPECT_NE(WhyNotOpened(sealed.substr(0, sealed.size() / 2), key), "");
}

TEST(PageInk, SealedBytesThatAreNoInkAreRefused) {
  const NewKeyPair key;
  EXPECT_NE(WhyNotOpened("no ink", key), "");
}

TEST(PageInk, AKeyFileIsReadOrNamedWithTheReason) {
  const TestRoot root;
  const std::string file = (root.path() / "key").string();
  EXPECT_EQ(WhyNoKey(file), "can't open the key file " + file);
  WriteFile(file, TalvoInk::WriteSecretKey(NewKeyPair()));
  EXPECT_EQ(WhyNoKey(file), "");
  WriteFile(file, "rubbish");
  EXPECT_EQ(WhyNoKey(file), "the key file " + file + " is not a secret key file");
  WriteFile(file, std::string(1 << 20, '\n'));
  EXPECT_THAT(WhyNoKey(file), HasSubstr("is not a secret key file"));
}
