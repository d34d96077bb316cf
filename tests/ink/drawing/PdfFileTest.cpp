#include "ink/drawing/PdfFile.h"

#include <gmock/gmock.h>

namespace TalvoInk {
namespace {

using testing::HasSubstr;

TEST(PdfFile, KnowsWhereItsObjectsLie) {
  std::string bytes;
  {
    const Sink sink = [&](std::string_view piece) { bytes += piece; };
    PdfFile file(sink);
    const int catalog = file.Reserve();
    const int stream = file.BeginStream("");
    file.Append("some ink");
    file.EndStream();
    EXPECT_EQ(stream, 2);
    file.Write(catalog, "<</Type/Catalog>>");
    file.Finish(catalog);
  }
  EXPECT_EQ(bytes.substr(0, 9), "%PDF-1.5\n");
  const std::size_t table = bytes.find("xref\n0 4\n");
  ASSERT_NE(table, std::string::npos);
  EXPECT_THAT(bytes, HasSubstr("startxref\n" + std::to_string(table) + "\n%%EOF\n"));
  for (int object = 1; object <= 3; ++object) {
    const std::size_t line = table + 9 + 20 * static_cast<std::size_t>(object);
    const std::size_t place = std::stoul(bytes.substr(line, 10));
    EXPECT_EQ(bytes.substr(place, 8), std::to_string(object) + " 0 obj\n") << bytes;
  }
}

TEST(PdfFile, TextMayHoldAnything) {
  EXPECT_EQ(PdfText("a(\xC3\xBC"), "<FEFF0061002800FC>");
  EXPECT_EQ(PdfText("\xF0\x9F\x96\x8B"), "<FEFFD83DDD8B>");
  EXPECT_EQ(PdfText("\xFF"), "<FEFFFFFD>");
}

}  // namespace
}  // namespace TalvoInk
