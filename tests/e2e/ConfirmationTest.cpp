// Confirmations as hurried clients send them, over the real socket: two in one write, or the half
// of one before the package that it could be taken for.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RealService.h"
#include "support/LogCapture.h"
#include "support/WireClient.h"

using testing::ElementsAre;

namespace {

class Confirmation : public testing::Test {
 protected:
  // Imports ink of `count` pages, each with one stroke: the first has 100 in its address and 1100
  // as its time.
  void ImportPages(int count) {
    InkFile ink;
    for (int i = 100; i < 100 + count; ++i) {
      ink.AddStroke(Page(i).c_str(), static_cast<std::uint64_t>(1000 + i));
    }
    ASSERT_EQ(0, service_.Import(ink.bytes()));
  }

  static std::string Page(int number) { return "1.2.3." + std::to_string(number); }

  static StrokeInInk Stroke(int number) {
    return {Page(number), static_cast<std::uint64_t>(1000 + number)};
  }

  // The strokes of the package that is offered next.
  std::vector<StrokeInInk> NextPackage() {
    const Json::Value package = client_.WaitForNotification();
    pen_ = package["InkPackagePen"].asString();
    path_ = package["InkPackagePath"].asString();
    return StrokesOf(ReadFile(path_));
  }

  // One line of the wire, with its end.
  std::string Line(int id) const {
    return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
           R"(,"method":"ConfirmInkPackageDelivery","params":{"InkPackagePen":")" + pen_ +
           R"(","InkPackageDelivered":true}})"
           "\n";
  }

  void Enable() {
    ASSERT_EQ("Success",
              client_.Request("EnableNotifications", Params({{"ApplicationID", "Notes"}})));
  }

  void ExpectSuccess(int id) {
    EXPECT_EQ("Success", client_.WaitForReply(id)["result"]["status"].asString());
  }

  RealService service_;
  WireClient client_{RealService::Endpoint()};
  std::string pen_;   // of the last package
  std::string path_;  // of the last package
};

}  // namespace

TEST_F(Confirmation, SentTwiceInOneWriteIsForOnePackage) {
  constexpr int kPages = 40;
  service_.root().Subscribe("Notes", "1.2.3.*");
  ImportPages(kPages);
  Enable();
  for (int number = 100; number < 100 + kPages; ++number) {
    ASSERT_THAT(NextPackage(), ElementsAre(Stroke(number)));
    const int id = 10 * number;
    client_.SendBytes(Line(id) + Line(id + 1));
    ExpectSuccess(id);
    ExpectSuccess(id + 1);
  }
  EXPECT_TRUE(Eventually([this] { return service_.IsStoreEmpty(); }));
}

// The client has begun to confirm before the next package was offered: it can't mean that one.
TEST_F(Confirmation, BegunBeforeAPackageWasOfferedIsNotForIt) {
  service_.root().Subscribe("Notes", "1.2.3.*");
  ImportPages(2);
  Enable();
  NextPackage();
  const std::string second = Line(1001);
  client_.SendBytes(Line(1000) + second.substr(0, 20));
  ExpectSuccess(1000);
  EXPECT_THAT(NextPackage(), ElementsAre(Stroke(101)));
  client_.SendBytes(second.substr(20));
  ExpectSuccess(1001);
  // What comes of another pen is offered after the confirmation was looked at.
  const std::string pen = pen_;
  const std::string path = path_;
  ASSERT_EQ(0, service_.Import(InkFile(0x42).AddStroke("1.2.3.4", 3000).bytes()));
  EXPECT_THAT(NextPackage(), ElementsAre(StrokeInInk{"1.2.3.4", 3000}));
  EXPECT_NE(pen, pen_);
  EXPECT_THAT(StrokesOf(ReadFile(path)), ElementsAre(Stroke(101)));
  client_.SendBytes(Line(1002));
  ExpectSuccess(1002);
  pen_ = pen;
  client_.SendBytes(Line(1003));
  ExpectSuccess(1003);
  EXPECT_TRUE(Eventually([this] { return service_.IsStoreEmpty(); }));
}
