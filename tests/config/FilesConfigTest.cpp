// Which applications have subscribed to which pages: what counts as a subscription file, and what
// becomes of the files that are none.

#include "config/FilesConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem.hpp>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/Machine.h"
#include "support/TestRoot.h"

using namespace TalvoQuillpost::Config;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = boost::filesystem;

namespace {

constexpr char kSubscription[] =
    R"({"Path":"/bin/sketcher","Title":"","PageAddresses":["1.2.*.*"]})";

class FilesConfigTest : public testing::Test {
 protected:
  FilesConfigTest() {
    fs::create_directories(root_.subscriptions());
    fs::permissions(root_.path(), fs::perms(0755));  // for a user without rights, too
  }

  fs::path Path(const std::string& id) const { return root_.subscriptions() / id; }
  void Subscribe(const std::string& id, const std::string& json) const {
    WriteFile(Path(id), json);
  }

  // Whether a file with this content is a subscription.
  bool IsAccepted(const std::string& json) const {
    Subscribe("Candidate", json);
    Json::Value root = "stale";
    const bool accepted = LoadConfig(Path("Candidate"), root);
    EXPECT_TRUE(root.isObject()) << json;
    EXPECT_EQ(accepted, !root.empty()) << json;
    return accepted;
  }

  const TestRoot root_;
};

class LoadConfigTest : public FilesConfigTest {};
class IsRegisteredTest : public FilesConfigTest {};
class GetApplicationsTest : public FilesConfigTest {};
class FindApplicationsTest : public FilesConfigTest {};

std::vector<std::string> IDs(const std::set<App>& applications) {
  std::vector<std::string> ids;
  for (const App& application : applications) ids.push_back(application.id);
  return ids;
}

std::vector<std::string> Applications() {
  std::set<App> applications;
  EXPECT_TRUE(GetApplications(applications));
  return IDs(applications);
}

std::vector<std::string> Claimers(const std::string& page) {
  std::set<App> applications = {App{"stale", "", "", {}}};
  const bool found = FindApplications(page, applications);
  EXPECT_EQ(found, !applications.empty());
  return IDs(applications);
}

App NamedApp(const std::string& id) {
  App app;
  app.id = id;
  return app;
}

// A subscription with one more member, `value`.
std::string WithMember(const std::string& value) {
  return R"({"Other":)" + value + R"(,"Path":"/p","Title":"t","PageAddresses":["1.2.3.4"]})";
}

}  // namespace

TEST(ConfigRoot, IsTheSameForEveryUser) {
  ::unsetenv("QUILLPOST_ROOT");
  EXPECT_EQ("/Library/Preferences/Talvo/Quillpost/Subscriptions", GetRoot());
  ::setenv("QUILLPOST_ROOT", "/tmp/world", 1);
  EXPECT_EQ("/tmp/world/Library/Preferences/Talvo/Quillpost/Subscriptions", GetRoot());
}

TEST(ConfigApp, IsOrderedByItsIDByteByByte) {
  EXPECT_TRUE(NamedApp("A") < NamedApp("B"));
  EXPECT_TRUE(NamedApp("B") < NamedApp("a"));
  EXPECT_TRUE(NamedApp("Sketch") < NamedApp("Sketcher"));
  EXPECT_FALSE(NamedApp("Sketcher") < NamedApp("Sketch"));
  EXPECT_FALSE(NamedApp("Sketch") < NamedApp("Sketch"));
  const App one{"Sketch", "a", "/a", {"1.1.1.1"}};
  const App two{"Sketch", "b", "/b", {"2.2.2.2"}};
  EXPECT_EQ(1u, std::set<App>({one, two}).size());
}

// ---- LoadConfig ------------------------------------------------------------------------------

TEST_F(LoadConfigTest, GivesTheWholeRootObject) {
  Subscribe("Sketcher", R"({"Path":"/bin/sketcher","Title":"Sketcher 2","PageAddresses":
      ["1.2.*.*","encrypted-stf2"],"Other":{"Since":1.5}})");
  Json::Value root;
  ASSERT_TRUE(LoadConfig(Path("Sketcher"), root));
  EXPECT_EQ("/bin/sketcher", root["Path"].asString());
  EXPECT_EQ("Sketcher 2", root["Title"].asString());
  EXPECT_EQ(2u, root["PageAddresses"].size());
  EXPECT_EQ(1.5, root["Other"]["Since"].asDouble());
}

