#include "ToolRun.h"

#include <gmock/gmock.h>

namespace InkTool {
namespace {

using testing::Contains;

TEST(ReplayCommand, ReplaysAsAnSvgOrAsPictures) {
  const ToolFolder folder;
  const Outcome svg = folder.Run({"replay", "@note.inkml"});
  EXPECT_EQ(svg.status, 0) << svg.err;
  EXPECT_THAT(svg.out,
              testing::MatchesRegex(
                  "@note.inkml: Success, @note.replay.svg \\(1 page, 39 strokes, [0-9.]+ s\\)\n"));
  const Outcome film = folder.Run({"replay", "@note.inkml", "--frames", "@film", "--speed", "20",
                                   "--fps", "10", "--dpi", "30"});
  EXPECT_EQ(film.status, 0) << film.err;
  EXPECT_THAT(folder.Names(), Contains("film/frame-000005.png"));
  EXPECT_EQ(folder.Run({"replay", "@note.inkml", "--frames", "@film", "-o", "@x.svg"}).status, 2);
  // Nothing is replaced without being asked.
  EXPECT_EQ(folder.Run({"replay", "@note.inkml", "--frames", "@film"}).status, 1);
}

TEST(ReplayCommand, ANameThatPromisesAnotherFormatIsRefused) {
  const ToolFolder folder;
  const Outcome png = folder.Run({"replay", "@note.inkml", "-o", "@x.png"});
  EXPECT_EQ(png.status, 1);
  EXPECT_EQ(png.err, "@note.inkml: Failed, a replay is an SVG, not 'png'; --frames makes PNGs\n");
  EXPECT_THAT(folder.Names(), testing::Not(Contains("x.png")));
  EXPECT_EQ(folder.Run({"replay", "-q", "@note.inkml", "-o", "@x.svg"}).status, 0);
}

}  // namespace
}  // namespace InkTool
