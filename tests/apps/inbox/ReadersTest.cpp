#include "database/Readers.h"

#include <gtest/gtest.h>

#include <optional>

#include "Inks.h"
#include "support/OpenDescriptors.h"

using namespace Inbox;

namespace {

class ReadersTest : public InboxFixture {
 protected:
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
  const std::size_t files = OpenDescriptors();
  for (int i = 0; i < 10; ++i) readers_.Lend()->Count();
  EXPECT_EQ(OpenDescriptors(), files);
  {
    auto one = readers_.Lend();
    auto other = readers_.Lend();
    one->Count();
    other->Count();
    EXPECT_GT(OpenDescriptors(), files);
  }
  const std::size_t more = OpenDescriptors();
  {
    auto one = readers_.Lend();
    auto other = readers_.Lend();
    one->Count();
    other->Count();
  }
  EXPECT_EQ(OpenDescriptors(), more);
}