TEST_F(LoadConfigTest, TakesEveryFormThatIsASubscription) {
  for (const std::string& json : {
           std::string(kSubscription),
           std::string(R"({"Path":"x","Title":"x","PageAddresses":[]})"),
           std::string(R"({"PageAddresses":["*.*.*.*","1.2.3.4.5"],"Title":"","Path":" "})"),
           "// made by hand\n/* for\n tests */ " + std::string(kSubscription),
           std::string(kSubscription) + "\n// the end",
           std::string(kSubscription) + " and text after the document {",
           "\n\t " + std::string(kSubscription) + "\r\n\r\n",
           std::string(R"({"Path":"/caf\u00e9","Title":"caf)") + "\xC3\xA9" +
               R"(","PageAddresses":["encrypted-stf2"]})",
           std::string(
               R"({"Path":"","Title":"t","PageAddresses":[],"Path":"the last one counts"})"),
       }) {
    EXPECT_TRUE(IsAccepted(json)) << json;
  }
}

TEST_F(LoadConfigTest, RefusesWhatIsNotJson) {
  for (const std::string& json :
       {std::string(), std::string(" \n"), std::string("{"), std::string("sketcher"),
        std::string(R"({"Path":"x","Title":"x","PageAddresses":[})"),
        std::string(R"({"Path":"x","Title":"x","PageAddresses":["1.2.3.4"])"),
        std::string(R"({"Path":"x" "Title":"x","PageAddresses":[]})"),
        std::string(R"({'Path':'x','Title':'x','PageAddresses':[]})"),
        std::string("/* without an end ") + kSubscription, std::string("/"), std::string("\""),
        std::string(1000, '\0'), std::string("\xFF\xFE{\0", 4)}) {
    EXPECT_FALSE(IsAccepted(json)) << json;
  }
}

TEST_F(LoadConfigTest, RefusesAFileThatIsCutAnywhere) {
  const std::string json = kSubscription;
  for (std::size_t size = 0; size < json.size(); ++size) {
    EXPECT_FALSE(IsAccepted(json.substr(0, size))) << size;
  }
}

TEST_F(LoadConfigTest, RefusesARootThatIsNoObject) {
  for (const char* json : {"[]", R"(["Path","Title","PageAddresses"])", R"("Path")", "1", "1.5",
                           "true", "null", "-"}) {
    EXPECT_FALSE(IsAccepted(json)) << json;
  }
}

TEST_F(LoadConfigTest, RefusesAMissingMember) {
  EXPECT_FALSE(IsAccepted("{}"));
  EXPECT_FALSE(IsAccepted(R"({"Title":"t","PageAddresses":["1.2.3.4"]})"));
  EXPECT_FALSE(IsAccepted(R"({"Path":"/p","PageAddresses":["1.2.3.4"]})"));
  EXPECT_FALSE(IsAccepted(R"({"Path":"/p","Title":"t"})"));
  EXPECT_FALSE(IsAccepted(R"({"path":"/p","title":"t","pageaddresses":["1.2.3.4"]})"));
}

TEST_F(LoadConfigTest, RefusesAMemberOfAnotherType) {
  for (const char* value : {"null", "true", "7", "-7", "1.5", "1e5", "[]", "{}", R"(["/p"])"}) {
    const std::string other = value;
    EXPECT_FALSE(IsAccepted(R"({"Path":)" + other + R"(,"Title":"t","PageAddresses":[]})"))
        << value;
    EXPECT_FALSE(IsAccepted(R"({"Path":"/p","Title":)" + other + R"(,"PageAddresses":[]})"))
        << value;
  }
  for (const char* value :
       {"null", "true", "7", "1.5", "{}", R"({"0":"1.2.3.4"})", R"("1.2.3.4")"}) {
    EXPECT_FALSE(
        IsAccepted(R"({"Path":"/p","Title":"t","PageAddresses":)" + std::string(value) + "}"))
        << value;
  }
}

