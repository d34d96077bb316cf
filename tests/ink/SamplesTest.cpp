// The samples are read without loss and can be stored, and the script still writes them.

#include <gmock/gmock.h>

#include <cstdlib>

#include "ink/InkSupport.h"
#include "ink/PageAddress.h"
#include "ink/Stf2File.h"
#include "ink/Summary.h"
#include "support/TestRoot.h"

namespace TalvoInk {
namespace {

using testing::IsEmpty;

Reading Sample(const std::string& name) {
  return ReadDocument(ReadFile(std::string(SAMPLES_FOLDER "/") + name));
}

// As only such pages are stored.
void ExpectAllPagesHaveTimes(const Summary& summary) {
  for (const PageSummary& page : summary.pages) {
    EXPECT_TRUE(page.timed) << page.page.value_or("none");
    EXPECT_TRUE(IsOnePageAddress(page.page.value_or("none")));
  }
}

TEST(Samples, TheLetterIsInkOfTwoPagesWithTimes) {
  const Reading reading = Sample("handwriting.inkml");
  ASSERT_EQ(reading.refusal, "");
  EXPECT_THAT(reading.losses, IsEmpty());
  const Summary summary = Summarize(reading.ink);
  ASSERT_EQ(summary.pages.size(), 2u);
  EXPECT_EQ(summary.pages[0].page, "1.2.3.4");
  EXPECT_EQ(summary.pages[1].page, "1.2.3.5");
  EXPECT_EQ(summary.pen, 81985529216486895u);
  ExpectAllPagesHaveTimes(summary);
  EXPECT_GT(summary.most_force, summary.least_force);
}

TEST(Samples, TheNoteIsInkOfOnePageWithTimes) {
  const Reading reading = Sample("note.inkml");
  EXPECT_THAT(reading.losses, IsEmpty());
  const Summary summary = Summarize(reading.ink);
  ASSERT_EQ(summary.pages.size(), 1u);
  EXPECT_EQ(summary.pages[0].page, "1.2.7.1");
  ExpectAllPagesHaveTimes(summary);
}

TEST(Samples, TheLetterInStf2IsTheSameInk) {
  EXPECT_EQ(ReadFile(SAMPLES_FOLDER "/handwriting.stf2"),
            WriteStf2(Sample("handwriting.inkml").ink));
}

TEST(Samples, TheScriptWritesThemAgain) {
  const TestRoot root;
  const std::string folder = root.path().string();
  ASSERT_EQ(std::system(("cp " SAMPLES_FOLDER "/make-handwriting '" + folder + "' && '" + folder +
                         "/make-handwriting'")
                            .c_str()),
            0);
  for (const char* name : {"/handwriting.inkml", "/note.inkml"}) {
    EXPECT_EQ(ReadFile(folder + name), ReadFile(std::string(SAMPLES_FOLDER) + name)) << name;
  }
}

}  // namespace
}  // namespace TalvoInk
