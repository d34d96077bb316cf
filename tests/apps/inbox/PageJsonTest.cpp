#include "api/PageJson.h"

#include <gmock/gmock.h>
#include <json/reader.h>

#include <sstream>

#include "Inks.h"
#include "ink/drawing/Outline.h"
#include "ink/drawing/SvgText.h"

using namespace Inbox;

namespace {

class PageJsonTest : public InboxFixture {
 protected:
  Json::Value InkOfPage(std::int64_t since = 0) {
    Json::Value json;
    std::istringstream(InkToJson(*catalogue().LoadInk(1), since)) >> json;
    return json;
  }
};

}  // namespace

TEST_F(PageJsonTest, APageHasAllThatIsPromised) {
  Keep(InkOf("1.2.3.4", 5000), 9000);
  keeper().SetTitle(1, "<b>\"Grüße\"</b>");
  const Json::Value page = ToJson(List()[0]);
  for (const char* name : {"id", "pen", "address", "title", "strokes", "points", "start", "end",
                           "arrived", "revision", "width", "height", "kind", "reason", "trashed"}) {
    EXPECT_TRUE(page.isMember(name)) << name;
  }
  EXPECT_EQ(page["title"].asString(), "<b>\"Grüße\"</b>");
  EXPECT_EQ(page["width"].asInt(), 210000);
  EXPECT_EQ(page["kind"].asString(), "ink");
}

TEST_F(PageJsonTest, AStrokeIsTheOutlineThatAllPicturesDraw) {
  Keep(InkOf("1.2.3.4", 5000));
  const Json::Value stroke = InkOfPage()["strokes"][0];
  const auto stored = catalogue().LoadInk(1);
  std::string path;
  for (const auto& polygon :
       TalvoInk::OutlineOf(std::get<TalvoInk::Stroke>(stored->ink.items[0]))) {
    TalvoInk::AppendPath(path, polygon);
  }
  EXPECT_EQ(stroke["d"].asString(), path);
  EXPECT_EQ(stroke["color"].asString(), "#000000");
  EXPECT_EQ(stroke["opacity"].asDouble(), 1);
  EXPECT_EQ(stroke["start"].asUInt64(), 5000u);
  EXPECT_EQ(stroke["id"].asInt(), 1);
}

TEST_F(PageJsonTest, AStrokesLineHasItsTimesPlacesAndWidths) {
  std::vector<Stf2Sample> samples;
  for (int i = 0; i < 3; ++i) {
    samples.push_back({std::uint32_t(10 * i), 1000 * i, 500, std::uint16_t(i == 2 ? 65535 : 32767),
                       STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME});
  }
  Keep(InkFile().AddStroke("1.2.3.4", 5000, samples).bytes());
  const Json::Value line = InkOfPage()["strokes"][0]["line"];
  ASSERT_EQ(line.size(), 3u);
  EXPECT_EQ(line[1][0].asInt(), 10);
  EXPECT_EQ(line[1][1].asInt(), 1000);
  EXPECT_EQ(line[1][2].asInt(), 500);
  EXPECT_EQ(line[1][3].asInt(), 500) << "medium force: the usual width";
  EXPECT_EQ(line[2][3].asInt(), 750);
}

TEST_F(PageJsonTest, OnlyStrokesFromAnIdOn) {
  for (int i = 1; i <= 4; ++i) Keep(InkOf("1.2.3.4", static_cast<std::uint64_t>(i) * 1000));
  const Json::Value strokes = InkOfPage(3)["strokes"];
  ASSERT_EQ(strokes.size(), 2u);
  EXPECT_EQ(strokes[0]["id"].asInt(), 3);
  EXPECT_EQ(strokes[0]["start"].asInt(), 3000);
}

TEST_F(PageJsonTest, PaperBeginsWhereTheInkDoes) {
  const Stf2Sample above{0, -30000, -20000, 0, STF2_SAMPLE_COORDINATE, 0};
  Keep(InkFile().AddStroke("1.2.3.4", 1, {above}).bytes());
  const Json::Value paper = InkOfPage()["paper"];
  EXPECT_LT(paper["x"].asInt(), -30000);
  EXPECT_LT(paper["y"].asInt(), -20000);
  EXPECT_EQ(paper["x"].asInt() + paper["width"].asInt(), 210000);
}
