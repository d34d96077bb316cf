// Applications that go while ink of many gigabytes is copied for them.

#include "service/ServiceFixture.h"

namespace fs = boost::filesystem;

namespace {

constexpr std::uintmax_t kHuge = std::uintmax_t{16} << 30;  // in the store a hole, on no disk
constexpr std::uintmax_t kUnhindered = 17 << 16;  // 1 MiB never waits, nor what shows that it ends

class LongExport : public ServiceFixture {
 protected:
  void SetUp() override {
    for (const char* app : {"Runs", "Runs too", "Waits"}) root.Subscribe(app, "1.2.3.4");
    fs::resize_file(AddStroke("s1"), kHuge);
    Start();
  }

  // The sizes of the package files, ascending.
  std::vector<std::uintmax_t> Sizes() const {
    std::vector<std::uintmax_t> sizes;
    boost::system::error_code ignored;  // the first export makes the directory
    for (const auto& file : fs::directory_iterator(root.scratch(), ignored)) {
      sizes.push_back(fs::file_size(file.path()));
    }
    std::sort(sizes.begin(), sizes.end());
    return sizes;
  }
};

TEST_F(LongExport, EndsWithTheClientWhetherItRunsOrWaitsForItsTurn) {
  WireClient client(Endpoint());
  for (const char* app : {"Runs", "Runs too"}) {
    EXPECT_EQ(client.Request("EnableNotifications", App(app)), "Success");
  }
  EXPECT_TRUE(Eventually([this] { return Sizes().size() == 2 && Sizes().front() > kUnhindered; }));
  EXPECT_EQ(client.Request("EnableNotifications", App("Waits")), "Success");
  EXPECT_TRUE(Eventually([this] { return Sizes().size() == 3 && Sizes().front() == kUnhindered; }));
  for (const char* app : {"Waits", "Runs", "Runs too"}) {
    EXPECT_EQ(client.Request("DisableNotifications", App(app)), "Success");
  }
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_TRUE(Beginning({"Ink Export failed"}).empty());
  EXPECT_EQ(Beginning({"Ink Export of"}).size(), 3u);
  EXPECT_TRUE(Beginning({"Exported"}).empty());
  EXPECT_EQ(client.CountNotifications(), 0u);
}

}  // namespace
