// Subscriptions that are read again and again, and some that can't be read for a moment.

#include "config/SubscriptionReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "support/DescriptorLimit.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Config {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SubscriptionReaderTest : public testing::Test {
 protected:
  std::vector<std::string> Read() {
    EXPECT_TRUE(reader_.Read());
    std::vector<std::string> claims;
    reader_.ForEach([&](const App& app) {
      for (const std::string& range : app.pageAddresses) claims.push_back(app.id + " " + range);
    });
    return claims;
  }

  TestRoot root_;
  SubscriptionReader reader_;
};

TEST_F(SubscriptionReaderTest, EveryChangeCountsAtTheNextReading) {
  EXPECT_THAT(Read(), IsEmpty());
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_THAT(Read(), ElementsAre("Notes 1.2.3.4"));
  root_.Subscribe("Notes", "1.2.3.5");
  EXPECT_THAT(Read(), ElementsAre("Notes 1.2.3.5"));
  WriteFile(root_.subscriptions() / "Notes", "{");
  EXPECT_THAT(Read(), IsEmpty());
  root_.Subscribe("Notes", "1.2.3.5");
  EXPECT_THAT(Read(), ElementsAre("Notes 1.2.3.5"));
  fs::remove(root_.subscriptions() / "Notes");
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(reader_.undecided(), IsEmpty());
}

TEST_F(SubscriptionReaderTest, OneThatCanNotBeReadForAMomentCountsAsItWasReadLast) {
  root_.Subscribe("Notes", "1.2.3.4");
  Read();
  root_.Subscribe("New", "1.2.3.4");
  {
    const DescriptorLimit limit(1);  // for the directory
    EXPECT_THAT(Read(), ElementsAre("Notes 1.2.3.4"));
    EXPECT_THAT(reader_.undecided(), ElementsAre("New"));
  }
  EXPECT_THAT(Read(), ElementsAre("New 1.2.3.4", "Notes 1.2.3.4"));
  EXPECT_THAT(reader_.undecided(), IsEmpty());
}

TEST_F(SubscriptionReaderTest, ADirectoryThatCanNotBeListedForAMomentRaises) {
  root_.Subscribe("Notes", "1.2.3.4");
  const DescriptorLimit limit(0);
  EXPECT_THROW(reader_.Read(), fs::filesystem_error);
}

}  // namespace
}  // namespace Config
}  // namespace TalvoQuillpost