TEST_F(LoadConfigTest, RefusesAnEmptyPathAndTakesAnEmptyTitle) {
  EXPECT_FALSE(IsAccepted(R"({"Path":"","Title":"t","PageAddresses":["1.2.3.4"]})"));
  EXPECT_TRUE(IsAccepted(R"({"Path":"/p","Title":"","PageAddresses":["1.2.3.4"]})"));
}

TEST_F(LoadConfigTest, RefusesOneBadPageAmongGoodOnes) {
  for (const char* page : {R"("1.2")", "1", "1.2", "null", "true", "[]", "{}", R"(["1.2.3.4"])",
                           R"("")", R"("1.2.3.a")", R"("encrypted-stf3")", R"(" 1.2.3.4")",
                           R"("1.2.3.4\u0000")", R"("1.2.3.4.5.6")"}) {
    const std::string bad = page;
    const std::string head = R"({"Path":"/p","Title":"t","PageAddresses":[)";
    EXPECT_FALSE(IsAccepted(head + bad + R"(,"1.2.3.4"]})")) << page;
    EXPECT_FALSE(IsAccepted(head + R"("1.2.3.4",)" + bad + "]}")) << page;
  }
}

TEST_F(LoadConfigTest, RefusesAFileThatCantBeRead) {
  const LogCapture log;
  fs::create_directory(Path("directory"));
  fs::create_symlink(Path("nowhere"), Path("dangling"));
  ASSERT_EQ(0, ::mkfifo(Path("fifo").c_str(), 0600));
  Subscribe("locked", kSubscription);
  fs::permissions(Path("locked"), fs::perms(0));
  const PlainUser user;
  for (const char* name : {"missing", "directory", "dangling", "fifo", "locked"}) {
    Json::Value root = "stale";
    EXPECT_FALSE(LoadConfig(Path(name), root)) << name;
    EXPECT_TRUE(root.isObject() && root.empty()) << name;
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(LoadConfigTest, RefusesHostileNestingAndThrowsNothing) {
  for (const char* nested : {"[", "{\"a\":", "[{\"a\":["}) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += nested;
    EXPECT_FALSE(IsAccepted(deep)) << nested;
    EXPECT_FALSE(IsAccepted(WithMember(deep))) << nested;
  }
  EXPECT_FALSE(IsAccepted(WithMember(std::string(100000, '[') + std::string(100000, ']'))));
  EXPECT_TRUE(IsAccepted(WithMember(std::string(500, '[') + std::string(500, ']'))));
}

TEST_F(LoadConfigTest, RefusesAFileThatIsTooLargeToBeOne) {
  Subscribe("huge", "");
  ASSERT_EQ(0, ::truncate(Path("huge").c_str(), off_t{1} << 40));
  Json::Value root;
  EXPECT_FALSE(LoadConfig(Path("huge"), root));
  EXPECT_TRUE(IsAccepted(std::string(1000 << 10, ' ') + kSubscription));
  EXPECT_FALSE(IsAccepted(std::string(1024 << 10, ' ') + kSubscription));
}

// Numbers mean nothing here, but a file with a bad one is not JSON. What the reader takes is more
// than JSON allows; a host's number format must make no difference to it.
TEST_F(LoadConfigTest, JudgesNumbersTheSameInEveryLocale) {
  const std::vector<std::pair<std::string, bool>> rows = {{"1.5", true},
                                                          {"-1.5", true},
                                                          {"-.5", true},
                                                          {"1.", true},
                                                          {"0.000001", true},
                                                          {"1234567.25", true},
                                                          {"1.5e10", true},
                                                          {"1.5E-10", true},
                                                          {"15e3", true},
                                                          {"1.7e308", true},
                                                          {"1.8e308", false},
                                                          {"1e400", false},
                                                          {"1.5e", false},
                                                          {"1.5e+", false},
                                                          {"1.5.5", false},
                                                          {".5", false},
                                                          {"1,5", false},
                                                          {"+1.5", false},
                                                          {"1.5x", false},
                                                          {"12345678901234567890", true},
                                                          {"123456789012345678901234567890", true},
                                                          {"-123456789012345678901234567890", true},
                                                          {"1." + std::string(400, '0'), true},
                                                          {std::string(300, '9') + ".5", true},
                                                          {std::string(400, '9') + ".5", false},
                                                          {"[1.5,2.5 , 3.5]", true},
                                                          {"[1.5 2.5]", false},
                                                          {"{\"a\":0.25}", true}};
  for (const auto& [number, expected] : rows) {
    EXPECT_EQ(expected, IsAccepted(WithMember(number))) << number;
    const ForeignLocale locale;
    EXPECT_EQ(expected, IsAccepted(WithMember(number))) << number << " in a foreign locale";
  }
}

TEST_F(LoadConfigTest, TextIsNotTakenForNumbersInAForeignLocale) {
  const ForeignLocale locale;
  Subscribe("Sketcher", R"(/* 1.5e400 " */ {"Path":"/opt/1.5e400/\"2.5/x","Title":"\\",
      // 9.9e999 "
      "Other":[1.5,"8.5e999",-0.5], "PageAddresses":["1.2.3.4","1.2.*.*.5"]} 7.7e999)");
  Json::Value root;
  ASSERT_TRUE(LoadConfig(Path("Sketcher"), root));
  EXPECT_EQ("/opt/1.5e400/\"2.5/x", root["Path"].asString());
  EXPECT_EQ("\\", root["Title"].asString());
  EXPECT_EQ("8.5e999", root["Other"][1].asString());
  EXPECT_EQ("1.2.3.4", root["PageAddresses"][0].asString());
  EXPECT_EQ("1.2.*.*.5", root["PageAddresses"][1].asString());
}

TEST_F(LoadConfigTest, BearsAFileThatIsCutAnywhereInAForeignLocale) {
  const ForeignLocale locale;
  const std::string json = WithMember("[1.5e10,\"\\\"x\"] /* a // b */ // c\n");
  ASSERT_TRUE(IsAccepted(json));
  for (std::size_t size = 0; size < json.size(); ++size) {
    EXPECT_FALSE(IsAccepted(json.substr(0, size))) << size;
  }
}

// ---- IsRegistered ----------------------------------------------------------------------------

TEST_F(IsRegisteredTest, AsksForARegularFileAndDoesNotReadIt) {
  Subscribe("Sketcher", kSubscription);
  Subscribe("Malformed", "not JSON");
  Subscribe("Empty", "");
  fs::create_symlink(Path("Sketcher"), Path("Linked"));
  for (const char* id : {"Sketcher", "Malformed", "Empty", "Linked"}) {
    EXPECT_TRUE(IsRegistered(id)) << id;
  }
}

TEST_F(IsRegisteredTest, IsFalseForEverythingElse) {
  fs::create_directory(Path("Folder"));
  fs::create_symlink(Path("nowhere"), Path("Dangling"));
  fs::create_symlink(Path("Folder"), Path("LinkedFolder"));
  fs::create_symlink(Path("Loop"), Path("Loop"));
  ASSERT_EQ(0, ::mkfifo(Path("Fifo").c_str(), 0600));
  for (const std::string& id :
       {std::string("Missing"), std::string("Folder"), std::string("Dangling"),
        std::string("LinkedFolder"), std::string("Loop"), std::string("Fifo"), std::string(),
        std::string(300, 'x')}) {
    EXPECT_FALSE(IsRegistered(id)) << id;
  }
}

TEST_F(IsRegisteredTest, AFileThatComesOrGoesCountsAtOnce) {
  EXPECT_FALSE(IsRegistered("Sketcher"));
  Subscribe("Sketcher", kSubscription);
  EXPECT_TRUE(IsRegistered("Sketcher"));
  fs::remove(Path("Sketcher"));
  EXPECT_FALSE(IsRegistered("Sketcher"));
}

// ---- GetApplications -------------------------------------------------------------------------

TEST_F(GetApplicationsTest, GivesEveryFieldOfAnApplication) {
  Subscribe("Notes.App 2:x_1", R"({"Path":"/opt/notes","Title":"Notes","PageAddresses":
      ["3.3.3.3","1.2.*.*","3.3.3.3"]})");
  std::set<App> applications = {App{"stale", "", "", {}}};
  ASSERT_TRUE(GetApplications(applications));
  ASSERT_EQ(1u, applications.size());
  const App& application = *applications.begin();
  EXPECT_EQ("Notes.App 2:x_1", application.id);
  EXPECT_EQ("Notes", application.title);
  EXPECT_EQ("/opt/notes", application.path);
  EXPECT_THAT(application.pageAddresses, ElementsAre("1.2.*.*", "3.3.3.3"));
}

