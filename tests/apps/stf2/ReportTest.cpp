#include "Report.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace InkTool {
namespace {

using namespace TalvoInk;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Report, CountsPagesStrokesAndPoints) {
  Ink ink;
  ink.items = {StrokeOn("1.2.3.4", 2000), StrokeOn("1.2.3.4", 1000), Marker{}, Property{"k", "v"}};
  EXPECT_EQ(InShort(Summarize(ink)), "1 page, 2 strokes, 4 points");
  EXPECT_THAT(ObstaclesOf(Summarize(ink)), IsEmpty());
}

TEST(Report, TellsWhyTheServiceWouldNotStoreIt) {
  Ink ink;
  ink.items = {StrokeOn("page one"), StrokeOn("1.2.3.4", 0), StrokeOn(std::nullopt)};
  EXPECT_THAT(
      ObstaclesOf(Summarize(ink)),
      ElementsAre("the service will not store the ink of page 'page one': not a page address such "
                  "as 1.2.3.4; --page names another",
                  "the service will not store the ink of page '1.2.3.4': it has no time; "
                  "--start-time gives one",
                  "the service will not store 1 stroke without a page address; --page names one"));
}

}  // namespace
}  // namespace InkTool
