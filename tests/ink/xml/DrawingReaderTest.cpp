#include "ink/xml/DrawingReader.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A format of which every <line> is a stroke, and a <blot> damage.
class LineReader : private DrawingReader {
 public:
  LineReader(const std::string& text, const ReadOptions& options, Losses& losses)
      : DrawingReader(text, options, losses) {}

  Ink Read(pugi::xml_node root) {
    CheckRoot(root, "lines", "a list of lines");
    for (const pugi::xml_node& child : root.children()) {
      if (IsNamed(child, "blot")) Refuse(child, "there is ink on the ink");
      ink_.items.emplace_back(StrokeOn(options_.page, 0));
      Count(child);
    }
    return Finish();
  }
};

Reading ReadLines(const std::string& bytes, const ReadOptions& options = {}) {
  Reading reading;
  Losses losses;
  try {
    reading.ink = ReadDrawing<LineReader>(bytes, options, losses);
  } catch (const InkError& refusal) {
    reading.refusal = refusal.what();
  }
  reading.losses = losses.Lines();
  reading.notes = losses.Notes();
  reading.is_pen_assumed = losses.is_pen_assumed();
  return reading;
}

TEST(DrawingReader, LinesAreStrokesWithoutATimeAndThatIsNoted) {
  const Reading reading = ReadLines("<lines><line/><line/></lines>");
  EXPECT_EQ(reading.Strokes().size(), 2u);
  EXPECT_THAT(reading.losses, IsEmpty());
  EXPECT_THAT(reading.notes, ElementsAre("strokes without a time: 2"));
  EXPECT_THAT(ReadLines("<lines/>").notes, IsEmpty());
}

TEST(DrawingReader, ThePenIsTheCallersElseZeroAndAssumed) {
  ReadOptions options;
  options.pen = 7;
  const Reading known = ReadLines("<lines><line/></lines>", options);
  EXPECT_EQ(known.ink.pen, 7u);
  EXPECT_FALSE(known.is_pen_assumed);
  const Reading unknown = ReadLines("<lines><line/></lines>");
  EXPECT_EQ(unknown.ink.pen, 0u);
  EXPECT_TRUE(unknown.is_pen_assumed);
}

TEST(DrawingReader, ADocumentOfAnotherRootIsRefused) {
  EXPECT_EQ(ReadLines("<?xml version='1.0'?>\n<html/>").refusal,
            "line 2, column 2: not a list of lines: the root element is <html>");
  EXPECT_EQ(ReadLines("<l:lines xmlns:l='urn:l'/>").refusal, "");
}

TEST(DrawingReader, ARefusalSaysThePlace) {
  EXPECT_EQ(ReadLines("<lines>\n <line/>\n <blot/></lines>").refusal,
            "line 3, column 3: there is ink on the ink");
}

// Places are those of the text that a person sees, whatever its encoding.
TEST(DrawingReader, ADocumentIsDecodedFirst) {
  const std::string narrow = "<lines>\n<blot/></lines>";
  std::string wide = "\xFF\xFE";
  for (const char c : narrow) wide += {c, '\0'};
  EXPECT_EQ(ReadLines(wide).refusal, "line 2, column 2: there is ink on the ink");
}

TEST(DrawingReader, TellsHowFarItIsByThePlaceInTheDocument) {
  std::vector<double> shares;
  ReadOptions options;
  options.tell = [&](double share) { shares.push_back(share); };
  const std::string foreword(1000, ' ');
  ReadLines("<lines>" + foreword + "<line/>" + foreword + "<line/></lines>", options);
  ASSERT_EQ(shares.size(), 2u);
  EXPECT_NEAR(shares[0], 0.5, 0.01);
  EXPECT_NEAR(shares[1], 1, 0.01);
}

}  // namespace
}  // namespace TalvoInk
