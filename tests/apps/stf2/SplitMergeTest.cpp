#include "ToolRun.h"

#include <gmock/gmock.h>

#include "ink/Stf2File.h"

namespace InkTool {
namespace {

using TalvoInk::ReadStf2;

using testing::StartsWith;

TEST(SplitMerge, OneFileIsCountedAsOneFile) {
  const ToolFolder folder;
  EXPECT_THAT(folder.Run({"merge", "@note.inkml", "-o", "@one.stf2"}).out,
              StartsWith("@one.stf2: Success, 1 file ("));
}

TEST(SplitMerge, SplitsByPageAndMergesAgain) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  const Outcome split = folder.Run({"split", "@letter.stf2", "-o", "@pages/"});
  EXPECT_EQ(split.out,
            "@letter.stf2: Success, 2 parts, @pages/letter-1.2.3.4.stf2, "
            "@pages/letter-1.2.3.5.stf2\n");
  const Outcome merge = folder.Run({"merge", "@pages/*.stf2", "-o", "@again.stf2"});
  EXPECT_EQ(merge.out, "@again.stf2: Success, 2 files (2 pages, 117 strokes, 3327 points)\n");
  EXPECT_EQ(folder.Read("again.stf2"), folder.Read("letter.stf2"));
}

TEST(SplitMerge, ASplitThatFailsHalfwayLeavesNoPart) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  folder.Write("pages/letter-1.2.3.5.stf2", "mine");
  const auto before = folder.Names();
  EXPECT_EQ(folder.Run({"split", "@letter.stf2", "-o", "@pages"}).status, 1);
  EXPECT_EQ(folder.Names(), before);
}

TEST(SplitMerge, InkOfDifferentPensIsNotMerged) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  folder.Run({"convert", "--pen", "0000-0000-0000-0001", "@note.inkml"});
  EXPECT_EQ(folder.Run({"merge", "@letter.stf2", "@note.stf2", "-o", "@all.stf2"}).err,
            "@all.stf2: Failed, @note.stf2: is ink of pen 0000-0000-0000-0001, not of "
            "0123-4567-89AB-CDEF like the first; --pen names one for all\n");
  EXPECT_EQ(folder
                .Run({"merge", "--pen", "0000-0000-0000-0001", "@letter.stf2", "@note.stf2", "-o",
                      "@all.stf2"})
                .status,
            0);
}

// What one document says is not said of the other's pages.
TEST(SplitMerge, MergingRepeatsNoPropertyOnForeignPages) {
  const ToolFolder folder;
  const auto document = [](const char* title, const char* page) {
    return std::string("<ink><annotation type='title'>") + title +
           "</annotation><annotation type='writer'>Ada</annotation><annotation type='page'>" +
           page + "</annotation><trace>10 20, 30 40</trace></ink>";
  };
  folder.Write("a.inkml", document("Monday", "1.1.1.1"));
  folder.Write("b.inkml", document("Tuesday", "1.1.1.2"));
  EXPECT_EQ(folder.Run({"merge", "@a.inkml", "@b.inkml", "-o", "@week.stf2"}).status, 0);
  EXPECT_EQ(folder.Run({"split", "@week.stf2"}).status, 0);
  const TalvoInk::Ink page = ReadStf2(folder.Read("week-1.1.1.2.stf2"));
  std::vector<std::string> said;
  for (const TalvoInk::Item& item : page.items) {
    if (const auto* property = std::get_if<TalvoInk::Property>(&item))
      said.push_back(property->key);
    if (const auto* marker = std::get_if<TalvoInk::Marker>(&item)) said.push_back(*marker->name);
  }
  EXPECT_THAT(said, testing::UnorderedElementsAre("writer", "title: Tuesday"));
}

}  // namespace
}  // namespace InkTool
