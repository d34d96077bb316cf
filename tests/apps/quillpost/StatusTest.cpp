#include <TalvoQuillpost/Protocol.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <boost/filesystem.hpp>

#include "Json.h"
#include "storage/FilesStorage.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string Endpoint() {
  return IPC::Protocol::Quillpost::GetEndpoint();
}

}  // namespace

TEST(Status, WorksWithoutServiceAndStore) {
  TestRoot root;
  const Finished status = RunToEnd({QUILLPOST, "status"});
  EXPECT_EQ(0, status.status);
  EXPECT_THAT(status.output, StartsWith("service      not up: "));
  EXPECT_THAT(status.output, HasSubstr("\nstore        empty, in " + root.storage().string()));
  EXPECT_FALSE(fs::exists(root.home())) << "nothing is made";
}

TEST(Status, ShowsTheServiceThatIsUp) {
  TestRoot root;
  Daemon daemon(QUILLPOSTD);
  const Finished status = RunToEnd({QUILLPOST, "status"});
  EXPECT_EQ(0, status.status);
  EXPECT_THAT(status.output,
              StartsWith("service      up, version 0.0.0.1-dev, at " + Endpoint() + "\n"));
  EXPECT_EQ(0, daemon.Stop());
}

TEST(Status, ShowsPensApplicationsAndProblems) {
  TestRoot root;
  root.Subscribe("Notes", "1.2.3.*");
  const Storage::StrokeID one = {"1.2.3.4", "1_2", "stf2"};
  ASSERT_TRUE(Storage::ImportStroke(kTestPenSerial, one, std::vector<char>(1500, 'x')));
  ASSERT_TRUE(Storage::ImportStroke(kTestPenSerial, {"1.2.3.4", "3_4", "stf2"},
                                    std::vector<char>(36, 'x')));
  ASSERT_TRUE(Storage::ImportStroke(kTestPenSerial, {"7.7.7.7", "5_6", "stf2"}, {'x'}));
  ASSERT_TRUE(Storage::SyncRoutingInfo(kTestPenSerial, "1.2.3.4", {"Notes"}));
  ASSERT_TRUE(Storage::SetRoutingInfoMarkers(kTestPenSerial, "Notes", {one}, {}));
  fs::remove(root.storage() / kTestPenSerial / "1.2.3.4/1_2.stf2");
  const Finished status = RunToEnd({QUILLPOST, "status"});
  EXPECT_EQ(1, status.status) << "there is a problem";
  EXPECT_THAT(status.output,
              HasSubstr("store        1 pen, 2 pages, 2 files with 0 strokes, 37 B, in "));
  EXPECT_THAT(status.output, HasSubstr("unclaimed    1 file of pages that no application has "
                                       "subscribed to\n"));
  EXPECT_THAT(status.output,
              HasSubstr("\n0123-4567-89AB-CDEF             2        2        0           37\n"));
  EXPECT_THAT(status.output,
              HasSubstr("\nNotes                           2          1          0  can't be "
                        "launched: /nonexistent/application: No such file or directory\n"));
  EXPECT_THAT(
      status.output,
      HasSubstr("\nproblems\n  0123-4567-89AB-CDEF/1.2.3.4/1_2.stf2: the file has vanished\n"));

  const Json::Value document = ParseJson(RunToEnd({QUILLPOST, "status", "--json"}).output);
  EXPECT_FALSE(document["service"]["up"].asBool());
  EXPECT_EQ(Endpoint(), document["service"]["endpoint"].asString());
  EXPECT_EQ(2u, document["store"]["files"].asUInt());
  EXPECT_EQ(0u, document["store"]["strokes"].asUInt());
  EXPECT_EQ(0u, document["store"]["unrouted"].asUInt());
  EXPECT_EQ("/nonexistent/application: No such file or directory",
            document["applications"][0]["obstacle"].asString());
  EXPECT_EQ(37u, document["store"]["bytes"].asUInt());
  EXPECT_EQ(1u, document["store"]["unclaimed"].asUInt());
  EXPECT_EQ("1.2.3.4", document["pens"][0]["pages"][0]["page"].asString());
  EXPECT_EQ(2u, document["applications"][0]["claimed"].asUInt());
  EXPECT_EQ(1u, document["applications"][0]["delivered"].asUInt());
  EXPECT_EQ(0u, document["applications"][0]["processed"].asUInt());
  EXPECT_EQ(1u, document["problems"].size());
}

