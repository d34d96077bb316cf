#include "ToolRun.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "Temporaries.h"
#include "ink/Gzip.h"

namespace InkTool {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Outputs, WithoutAnOutputTheFileStandsBesideTheInput) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  EXPECT_THAT(folder.Names(), Contains("letter.stf2"));
}

TEST(Outputs, ManyFilesGoIntoAFolderWithALineEach) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"convert", "@letter.inkml", "@note.inkml", "-o", "@out/"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("@letter.inkml: Success, @out/letter.stf2 "));
  EXPECT_THAT(outcome.out, HasSubstr("@note.inkml: Success, @out/note.stf2 "));
}

TEST(Outputs, ANameWithGzIsPackedInEveryFormat) {
  const ToolFolder folder;
  folder.Run({"render", "@note.inkml", "-o", "@plain.svg"});
  for (const char* name : {"a.svg.gz", "b.svgz"}) {
    const Outcome outcome = folder.Run({"render", "@note.inkml", "-o", std::string("@") + name});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(TalvoInk::Gunzip(folder.Read(name), 1 << 20), folder.Read("plain.svg"));
  }
  folder.Run({"render", "@note.inkml", "-o", "@{page}-{n}.svgz"});
  EXPECT_EQ(TalvoInk::Gunzip(folder.Read("1.2.7.1-001.svgz"), 1 << 20), folder.Read("plain.svg"));
  folder.Run({"replay", "@note.inkml"});
  EXPECT_EQ(folder.Run({"replay", "@note.inkml", "-o", "@c.svg.gz"}).status, 0);
  EXPECT_EQ(TalvoInk::Gunzip(folder.Read("c.svg.gz"), 1 << 22), folder.Read("note.replay.svg"));
  EXPECT_EQ(
      folder.Run({"render", "@note.inkml", "-o", "@d.txt.gz"}).err,
      "@note.inkml: Failed, 'txt' is not one of svg, png and pdf; --to says which is wanted\n");
}

TEST(Outputs, PatternsStandForTheFilesThatMatch) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "@*.inkml", "-o", "@out/"}).status, 0);
  EXPECT_THAT(folder.Names(), Contains("out/letter.stf2"));
  EXPECT_THAT(folder.Names(), Contains("out/note.stf2"));
  const Outcome none = folder.Run({"convert", "@*.nothing"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "@*.nothing: Failed, can't open: No such file or directory\n");
}

TEST(Outputs, OneBadFileDoesNotStopTheOthers) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink>\n<trace>1 2 x</trace></ink>");
  const Outcome outcome =
      folder.Run({"convert", "@bad.inkml", "@nothing.inkml", "@note.inkml", "-o", "@out/"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err,
              StartsWith("@bad.inkml: Failed, line 2, column 12: not a value of a trace\n"
                         "@nothing.inkml: Failed, can't open: No such file or directory\n"));
  EXPECT_THAT(outcome.out, StartsWith("@note.inkml: Success, "));
}

TEST(Outputs, AFailureLeavesNoFileBehind) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink><trace>1 2 x</trace></ink>");
  const auto before = folder.Names();
  folder.Run({"convert", "@bad.inkml", "-o", "@bad.stf2"});
  folder.Run({"render", "@bad.inkml", "-o", "@bad.png"});
  folder.Run({"split", "@bad.inkml"});
  folder.Run({"merge", "@bad.inkml", "-o", "@bad.stf2"});
  EXPECT_EQ(folder.Names(), before);
}

TEST(Outputs, NothingIsReplacedWithoutForce) {
  const ToolFolder folder;
  folder.Write("there.stf2", "mine");
  const auto before = folder.Names();
  const Outcome refused = folder.Run({"convert", "@note.inkml", "-o", "@there.stf2"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err,
            "@note.inkml: Failed, @there.stf2 is there already; --force replaces it\n");
  EXPECT_EQ(folder.Read("there.stf2"), "mine");
  EXPECT_EQ(folder.Names(), before);
  EXPECT_EQ(folder.Run({"convert", "@note.inkml", "-o", "@there.stf2", "--force"}).status, 0);
  EXPECT_NE(folder.Read("there.stf2"), "mine");
}

TEST(Outputs, OneCallNeverWritesAFileTwice) {
  const ToolFolder folder;
  folder.Write("sub/note.inkml", folder.Read("note.inkml"));
  const Outcome outcome =
      folder.Run({"convert", "--force", "@note.inkml", "@sub/note.inkml", "-o", "@out/"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "@sub/note.inkml: Failed, another file of this call has been written to "
            "@out/note.stf2\n");
}

TEST(Outputs, AnOutputInNoFolderIsRefusedWithTheSystemsReason) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "@note.inkml", "-o", "@gone/note.stf2"}).err,
            "@note.inkml: Failed, can't write @gone/note.stf2: No such file or directory\n");
}

TEST(Outputs, FoldersAndDevicesAreNeitherReadNorReplaced) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"info", "/dev/zero"}).err,
            "/dev/zero: Failed, can't open: neither a regular file nor a pipe\n");
  EXPECT_EQ(folder.Run({"convert", "@note.inkml", "--to", "stf2", "-f", "-o", "/dev/null"}).err,
            "@note.inkml: Failed, can't write /dev/null: not a regular file\n");
}

// A full disk, as far as one process can have one: no file may grow beyond a limit.
TEST(Outputs, ADiskThatIsFullLeavesNoFileBehind) {
  const ToolFolder folder;
  const auto before = folder.Names();
  struct rlimit old;
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
  RemoveTemporariesOnSignals();
  const struct rlimit small = {4096, old.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const Outcome outcome = folder.Run({"convert", "@letter.inkml", "-o", "@letter.stf2"});
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
  EXPECT_EQ(outcome.err, "@letter.inkml: Failed, can't write @letter.stf2: File too large\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(folder.Names(), before);
}

TEST(Outputs, NewFilesHaveTheUsersUsualMode) {
  const ToolFolder folder;
  const mode_t old = ::umask(027);
  folder.Run({"convert", "@note.inkml"});
  ::umask(old);
  struct stat status;
  ASSERT_EQ(::stat(folder.Path("note.stf2").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(Outputs, QuietTellsFailuresAlone) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome outcome = folder.Run({"convert", "-q", "@bare.inkml", "@gone.inkml"});
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "@gone.inkml: Failed, can't open: No such file or directory\n");
  EXPECT_THAT(folder.Names(), Contains("bare.stf2"));
}

TEST(Outputs, NamesWithControlBytesStayInTheirLine) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"info", "@no\nsuch"}).err,
            "@no\\x0Asuch: Failed, can't open: No such file or directory\n");
}

}  // namespace
}  // namespace InkTool
