// The commands that need neither the service nor a running inbox.

#include <gmock/gmock.h>

#include <boost/filesystem/operations.hpp>

#include "InboxProgram.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class InboxOffline : public testing::Test {
 protected:
  Finished RunInbox(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {QUILLPOST_INBOX};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return RunToEnd(command, {{"XDG_DATA_HOME", ""}});
  }

  std::string path(const std::string& name) const { return (root_.path() / name).string(); }

  std::string MakeInk(const std::string& name, const std::string& page,
                      std::uint64_t start = 5000) {
    WriteFile(path(name), InkFile().AddStroke(page.c_str(), start).bytes());
    return path(name);
  }

  TestRoot root_;
};

}  // namespace

TEST_F(InboxOffline, ImportsEachFileAndSaysWhatBecameOfIt) {
  const std::string ink = MakeInk("ink.stf2", "1.2.3.4"), bad = path("bad");
  WriteFile(bad, "no ink");
  const Finished import = RunInbox({"import", ink, bad, path("missing"), ink});
  EXPECT_EQ(import.status, 1);
  EXPECT_EQ(import.output, "Success " + ink + "\nFailed " + bad + "\nFailed " + path("missing") +
                               "\nKnown " + ink + "\n");
  EXPECT_THAT(import.error, HasSubstr(bad + ": neither STF2, InkML, .xopp nor SVG"));
  EXPECT_THAT(import.error, HasSubstr(path("missing") + ": can't open: No such file"));
}

TEST_F(InboxOffline, ImportsTheSamples) {
  const std::string sample = std::string(SAMPLES) + "/handwriting.inkml";
  EXPECT_EQ(RunInbox({"import", sample}).output, "Success " + sample + "\n");
  EXPECT_EQ(RunInbox({"export", "-o", path("all.pdf")}).status, 0);
  EXPECT_THAT(ReadFile(path("all.pdf")), StartsWith("%PDF"));
}

TEST_F(InboxOffline, ExportsPagesByAddressAndNumber) {
  RunInbox({"import", MakeInk("a", "1.2.3.4"), MakeInk("b", "1.2.3.5")});
  EXPECT_EQ(RunInbox({"export", "--page", "1.2.3.5", "-o", path("b.stf2")}).output,
            path("b.stf2") + " (1 page)\n");
  EXPECT_EQ(ReadFile(path("b.stf2")), ReadFile(path("b")));
  EXPECT_EQ(RunInbox({"export", "--page", "1", "-o", path("a.stf2")}).status, 0);
  EXPECT_EQ(ReadFile(path("a.stf2")), ReadFile(path("a")));
  EXPECT_EQ(RunInbox({"export", "--page", "1.2.*.*", "-o", path("two.pdf")}).output,
            path("two.pdf") + " (2 pages)\n");
}

TEST_F(InboxOffline, InkWithoutAPageIsCalledAsItsFile) {
  WriteFile(path("My letter.inkml"), "<ink><trace>1 1, 2 2</trace></ink>");
  RunInbox({"import", path("My letter.inkml")});
  InboxProgram inbox;
  EXPECT_EQ(inbox.Pages()[0]["title"].asString(), "My letter");
}

TEST_F(InboxOffline, AnImportTakesItsPageOutOfTheTrash) {
  const std::string ink = MakeInk("a", "1.2.3.4");
  RunInbox({"import", ink});
  InboxProgram inbox;
  inbox.Post("/api/pages/trash", "{\"pages\":[1]}");
  EXPECT_EQ(inbox.Pages().size(), 0u);
  EXPECT_EQ(RunInbox({"import", ink}).output, "Known " + ink + "\n");
  EXPECT_EQ(inbox.Pages().size(), 1u);
}

TEST_F(InboxOffline, ExportRefusesWhatItCantDo) {
  EXPECT_THAT(RunInbox({"export", "-o", path("x.pdf")}).error,
              HasSubstr("there is no inbox yet at"));
  RunInbox({"import", MakeInk("a", "1.2.3.4")});
  EXPECT_THAT(RunInbox({"export", "--page", "9.9.9.9", "-o", path("x.pdf")}).error,
              HasSubstr("there is no page 9.9.9.9"));
  EXPECT_THAT(RunInbox({"export", "--page", "nine", "-o", path("x.pdf")}).error,
              HasSubstr("'nine' is neither a page's address nor its number"));
  EXPECT_THAT(RunInbox({"export", "-o", path("x.doc")}).error,
              HasSubstr("there is no format 'doc'"));
  WriteFile(path("there.pdf"), "mine");
  EXPECT_THAT(RunInbox({"export", "-o", path("there.pdf")}).error, HasSubstr("is there already"));
  EXPECT_EQ(ReadFile(path("there.pdf")), "mine");
  EXPECT_EQ(RunInbox({"export", "--force", "-o", path("there.pdf")}).status, 0);
}

TEST_F(InboxOffline, WorksBesideARunningInbox) {
  InboxProgram inbox;
  EXPECT_EQ(RunInbox({"import", MakeInk("a", "1.2.3.4")}).status, 0);
  EXPECT_EQ(inbox.Pages().size(), 1u);
  EXPECT_EQ(RunInbox({"backup", path("copy.db")}).output, path("copy.db") + "\n");
  EXPECT_EQ(RunInbox({"export", "-o", path("all.pdf")}).status, 0);
}

TEST_F(InboxOffline, ABackupIsAnInbox) {
  RunInbox({"import", MakeInk("a", "1.2.3.4")});
  ASSERT_EQ(RunInbox({"backup", path("copy.db")}).status, 0);
  EXPECT_EQ(RunInbox({"backup", path("copy.db")}).status, 1);
  const auto there = root_.home() / ".local/share/quillpost/inbox.db";
  boost::filesystem::rename(path("copy.db"), there);
  InboxProgram inbox;
  EXPECT_EQ(inbox.Pages()[0]["address"].asString(), "1.2.3.4");
}
