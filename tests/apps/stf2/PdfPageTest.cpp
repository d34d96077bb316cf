// Ink drawn upon a page of a PDF, whose reader is another program in a process with limits.

#include "PdfPage.h"

#include <gmock/gmock.h>

#include "Refusal.h"
#include "ToolRun.h"
#include "support/Process.h"

namespace InkTool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class PdfPage : public testing::Test {
 protected:
  // Two pages of A5: a form to write upon.
  PdfPage() {
    folder_.Run(
        {"render", "@letter.inkml", "--page-size", "A5", "--ruling", "squared", "-o", "@form.pdf"});
  }

  std::string Refusal(const std::string& file, int page = 1, double dpi = 50) const {
    try {
      ReadPdfPage(folder_.Path(file), page, dpi);
    } catch (const InkTool::Refusal& refusal) {
      return refusal.what();
    }
    return "none";
  }

  ToolFolder folder_;
};

TEST_F(PdfPage, IsReadAsPixels) {
  const TalvoInk::Backdrop page = ReadPdfPage(folder_.Path("form.pdf"), 2, 50);
  EXPECT_EQ(page.width, 292);  // 148 mm
  EXPECT_EQ(page.height, 414);
  EXPECT_EQ(page.pixels.size(), 3u * 292 * 414);
  EXPECT_NEAR(page.size.width_mm, 148, 0.5);
  EXPECT_NE(page.pixels, ReadPdfPage(folder_.Path("form.pdf"), 1, 50).pixels);
}

TEST_F(PdfPage, IsDrawnBelowTheInk) {
  for (const char* output : {"@full.svg", "@full.png", "@full.pdf"}) {
    const Outcome outcome = folder_.Run({"render", "@note.inkml", "--background", "@form.pdf",
                                         "--background-page", "2", "--dpi", "50", "-o", output});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
  EXPECT_THAT(folder_.Read("full.svg"), HasSubstr("width=\"148.336mm\""));  // whole pixels
  EXPECT_THAT(folder_.Read("full.svg"), HasSubstr("data:image/png;base64,iVBOR"));
  EXPECT_THAT(folder_.Read("full.pdf"), HasSubstr("/Subtype/Image"));
}

TEST_F(PdfPage, OfABadFileIsARefusal) {
  const std::string whole = folder_.Read("form.pdf");
  folder_.Write("cut.pdf", whole.substr(0, whole.size() / 3));
  const std::string reason = "page 1 can't be drawn: no such page, a damaged PDF, or one too large";
  EXPECT_EQ(Refusal("cut.pdf"), reason);
  EXPECT_EQ(Refusal("note.inkml"), "not a PDF");
  EXPECT_EQ(Refusal("nothing.pdf"), "can't open: not a regular file");
  EXPECT_THAT(Refusal("form.pdf", 3), StartsWith("page 3 can't be drawn"));
}

// A page of 200 inches a side is a few bytes in a PDF, and gigabytes as pixels.
TEST_F(PdfPage, ThatIsTooLargeIsARefusal) {
  folder_.Write("huge.pdf",
                "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Count 1"
                "/Kids[3 0 R]>>endobj\n3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 14400 14400]"
                ">>endobj\ntrailer<</Root 1 0 R>>\n%%EOF\n");
  EXPECT_EQ(Refusal("huge.pdf", 1, 10), "none");
  EXPECT_THAT(Refusal("huge.pdf", 1, 100), HasSubstr("20000 x 20000 pixels"));
  EXPECT_THAT(Refusal("huge.pdf", 1, 300), StartsWith("page 1 "));
}

TEST_F(PdfPage, NeedsItsReader) {
  const Finished tool =
      RunToEnd({STF2_PROGRAM, "render", folder_.Path("note.inkml"), "--background",
                folder_.Path("form.pdf"), "-o", folder_.Path("x.png")},
               {{"PATH", "/nowhere"}});
  EXPECT_EQ(tool.status, 1);
  EXPECT_THAT(tool.error,
              HasSubstr("drawing on a PDF needs pdftoppm, of the package poppler-utils"));
}

}  // namespace
}  // namespace InkTool
