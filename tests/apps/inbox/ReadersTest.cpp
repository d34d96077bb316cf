#include "database/Readers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "Inks.h"

using namespace Inbox;

namespace {

class ReadersTest : public InboxFixture {
 protected:
  // The files that this process has open, those of all connections among them.
  static std::ptrdiff_t OpenFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  }

  Readers readers_{database_};
};

}  // namespace

TEST_F(ReadersTest, ACatalogueShowsWhatIsInTheInbox) {
  Keep(InkOf("1.2.3.4"));
  auto lease = readers_.Lend();
  EXPECT_EQ(lease->FindPage(1)->address, "1.2.3.4");
  EXPECT_EQ((*lease).Count().pages, 1);
}

TEST_F(ReadersTest, AReaderSeesWhatWasKeptMeanwhile) {
  auto lease = readers_.Lend();
  EXPECT_FALSE(lease->FindPage(1));
  Keep(InkOf("1.2.3.4"));
  EXPECT_TRUE(lease->FindPage(1));
}

TEST_F(ReadersTest, ConnectionsAreOpenedOnlyIfAllAreLent) {
  { readers_.Lend()->Count(); }
  const std::ptrdiff_t files = OpenFiles();
  for (int i = 0; i < 10; ++i) readers_.Lend()->Count();
  EXPECT_EQ(OpenFiles(), files);
  {
    auto one = readers_.Lend();
    auto other = readers_.Lend();
    one->Count();
    other->Count();
    EXPECT_GT(OpenFiles(), files);
  }
  const std::ptrdiff_t more = OpenFiles();
  {
    auto one = readers_.Lend();
    auto other = readers_.Lend();
    one->Count();
    other->Count();
  }
  EXPECT_EQ(OpenFiles(), more);
}
