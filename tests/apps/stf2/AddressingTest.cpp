#include "ToolRun.h"

#include <gmock/gmock.h>

#include "ink/Stf2File.h"

namespace InkTool {
namespace {

using TalvoInk::PagesOf;
using TalvoInk::ReadStf2;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Addressing, PenPageAndStartTimeMakeBareInkStorable) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome outcome =
      folder.Run({"convert", "--pen", "0000-0000-0000-00FF", "--page", "1.2.3.4", "--start-time",
                  "2023-11-14T22:13:20Z", "--units", "mm", "@bare.inkml"});
  EXPECT_EQ(outcome.status, 0);
  const Json::Value info = ParseJson(folder.Run({"info", "--json", "@bare.stf2"}).out);
  EXPECT_EQ(info["pen"].asString(), "0000-0000-0000-00FF");
  EXPECT_EQ(info["pages"][0]["page"].asString(), "1.2.3.4");
  EXPECT_EQ(info["time"]["first_ms"].asUInt64(), 1700000000000u);
  EXPECT_EQ(info["bounds_um"]["right"].asInt(), 30000);
  EXPECT_TRUE(info["storable"].asBool());
}

TEST(Addressing, Stf2CanBeGivenPenPageAndTimeAsWell) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  folder.Run({"convert", "@bare.inkml"});
  EXPECT_EQ(folder
                .Run({"convert", "--page", "1.2.3.4", "--start-time", "1700000000000", "--pen",
                      "0000-0000-0000-0001", "@bare.stf2", "-o", "@full.stf2"})
                .err,
            "");
  EXPECT_TRUE(ParseJson(folder.Run({"info", "--json", "@full.stf2"}).out)["storable"].asBool());
}

TEST(Addressing, EachFileCanHaveAPage) {
  const ToolFolder folder;
  folder.Run({"convert", "--page", "5.5.5.8", "--page-per-file", "@letter.inkml", "@note.inkml"});
  EXPECT_THAT(PagesOf(ReadStf2(folder.Read("letter.stf2"))), ElementsAre("5.5.5.8"));
  EXPECT_THAT(PagesOf(ReadStf2(folder.Read("note.stf2"))), ElementsAre("5.5.5.9"));
}

TEST(Addressing, APageAddressOnTheCommandLineIsFourOrFiveNumbers) {
  const ToolFolder folder;
  for (const char* page : {"1.2.3.4", "0.1.2.3.4", "1.2.3.2147483647"}) {
    EXPECT_EQ(folder.Run({"convert", "-f", "--page", page, "@note.inkml"}).status, 0) << page;
  }
  for (const char* page : {"*.2.3.4", "1.2.3.*", "1.2.3.4*", "1.2.3.2147483648",
                           "1.2.3.99999999999999999999", "1.2.3", "1.2.3.4.5.6", "1..2.3", "1.2.3.",
                           ".1.2.3", "1.2.3.-4", "1.2.3. 4", "encrypted-stf2", ""}) {
    const Outcome outcome = folder.Run({"convert", "-f", "--page", page, "@note.inkml"});
    EXPECT_EQ(outcome.status, 2) << page;
    EXPECT_THAT(outcome.err, HasSubstr("is not a page address such as 1.2.3.4")) << page;
  }
}

TEST(Addressing, PagesAreNotCountedBeyondTheLast) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run(
      {"convert", "--page", "1.2.3.2147483647", "--page-per-file", "@letter.inkml", "@note.inkml"});
  EXPECT_THAT(outcome.out, StartsWith("@letter.inkml: Success, "));
  EXPECT_EQ(outcome.err,
            "@note.inkml: Failed, no page 1 behind 1.2.3.2147483647: the last field goes up to "
            "2147483647\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST(Addressing, Stf2WithoutGroupsGetsOnePage) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  folder.Run({"convert", "--page", "7.7.7.7", "--page-per-group", "@letter.stf2", "-o", "@x.stf2"});
  EXPECT_THAT(PagesOf(ReadStf2(folder.Read("x.stf2"))), ElementsAre("7.7.7.7"));
}

}  // namespace
}  // namespace InkTool
