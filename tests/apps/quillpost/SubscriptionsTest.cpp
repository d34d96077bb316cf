#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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

TEST_F(Subscriptions, AnEmptyListNamesTheDirectory) {
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
  EXPECT_THAT(name.error, StartsWith("quillpost: \"../Notes\" is not a valid application ID"));
  const Finished page = Add("Notes", "1.2");
  EXPECT_EQ(2, page.status);
  EXPECT_THAT(page.error, StartsWith("quillpost: \"1.2\" is not a valid page address"));
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

TEST_F(Subscriptions, RemoveRemovesAndSaysIfThereIsNothing) {
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

TEST_F(Subscriptions, AddRefusesAnApplicationThatCannotBeLaunched) {
  const std::vector<std::string> add = {"add",     "Notes", "--path", "/nonexistent/notes",
                                        "--title", "Notes", "--page", "1.2.3.4"};
  const Finished refused = Call(add);
  EXPECT_EQ(1, refused.status);
  EXPECT_EQ(
      "quillpost: the service could not launch the application: /nonexistent/notes: No such file "
      "or "
      "directory; --force subscribes it all the same\n",
      refused.error);
  EXPECT_FALSE(fs::exists(root_.subscriptions() / "Notes"));
  std::vector<std::string> forced = add;
  forced.push_back("--force");
  EXPECT_EQ(0, Call(forced).status);
  EXPECT_TRUE(fs::exists(root_.subscriptions() / "Notes"));
}

TEST_F(Subscriptions, AddWarnsOfARelativePath) {
  WriteFile(root_.path() / "notes", "#!/bin/sh\n");
  fs::permissions(root_.path() / "notes", fs::owner_all);
  const Finished add =
      RunToEnd({"/usr/bin/env", "-C", root_.path().string(), QUILLPOST, "subscriptions", "add",
                "Notes", "--path", "./notes", "--title", "T", "--page", "1.2.3.4"});
  EXPECT_EQ(0, add.status);
  EXPECT_EQ(
      "quillpost: note: \"./notes\" is relative, and starts at the service's working directory\n",
      add.error);
}

// --page takes several values, and took the application as one.
TEST_F(Subscriptions, AddFindsItsApplicationBehindThePages) {
  const Finished add =
      Call({"add", "--path", "/bin/sh", "--title", "T", "--page", "1.2.*.*", "1.3.0.7", "Notes"});
  EXPECT_EQ(0, add.status) << add.error;
  EXPECT_EQ("Notes  \"T\"  /bin/sh  1.2.*.*  1.3.0.7\n", Call({"list"}).output);
  const Finished none = Call({"add", "--path", "/bin/sh", "--title", "T", "--page", "1.2.*.*"});
  EXPECT_EQ(2, none.status);
  EXPECT_THAT(none.error, StartsWith("quillpost: APP is required; "));
}

// Subscriptions lie in a directory of root's.
TEST_F(Subscriptions, WhoNeedsRootIsToldTheCommand) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user's directory is needed";
  fs::permissions(root_.path(), fs::owner_all | fs::others_read | fs::others_exe);
  fs::create_directories(root_.subscriptions());
  ASSERT_EQ(0, Add("Notes").status);
  const std::vector<std::string> as_nobody = {"/usr/bin/setpriv", "--reuid", "65534",
                                              "--clear-groups",   QUILLPOST, "subscriptions"};
  std::vector<std::string> add = as_nobody;
  add.insert(add.end(),
             {"add", "Other", "--path", "/bin/sh", "--title", "It's", "--page", "1.2.*.*"});
  const Finished added = RunToEnd(add);
  if (added.status > 100) GTEST_SKIP() << "the build folder is closed to other users";
  EXPECT_EQ(1, added.status);
  EXPECT_EQ(
      "quillpost: can't write '" + (root_.subscriptions() / "Other").string() +
          "': Permission denied; subscriptions are for all users of the machine, so this needs "
          "root: sudo QUILLPOST_ROOT=" +
          root_.path().string() +
          " " QUILLPOST
          " subscriptions add Other --path /bin/sh --title 'It'\\''s' --page '1.2.*.*'\n",
      added.error);
  std::vector<std::string> remove = as_nobody;
  remove.insert(remove.end(), {"remove", "Notes"});
  EXPECT_THAT(RunToEnd(remove).error,
              testing::EndsWith(" " QUILLPOST " subscriptions remove Notes\n"));
}
