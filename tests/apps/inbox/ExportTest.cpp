#include "api/Export.h"

#include <gmock/gmock.h>

#include "Inks.h"
#include "ink/Stf2File.h"
#include "ink/file/InkFile.h"

using namespace Inbox;
using TalvoInk::Ink;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ExportTest : public InboxFixture {
 protected:
  std::string WhyNot(const std::vector<std::int64_t>& pages, const std::string& format) {
    try {
      Export(Load(pages), format);
      return "";
    } catch (const ExportError& error) {
      return error.what();
    }
  }

  std::vector<StoredInk> Load(const std::vector<std::int64_t>& pages) {
    std::vector<StoredInk> loaded;
    for (const std::int64_t page : pages) loaded.push_back(*catalogue().LoadInk(page));
    return loaded;
  }

  static std::size_t CountOf(const std::string& text, const std::string& word) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; ++at) ++count;
    return count;
  }
};

}  // namespace

TEST_F(ExportTest, EachFormatIsWhatItIsCalled) {
  Keep(InkOf("1.2.3.4"));
  EXPECT_THAT(Export(Load({1}), "pdf").bytes, StartsWith("%PDF-"));
  EXPECT_THAT(Export(Load({1}), "png").bytes, StartsWith("\x89PNG"));
  EXPECT_THAT(Export(Load({1}), "svg").bytes, HasSubstr("<svg "));
  EXPECT_THAT(Export(Load({1}), "inkml").bytes, HasSubstr("<ink "));
  EXPECT_THAT(Export(Load({1}), "xopp").bytes, StartsWith("\x1F\x8B"));
  EXPECT_EQ(Export(Load({1}), "stf2").bytes, InkOf("1.2.3.4"));
  EXPECT_EQ(Export(Load({1}), "pdf").name, "page-1.2.3.4.pdf");
  EXPECT_EQ(WhyNot({1}, "doc"), "there is no format 'doc'");
}

TEST_F(ExportTest, SeveralPagesAreOnePdf) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  Keep(InkOf("1.2.3.4", 5000, 77));
  const ExportedFile file = Export(Load({1, 2, 3}), "pdf");
  EXPECT_THAT(file.bytes, HasSubstr("/Count 3")) << "one address of two pens is two pages";
  EXPECT_EQ(file.name, "ink-3-pages.pdf");
}

TEST_F(ExportTest, PagesAreInTheOrderOfTheirNotebook) {
  Keep(InkOf("1.2.3.10"));
  Keep(InkOf("1.2.3.9"));
  Keep(InkOf("1.2.3.2"));
  const Ink ink = TalvoInk::ReadStf2(Export(Load({1, 2, 3}), "stf2").bytes);
  std::vector<std::string> pages;
  for (const auto& page : TalvoInk::PagesOf(ink)) pages.push_back(page.value_or(""));
  EXPECT_THAT(pages, ElementsAre("1.2.3.2", "1.2.3.9", "1.2.3.10"));
}

TEST_F(ExportTest, APictureShowsOnePage) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  EXPECT_EQ(WhyNot({1, 2}, "png"), "a picture shows one page; a PDF shows several");
  EXPECT_EQ(WhyNot({1, 2}, "svg"), "a picture shows one page; a PDF shows several");
}

TEST_F(ExportTest, InkOfOnePenIsOneFile) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  Keep(InkOf("1.2.3.6", 5000, 77));
  EXPECT_EQ(TalvoInk::PagesOf(TalvoInk::ReadStf2(Export(Load({1, 2}), "stf2").bytes)).size(), 2u);
  EXPECT_EQ(WhyNot({1, 3}, "stf2"),
            std::string("a file of stf2 holds the ink of one pen; export the pages of ") +
                kTestPenSerial + " by themselves");
  EXPECT_EQ(WhyNot({1, 3}, "xopp"), "") << "which holds no pens";
}

TEST_F(ExportTest, APictureIsThePaper) {
  Keep(InkFile()
           .AddMarker("1.2.3.4", 0, "paper 100x50 mm plain")
           .AddStroke("1.2.3.4", 5000)
           .bytes());
  const std::string svg = Draw(*catalogue().LoadInk(1), false, 100);
  EXPECT_THAT(svg, HasSubstr("viewBox=\"0 0 100000 50000\""));
  EXPECT_EQ(CountOf(svg, "<path"), 1u);
  const std::string png = Draw(*catalogue().LoadInk(1), true, 400);
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\x01\x90\0\0\0\xC8", 8)) << "400 x 200";
}

TEST_F(ExportTest, InkThatCantBeReadLeavesAsItCame) {
  const std::string sealed = Seal(InkOf("1.2.3.4"));
  Keep(sealed);
  Keep("rubbish");
  EXPECT_EQ(Export(Load({1}), "stf2").bytes, sealed);
  EXPECT_EQ(Export(Load({2}), "stf2").bytes, "rubbish");
  EXPECT_THAT(WhyNot({2}, "pdf"), HasSubstr("page 1.2.3.4 can't be shown: neither STF2"));
  EXPECT_THAT(WhyNot({1, 2}, "stf2"), HasSubstr("can't be shown"));
}
