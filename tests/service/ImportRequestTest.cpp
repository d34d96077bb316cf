#include <limits.h>

#include "service/ServiceFixture.h"
#include "support/FailingInk.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;

namespace {

Json::Value File(const std::string& path) {
  return Params({{"InkPackagePath", path}});
}

class ImportRequest : public ServiceFixture {
 protected:
  void SetUp() override { Start(); }

  std::vector<std::string> CompletedImports() const {
    std::vector<std::string> names;
    for (const auto& line : Beginning({"Complete importing STF2 file '"})) {
      const std::string path = line.second.substr(0, line.second.rfind('\''));
      names.push_back(fs::path(path).filename().string());
    }
    return names;
  }
};

TEST_F(ImportRequest, IsAnsweredWhenTheInkIsStored) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("ImportSTF2File", File(Capture("good"))), "Success");
  EXPECT_TRUE(fs::exists(root.storage() / kTestPenSerial / "1.2.3.4/100_100.stf2"));
}

TEST_F(ImportRequest, QueuesOneRoutingAndOneDeliveryPass) {
  WireClient client(Endpoint());
  log.Clear();
  EXPECT_EQ(client.Request("ImportSTF2File", File(Capture("good"))), "Success");
  ASSERT_TRUE(WaitForPasses(1));
  const Lines lines = Beginning({"Complete importing", "Synchronizing Storage's", "Storage's",
                                 "Delivering Ink to applications..."});
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0].second.find("Complete importing"), 0u);
  EXPECT_EQ(lines[1].second.find("Synchronizing Storage's"), 0u);
  EXPECT_EQ(lines[2].second.find("Storage's"), 0u);
  EXPECT_EQ(lines[3].second, "Delivering Ink to applications...");
}

TEST_F(ImportRequest, ThatFailsIsAnsweredAndQueuesNoPass) {
  WireClient client(Endpoint());
  log.Clear();
  EXPECT_EQ(client.Request("ImportSTF2File", File("/missing")), "Failed");
  EXPECT_TRUE(log.Has(1, "Importing STF2 from '/missing' failed: file does not exists."));
  // The passes of the next one are the first.
  EXPECT_EQ(client.Request("ImportSTF2File", File(Capture("good"))), "Success");
  ASSERT_TRUE(WaitForPasses(1));
  service->Stop();
  EXPECT_EQ(log.Count(3, "Delivering Ink to applications..."), 1u);
}

TEST_F(ImportRequest, OfTheEmptyPathIsQueuedAndFails) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("ImportSTF2File", File("")), "Failed");
  EXPECT_TRUE(log.Has(3, "Started importing STF2 file ''."));
  EXPECT_TRUE(log.Has(1, "Importing STF2 from '' failed: file does not exists."));
}

// A path of any length is refused like one that is too long by a byte, and no more of it is kept.
TEST_F(ImportRequest, OfAPathThatIsTooLongFailsAndIsLoggedUpToTheSystemsLimit) {
  const std::string path = "/" + std::string(PATH_MAX - 1, 'p');
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("ImportSTF2File", File(path + std::string(1000 * 1000, 'x'))), "Failed");
  EXPECT_TRUE(log.Has(3, "Started importing STF2 file '" + path + "'."));
  EXPECT_TRUE(log.Has(1, "Importing STF2 from '" + path + "' failed: file does not exists."));
}

TEST_F(ImportRequest, OfAPathWithAZeroByteFails) {
  const std::string good = Capture("good");
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("ImportSTF2File", File(good + std::string("\0x", 2))), "Failed");
  EXPECT_FALSE(fs::exists(root.storage()));
}

// The importer is busy, and would not answer before it is done.
TEST_F(ImportRequest, WithoutAPathFailsImmediately) {
  WireClient client(Endpoint());
  InkCallPause pause("Stf2InkDataSplit");
  const int busy = client.Send("ImportSTF2File", File(Capture("good")));
  ASSERT_TRUE(pause.WaitUntilReached());
  log.Clear();
  for (const Json::Value& params :
       {Json::Value(Json::objectValue), Json::Value(), Params({{"InkPackagePath", 7}}),
        Params({{"InkPackagePath", Json::Value()}}),
        Params({{"InkPackagePath", Json::Value(Json::arrayValue)}}),
        Params({{"InkPackagePath", Json::Value(Json::objectValue)}}),
        Params({{"inkpackagepath", "/missing"}})}) {
    EXPECT_EQ(client.Request("ImportSTF2File", params), "Failed");
  }
  EXPECT_TRUE(log.lines().empty());
  pause.LetGo();
  EXPECT_EQ(client.WaitForReply(busy)["result"]["status"], "Success");
}