TEST_F(GetApplicationsTest, ListsInTheOrderOfIDs) {
  for (const char* id : {"b", "a", "B", "ab", "a.b", "a:b", "a b"}) Subscribe(id, kSubscription);
  EXPECT_THAT(Applications(), ElementsAre("B", "a", "a b", "a.b", "a:b", "ab", "b"));
}

TEST_F(GetApplicationsTest, LeavesOutWhatIsNoSubscriptionAndSaysNothing) {
  const LogCapture log;
  Subscribe("Sketcher", kSubscription);
  Subscribe(".Sketcher", kSubscription);
  Subscribe("a#b", kSubscription);
  Subscribe("caf\xC3\xA9", kSubscription);
  Subscribe("Array", "[]");
  Subscribe("Malformed", "not JSON");
  Subscribe("BadPage", R"({"Path":"/p","Title":"t","PageAddresses":["1.2"]})");
  Subscribe("Folder/Inside", kSubscription);
  fs::create_symlink(Path("Sketcher"), Path("Linked"));
  fs::create_symlink(Path("nowhere"), Path("Dangling"));
  ASSERT_EQ(0, ::mkfifo(Path("Fifo").c_str(), 0600));
  EXPECT_THAT(Applications(), ElementsAre("Linked", "Sketcher"));
  EXPECT_TRUE(IsRegistered("BadPage"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(GetApplicationsTest, AMissingDirectoryHoldsNoApplications) {
  fs::remove(root_.subscriptions());
  EXPECT_THAT(Applications(), IsEmpty());
  EXPECT_THAT(Claimers("1.2.3.4"), IsEmpty());
  EXPECT_FALSE(IsRegistered("Sketcher"));
  fs::create_symlink(root_.path() / "nowhere", root_.subscriptions());
  EXPECT_THAT(Applications(), IsEmpty());
}

TEST_F(GetApplicationsTest, SomethingElseInTheDirectorysPlaceIsFalse) {
  const fs::path directory = root_.subscriptions();
  const auto expect_false = [] {
    std::set<App> applications = {App{"stale", "", "", {}}};
    EXPECT_FALSE(GetApplications(applications));
    EXPECT_TRUE(applications.empty());
    EXPECT_FALSE(FindApplications("1.2.3.4", applications));
    EXPECT_FALSE(IsRegistered("Sketcher"));
  };
  fs::remove(directory);
  WriteFile(directory, kSubscription);
  expect_false();
  fs::remove(directory);
  ASSERT_EQ(0, ::mkfifo(directory.c_str(), 0600));
  expect_false();
  fs::remove(directory);
  fs::create_symlink(directory, directory);
  expect_false();
}

TEST_F(GetApplicationsTest, ADirectoryThatCantBeReadRaises) {
  Subscribe("Sketcher", kSubscription);
  fs::permissions(root_.subscriptions(), fs::perms(0));
  {
    const PlainUser user;
    std::set<App> applications;
    EXPECT_THROW(GetApplications(applications), fs::filesystem_error);
    EXPECT_THROW(FindApplications("1.2.3.4", applications), fs::filesystem_error);
    EXPECT_FALSE(IsRegistered("Sketcher"));
  }
  fs::permissions(root_.subscriptions(), fs::perms(0755));
}

TEST_F(GetApplicationsTest, ReadsTheDirectoryAfreshEachTime) {
  Subscribe("Sketcher", kSubscription);
  EXPECT_THAT(Claimers("9.9.9.9"), IsEmpty());
  Subscribe("Sketcher", R"({"Path":"/p","Title":"t","PageAddresses":["9.9.9.9"]})");
  EXPECT_THAT(Claimers("9.9.9.9"), ElementsAre("Sketcher"));
  fs::remove(Path("Sketcher"));
  EXPECT_THAT(Applications(), IsEmpty());
}

TEST_F(GetApplicationsTest, AFileThatIsBeingRewrittenIsReadWholeOrSkipped) {
  std::atomic<bool> stop(false);
  std::thread writer([&] {
    while (!stop) Subscribe("Sketcher", kSubscription);
  });
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([] {
      for (int round = 0; round < 100; ++round) {
        std::set<App> applications;
        EXPECT_TRUE(GetApplications(applications));
        for (const App& application : applications) {
          EXPECT_EQ("/bin/sketcher", application.path);
          EXPECT_THAT(application.pageAddresses, ElementsAre("1.2.*.*"));
        }
      }
    });
  }
  for (std::thread& reader : readers) reader.join();
  stop = true;
  writer.join();
}

// ---- FindApplications ------------------------------------------------------------------------

TEST_F(FindApplicationsTest, FindsByRange) {
  Subscribe("Sketcher", kSubscription);
  EXPECT_THAT(Claimers("1.2.3.4"), ElementsAre("Sketcher"));
  EXPECT_THAT(Claimers("0.1.2.3.4"), ElementsAre("Sketcher"));
  EXPECT_THAT(Claimers("1.3.0.0"), IsEmpty());
  EXPECT_THAT(Claimers("1.1.2.3.4"), IsEmpty());
}

TEST_F(FindApplicationsTest, GivesTheWholeApplicationOnceHoweverManyRangesMatch) {
  Subscribe("Sketcher", R"({"Path":"/p","Title":"t","PageAddresses":["1.2.3.4","*.*.*.*"]})");
  std::set<App> applications;
  ASSERT_TRUE(FindApplications("1.2.3.4", applications));
  ASSERT_EQ(1u, applications.size());
  EXPECT_EQ("/p", applications.begin()->path);
  EXPECT_EQ("t", applications.begin()->title);
  EXPECT_THAT(applications.begin()->pageAddresses, ElementsAre("*.*.*.*", "1.2.3.4"));
}

TEST_F(FindApplicationsTest, FindsEveryClaimerAndNobodyElse) {
  Subscribe("a", R"({"Path":"/p","Title":"t","PageAddresses":["9.9.9.9","1.2.3.4"]})");
  Subscribe("b", R"({"Path":"/p","Title":"t","PageAddresses":["1.2.3.5"]})");
  Subscribe("c", R"({"Path":"/p","Title":"t","PageAddresses":["*.*.*.*.*"]})");
  EXPECT_THAT(Claimers("1.2.3.4"), ElementsAre("a", "c"));
}

TEST_F(FindApplicationsTest, AnApplicationWithoutPagesIsListedAndNeverFound) {
  Subscribe("Sketcher", R"({"Path":"/p","Title":"","PageAddresses":[]})");
  EXPECT_THAT(Applications(), ElementsAre("Sketcher"));
  EXPECT_THAT(Claimers("1.2.3.4"), IsEmpty());
}

TEST_F(FindApplicationsTest, SealedInkGoesOnlyToWhoNamesIt) {
  Subscribe("all", R"({"Path":"/p","Title":"t","PageAddresses":["*.*.*.*","*.*.*.*.*"]})");
  Subscribe("sealed", R"({"Path":"/p","Title":"t","PageAddresses":["encrypted-stf2"]})");
  EXPECT_THAT(Claimers("encrypted-stf2"), ElementsAre("sealed"));
  EXPECT_THAT(Claimers("1.2.3.4"), ElementsAre("all"));
}

TEST_F(FindApplicationsTest, AnInvalidPageIsNobodys) {
  Subscribe("all", R"({"Path":"/p","Title":"t","PageAddresses":["*.*.*.*","*.*.*.*.*"]})");
  for (const char* page : {"", "1.2", "1.2.3.a", "encrypted-stf3"}) {
    EXPECT_THAT(Claimers(page), IsEmpty()) << page;
  }
}