TEST(Status, AFileInPlaceOfTheStoreIsAProblem) {
  TestRoot root;
  fs::create_directories(root.storage().parent_path());
  const std::string store = root.storage().string();
  fs::create_symlink(store, store);
  const Finished status = RunToEnd({QUILLPOST, "status"});
  EXPECT_EQ(1, status.status);
  EXPECT_THAT(status.output, HasSubstr("\nproblems\n  " + store + " is not a directory\n"));
}

TEST(Status, CountsTheStrokesOfAnImport) {
  TestRoot root;
  Daemon daemon(QUILLPOSTD);
  const std::string file = (root.path() / "ink.stf2").string();
  WriteFile(file, InkFile().AddStroke("1.2.3.4", 1).AddStroke("1.2.3.4", 2).bytes());
  ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", file}).status);
  const Finished status = RunToEnd({QUILLPOST, "status"});
  EXPECT_EQ(0, status.status);
  EXPECT_THAT(status.output, HasSubstr("1 pen, 1 page, 1 file with 2 strokes, "));
}

// Strokes that are just being removed were once said to have vanished.
TEST(Status, FindsNoProblemBesideABusyService) {
  TestRoot root;
  root.Subscribe("Notes", "1.2.*.*");
  InkFile ink;
  for (int page = 0; page < 150; ++page) {
    ink.AddStroke(("1.2.3." + std::to_string(page)).c_str(), 1000);
  }
  const std::string file = (root.path() / "ink.stf2").string();
  WriteFile(file, ink.bytes());
  // Nobody reads its log in the meantime.
  Process daemon({QUILLPOSTD, "--log-file", (root.path() / "log").string()});
  ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", "--wait", "3600", file}).status);
  Process listen({"/bin/sh", "-c",
                  std::string("exec '") + QUILLPOST + "' listen Notes --count 150 >/dev/null"});
  Finished status;
  do {
    status = RunToEnd({QUILLPOST, "status"});
    ASSERT_EQ(0, status.status) << status.output;
  } while (status.output.find("\nstore        empty") == std::string::npos);
  EXPECT_EQ(0, listen.Wait());
}

TEST(Hello, TellsTheVersion) {
  TestRoot root;
  Daemon daemon(QUILLPOSTD);
  EXPECT_EQ("Quillpost 0.0.0.1-dev is listening at " + Endpoint() + "\n",
            RunToEnd({QUILLPOST, "hello"}).output);
  const Json::Value document = ParseJson(RunToEnd({QUILLPOST, "hello", "--json"}).output);
  EXPECT_EQ("0.0.0.1-dev", document["version"].asString());
  EXPECT_EQ(Endpoint(), document["endpoint"].asString());
}

TEST(Hello, WithoutAServiceIsExit3AndSaysWhatToDo) {
  TestRoot root;
  const Finished hello = RunToEnd({QUILLPOST, "hello"});
  EXPECT_EQ(3, hello.status);
  EXPECT_EQ("quillpost: no service is listening at " + Endpoint() + "; start it with quillpostd\n",
            hello.error);
  EXPECT_EQ("", hello.output);
}

TEST(Hello, OfAServiceThatDoesNotAnswerIsExit1) {
  TestRoot root;
  Daemon daemon(QUILLPOSTD);
  daemon.Signal(SIGSTOP);
  const Finished hello = RunToEnd({QUILLPOST, "hello"});
  EXPECT_EQ(1, hello.status);
  EXPECT_THAT(hello.error, StartsWith("quillpost: the service did not answer within "));
  const Finished status = RunToEnd({QUILLPOST, "status"});
  EXPECT_THAT(status.output, StartsWith("service      not up: "));
  daemon.Signal(SIGCONT);
}
