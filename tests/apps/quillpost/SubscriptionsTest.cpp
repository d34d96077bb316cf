#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/filesystem.hpp>
#include <iterator>

#include "Json.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class Subscriptions : public testing::Test {
 protected:
  Finished Call(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {QUILLPOST, "subscriptions"});
    return RunToEnd(arguments);
  }

  Finished Add(const std::string& application, const std::string& page = "1.2.*.*") {
    return Call({"add", application, "--path", "/bin/sh", "--title", "The notes", "--page", page});
  }

  TestRoot root_;
};

}  // namespace

TEST_F(Subscriptions, ListOfNoneSaysWhereTheyWouldBe) {
  const Finished list = Call({"list"});
  EXPECT_EQ(0, list.status);
  EXPECT_EQ("no application has subscribed; subscriptions are files in " +
                root_.subscriptions().string() + "\n",
            list.output);
}

TEST_F(Subscriptions, AddWritesAFileThatListShows) {
  const Finished add = Call({"add", "My Notes", "--path", "/bin/sh", "--title",
                             "Gr\xC3\xBC\xC3\x9F"
                             "e",
                             "--page", "1.2.*.*", "1.3.0.7", "--page", "encrypted-stf2"});
  EXPECT_EQ(0, add.status) << add.error;
  EXPECT_EQ("added My Notes (" + (root_.subscriptions() / "My Notes").string() + ")\n", add.output);
  EXPECT_EQ(
      "My Notes  \"Gr\xC3\xBC\xC3\x9F"
      "e\"  /bin/sh  1.2.*.*  1.3.0.7  encrypted-stf2\n",
      Call({"list"}).output);
  struct stat status;
  ASSERT_EQ(0, ::stat((root_.subscriptions() / "My Notes").c_str(), &status));
  EXPECT_EQ(0644u, status.st_mode & 0777u) << "every user's service reads it";
  EXPECT_EQ(1, std::distance(fs::directory_iterator(root_.subscriptions()), {}))
      << "nothing else is left in the directory";
}

TEST_F(Subscriptions, AddLeavesASubscriptionAloneUnlessItIsToReplaceIt) {
  ASSERT_EQ(0, Add("Notes").status);
  const Finished again = Add("Notes", "9.9.9.9");
  EXPECT_EQ(1, again.status);
  EXPECT_EQ("quillpost: the application 'Notes' has subscribed already; --replace makes it anew\n",
            again.error);
  EXPECT_THAT(Call({"list"}).output, HasSubstr("1.2.*.*"));
  EXPECT_EQ(0, Call({"add", "Notes", "--path", "/bin/sh", "--title", "T", "--page", "9.9.9.9",
                     "--replace"})
                   .status);
  EXPECT_THAT(Call({"list"}).output, HasSubstr("9.9.9.9"));
}

TEST_F(Subscriptions, AddRefusesWhatTheServiceWouldIgnore) {
  const Finished name = Add("../Notes");
  EXPECT_EQ(2, name.status);
  EXPECT_THAT(name.error, StartsWith("quillpost: \"../Notes\" is no application ID"));
  const Finished page = Add("Notes", "1.2");
  EXPECT_EQ(2, page.status);
  EXPECT_THAT(page.error, StartsWith("quillpost: \"1.2\" is no page address"));
  EXPECT_EQ(2, Call({"add", "Notes", "--path", "", "--title", "T", "--page", "1.2.3.4"}).status);
  EXPECT_EQ(2, Call({"add", "Notes", "--path", "/bin/sh", "--title", "T"}).status);
  EXPECT_FALSE(fs::exists(root_.subscriptions()));
}

TEST_F(Subscriptions, AddSaysWhyItCannotWrite) {
  WriteFile(root_.subscriptions().parent_path(), "a file where a directory should be");
  const Finished add = Add("Notes");
  EXPECT_EQ(1, add.status);
  EXPECT_THAT(add.error, StartsWith("quillpost: can't write '"));
}

TEST_F(Subscriptions, RemoveRemovesAndSaysWhereThereIsNothing) {
  ASSERT_EQ(0, Add("Notes").status);
  const Finished removed = Call({"remove", "Notes"});
  EXPECT_EQ(0, removed.status);
  EXPECT_THAT(removed.output, StartsWith("removed Notes ("));
  EXPECT_FALSE(fs::exists(root_.subscriptions() / "Notes"));
  const Finished again = Call({"remove", "Notes"});
  EXPECT_EQ(1, again.status);
  EXPECT_EQ("quillpost: the application 'Notes' has no subscription\n", again.error);
  EXPECT_EQ(2, Call({"remove", "../../etc/passwd"}).status);
}

TEST_F(Subscriptions, ListNamesTheFilesThatAreIgnored) {
  ASSERT_EQ(0, Add("Notes").status);
  WriteFile(root_.subscriptions() / "Broken", R"({"Path":"x","PageAddresses":[]})");
  const Finished list = Call({"list"});
  EXPECT_EQ(0, list.status);
  EXPECT_THAT(list.output, HasSubstr("ignored: Broken: the member \"Title\" is missing\n"));
}

TEST_F(Subscriptions, ListPrintsJson) {
  ASSERT_EQ(0, Add("Notes").status);
  WriteFile(root_.subscriptions() / "Broken", "[]");
  const Json::Value document = ParseJson(Call({"list", "--json"}).output);
  EXPECT_EQ(root_.subscriptions().string(), document["directory"].asString());
  ASSERT_EQ(1u, document["subscriptions"].size());
  EXPECT_EQ("Notes", document["subscriptions"][0]["application"].asString());
  EXPECT_EQ("1.2.*.*", document["subscriptions"][0]["pages"][0].asString());
  ASSERT_EQ(1u, document["ignored"].size());
  EXPECT_EQ("the document is not an object", document["ignored"][0]["reason"].asString());
}

TEST_F(Subscriptions, ATitleCannotSteerTheTerminal) {
  ASSERT_EQ(0,
            Call({"add", "Notes", "--path", "/bin/sh", "--title", "\033[2J", "--page", "1.2.3.4"})
                .status);
  EXPECT_THAT(Call({"list"}).output, HasSubstr("\"\\x1B[2J\""));
}

TEST_F(Subscriptions, CheckTellsGoodFromBad) {
  const std::string good = (root_.path() / "Good").string();
  const std::string bad = (root_.path() / "Bad").string();
  WriteFile(good, R"({"Path":"/bin/sh","Title":"","PageAddresses":["1.2.3.4"]})");
  WriteFile(bad, R"({"Path":"/bin/sh","Title":"","PageAddresses":["1.2.3.4",null]})");
  const Finished one = Call({"check", good});
  EXPECT_EQ(0, one.status);
  EXPECT_EQ(good + ": a valid subscription\n", one.output);
  const Finished both = Call({"check", good, bad});
  EXPECT_EQ(1, both.status);
  EXPECT_THAT(both.output,
              HasSubstr(bad + ": ignored by the service: element 1 of \"PageAddresses\" is not a "
                              "string\n"));
  const Json::Value document = ParseJson(Call({"check", "--json", good, bad}).output);
  EXPECT_TRUE(document[0]["valid"].asBool());
  EXPECT_FALSE(document[1]["valid"].asBool());
  EXPECT_EQ("element 1 of \"PageAddresses\" is not a string", document[1]["reason"].asString());
}