TEST_F(ImportRequest, TheServerAnswersOthersDuringAnImport) {
  root.Subscribe("Sketcher", "9.9.9.9");
  WireClient importing(Endpoint());
  WireClient other(Endpoint());
  InkCallPause pause("Stf2InkDataSplit");
  const int import = importing.Send("ImportSTF2File", File(Capture("good")));
  ASSERT_TRUE(pause.WaitUntilReached());
  EXPECT_EQ(other.Request("Hello"), "Success");
  EXPECT_EQ(other.Request("EnableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(importing.Request("Hello"), "Success");
  pause.LetGo();
  EXPECT_EQ(importing.WaitForReply(import)["result"]["status"], "Success");
}

// A Hello that is answered shows that the request before it on the same connection has arrived.
TEST_F(ImportRequest, OfDifferentClientsAreCarriedOutInTheOrderOfTheirArrival) {
  WireClient first(Endpoint());
  WireClient second(Endpoint());
  InkCallPause pause("Stf2InkDataSplit");
  const int a = first.Send("ImportSTF2File", File(Capture("a")));
  ASSERT_TRUE(pause.WaitUntilReached());
  const int b = second.Send("ImportSTF2File", File(Capture("b")));
  EXPECT_EQ(second.Request("Hello"), "Success");
  const int c = first.Send("ImportSTF2File", File(Capture("c")));
  EXPECT_EQ(first.Request("Hello"), "Success");
  const int d = second.Send("ImportSTF2File", File(Capture("d")));
  EXPECT_EQ(second.Request("Hello"), "Success");
  EXPECT_TRUE(CompletedImports().empty());
  pause.LetGo();
  EXPECT_EQ(second.WaitForReply(d)["result"]["status"], "Success");
  EXPECT_EQ(CompletedImports(), (std::vector<std::string>{"a", "b", "c", "d"}));
  for (const int id : {a, c}) EXPECT_EQ(first.WaitForReply(id)["result"]["status"], "Success");
  EXPECT_EQ(second.WaitForReply(b)["result"]["status"], "Success");
}

TEST_F(ImportRequest, OfOneClientAreAnsweredInTheirOrder) {
  WireClient client(Endpoint());
  std::string requests;
  for (int id = 1; id <= 20; ++id) {
    requests += "{\"jsonrpc\":\"2.0\",\"id\":" + std::to_string(id) +
                ",\"method\":\"ImportSTF2File\",\"params\":{\"InkPackagePath\":\"" +
                (id % 2 == 0 ? Capture("good") : "/missing") + "\"}}\n";
  }
  client.SendBytes(requests);
  for (int id = 1; id <= 20; ++id) {
    const std::string status = id % 2 == 0 ? "Success" : "Failed";
    EXPECT_EQ(client.WaitForLine(), R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
                                        R"(,"result":{"status":")" + status +
                                        R"(","result":null}})");
  }
}

// A page directory without rights: no file can be made in it.
TEST_F(ImportRequest, ThatCanNotBeStoredIsAnsweredAndEndsNothing) {
  const fs::path page = root.storage() / kTestPenSerial / "encrypted-stf2";
  fs::create_directories(page);
  const std::string sealed = (root.path() / "sealed").string();
  WriteFile(sealed, Seal(InkFile().AddStroke("1.2.3.4", 100).bytes()));
  fs::permissions(root.path(), fs::all_all);
  for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
    fs::permissions(entry.path(), fs::all_all);
  }
  fs::permissions(page, fs::no_perms);
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("Hello"), "Success");  // accepted before the user is another
  {
    const PlainUser user;
    EXPECT_EQ(client.Request("ImportSTF2File", File(sealed)), "Failed");
  }
  fs::permissions(page, fs::all_all);
  EXPECT_EQ(client.Request("ImportSTF2File", File(Capture("good"))), "Success");
  const Lines lines = Beginning({"Ink Import failed: "});
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].first, 1);
  EXPECT_NE(lines[0].second.find("can't create file '" + page.string()), std::string::npos)
      << lines[0].second;
}

TEST_F(ImportRequest, OfAClientThatHasDiedIsCarriedOut) {
  WireClient client(Endpoint());
  InkCallPause pause("Stf2InkDataSplit");
  client.Send("ImportSTF2File", File(Capture("good")));
  ASSERT_TRUE(pause.WaitUntilReached());
  client.Die();
  WireClient other(Endpoint());
  EXPECT_EQ(other.Request("Hello"), "Success");
  pause.LetGo();
  ASSERT_TRUE(
      log.WaitFor(3, "Complete importing STF2 file '" + (root.path() / "good").string() + "'."));
  EXPECT_EQ(other.Request("Hello"), "Success");
}

TEST_F(ImportRequest, OfAClientThatSendsNoMoreIsAnswered) {
  WireClient client(Endpoint());
  const int id = client.Send("ImportSTF2File", File(Capture("good")));
  client.HalfClose();
  EXPECT_EQ(client.WaitForReply(id)["result"]["status"], "Success");
  client.WaitForEnd();
}

}  // namespace
