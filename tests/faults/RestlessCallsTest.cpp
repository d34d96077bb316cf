// Calls that do what the system allows them to do and seldom do: a signal interrupts them, or they
// move fewer bytes than they were asked to. Neither is a failure. All of a service's calls do so
// here, and it answers, stores and delivers as ever.

#include <gtest/gtest.h>

#include "faults/InkAccount.h"
#include "faults/Road.h"

namespace fs = boost::filesystem;

namespace {

class RestlessCalls : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(RestlessCalls, ChangeNothing) {
  if (std::string(FAILING_CALLS).empty()) {
    GTEST_SKIP() << "the sanitizers' own library must be loaded first";
  }
  constexpr std::uint64_t kImports = 30;
  Road road;
  // Another application keeps the ink, so that the routing info grows and shrinks.
  road.root().Subscribe("Other", "1.2.3.5");
  std::set<std::string> inks;
  for (std::uint64_t life = 0; life < 2; ++life) {
    ASSERT_TRUE(road.StartWith({{"QUILLPOST_FAIL_WITH", GetParam()}})) << road.log();
    for (std::uint64_t i = 0; i < kImports; ++i) {
      const std::uint64_t time_ms = 1000 * (1 + life * kImports + i);
      ASSERT_EQ(road.Import(time_ms), "Success") << road.log();
      inks.merge(InksOf(time_ms));
    }
    road.Receive(inks, kPatience, Road::Until::kReceived);
    EXPECT_TRUE(road.HasReceived(inks)) << road.log();
    EXPECT_EQ(road.Stop(), 0) << road.log();
    EXPECT_EQ(road.log().find("ailed"), std::string::npos) << road.log();
  }
  for (const std::string& ink : inks) EXPECT_EQ(road.received().count(ink), 1u) << ink;
  EXPECT_EQ(road.received().size(), inks.size()) << "something else than the ink was offered";
  // What the other application claims, too, has stayed, whole.
  const std::vector<fs::path> files = ListStrokeFiles(road.root().storage());
  EXPECT_EQ(files.size(), 2 * kImports);
  for (const fs::path& file : files) EXPECT_EQ(StrokesOf(ReadFile(file)).size(), 1u) << file;
  EXPECT_TRUE(fs::is_empty(road.root().scratch()));
}

INSTANTIATE_TEST_SUITE_P(AllCalls, RestlessCalls,
                         testing::Values("always-interrupted", "always-short"),
                         [](const testing::TestParamInfo<const char*>& way) {
                           return std::string(way.param) == "always-short" ? "Short"
                                                                           : "Interrupted";
                         });
