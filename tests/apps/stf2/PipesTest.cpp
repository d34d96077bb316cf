// Ink through standard input and output, through named pipes, and compressed.

#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>

#include <thread>

#include "ToolRun.h"
#include "ink/Gzip.h"
#include "ink/Stf2File.h"
#include "support/Process.h"

namespace InkTool {
namespace {

using TalvoInk::PagesOf;
using TalvoInk::ReadStf2;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Pipes, StandardInputIsConvertedToStandardOutput) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"convert", "-"}, folder.Read("note.inkml"));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.Run({"convert", "@note.inkml"}).status, 0);
  EXPECT_EQ(outcome.out, folder.Read("note.stf2"));
  EXPECT_THAT(outcome.err, StartsWith("standard input: Success, standard output (1 page, "));
}

TEST(Pipes, StandardInputIsNamedInMessages) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "-"}, "<ink>").err.substr(0, 24), "standard input: Failed, ");
  EXPECT_EQ(folder.Run({"info", "-"}, "").err, "standard input: Failed, empty\n");
  EXPECT_THAT(folder.Run({"info", "-"}, folder.Read("note.inkml")).out,
              StartsWith("standard input: InkML, "));
}

TEST(Pipes, EveryCommandReadsStandardInput) {
  const ToolFolder folder;
  const std::string note = folder.Read("note.inkml");
  const std::string stf2 = folder.Run({"convert", "-"}, note).out;
  EXPECT_EQ(folder.Run({"info", "-"}, stf2).status, 0);
  EXPECT_THAT(folder.Run({"render", "-"}, stf2).out, HasSubstr("<svg "));
  EXPECT_THAT(folder.Run({"render", "-", "--to", "pdf"}, note).out, StartsWith("%PDF"));
  EXPECT_EQ(folder.Run({"split", "-", "-o", "@"}, note).status, 0);
  EXPECT_THAT(folder.Names(), Contains("ink-1.2.7.1.stf2"));
  EXPECT_EQ(folder.Run({"merge", "-", "@note.inkml", "-o", "-"}, note).status, 0);
  ASSERT_EQ(folder.Run({"keygen", "-o", "@key"}).status, 0);
  const std::string sealed = folder.Run({"seal", "--key", "@key.pub", "-"}, stf2).out;
  EXPECT_EQ(folder.Run({"open", "--key", "@key", "-"}, sealed).out, stf2);
  EXPECT_EQ(folder.Run({"seal", "--key", "-", "@ink-1.2.7.1.stf2"}, folder.Read("key.pub")).status,
            0);
}

TEST(Pipes, AFileCanGoToStandardOutput) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"render", "@note.inkml", "-o", "-", "--to", "png"});
  EXPECT_THAT(outcome.out, StartsWith("\x89PNG"));
  EXPECT_THAT(outcome.err, HasSubstr("@note.inkml: Success, standard output (1 page"));
}

TEST(Pipes, WhatOneStreamCantHoldIsWrongUsage) {
  const ToolFolder folder;
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"convert", "-", "-", "-o", "@out/"},
                                             {"convert", "@note.inkml", "@letter.inkml", "-o", "-"},
                                             {"split", "@letter.inkml", "-o", "-"},
                                             {"open", "--key", "-", "-"}}) {
    EXPECT_EQ(folder.Run(arguments).status, 2) << testing::PrintToString(arguments);
  }
}

TEST(Pipes, ATerminalIsSparedBinaryInk) {
  const ToolFolder folder;
  std::istringstream in(folder.Read("note.inkml"));
  std::ostringstream out, err;
  EXPECT_EQ(RunTool({"convert", "-"}, {in, out, err, true}), 1);
  EXPECT_EQ(out.str(), "");
  EXPECT_THAT(err.str(), HasSubstr("standard output is a terminal; -o names a file"));
}

TEST(Pipes, NamedPipesAreReadAndWritten) {
  const ToolFolder folder;
  ASSERT_EQ(::mkfifo(folder.Path("in").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo(folder.Path("out").c_str(), 0600), 0);
  std::thread writer([&] { folder.Write("in", folder.Read("note.inkml")); });
  std::string read;
  std::thread reader([&] { read = folder.Read("out"); });
  const Outcome outcome = folder.Run({"convert", "@in", "--to", "stf2", "-o", "@out"});
  writer.join();
  reader.join();
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.Run({"convert", "@note.inkml"}).status, 0);
  EXPECT_EQ(read, folder.Read("note.stf2"));
}

TEST(Pipes, TheProgramWorksInAPipeline) {
  const ToolFolder folder;
  const Finished done =
      RunToEnd({"/bin/sh", "-c",
                std::string(STF2_PROGRAM) + " convert -q - < '" + folder.Path("note.inkml") +
                    "' | " + STF2_PROGRAM + " render -q - | head -c 5"});
  EXPECT_EQ(done.output, "<?xml");
  EXPECT_EQ(done.error, "");
}

TEST(Pipes, CompressedInkMLIsReadAndWritten) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "@note.inkml"}).status, 0);
  EXPECT_EQ(folder.Run({"convert", "@note.stf2", "-o", "@again.inkml.gz"}).status, 0);
  EXPECT_TRUE(TalvoInk::LooksGzipped(folder.Read("again.inkml.gz")));
  EXPECT_THAT(folder.Run({"info", "@again.inkml.gz"}).out,
              StartsWith("@again.inkml.gz: gzipped InkML, "));
  EXPECT_EQ(folder.Run({"convert", "@again.inkml.gz"}).status, 0);
  EXPECT_EQ(folder.Read("again.stf2"), folder.Read("note.stf2"));
}

TEST(Pipes, DrawingsAreRead) {
  const ToolFolder folder;
  folder.Write("a.svg", "<svg><path stroke='red' d='M10 10C20 20 30 0 40 40'/></svg>");
  const Outcome outcome = folder.Run({"convert", "--page", "1.2.3.4", "@a.svg"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(PagesOf(ReadStf2(folder.Read("a.stf2"))).at(0), "1.2.3.4");
}

TEST(Pipes, NotebooksAreReadAndWritten) {
  const ToolFolder folder;
  const Outcome written = folder.Run({"convert", "@letter.inkml", "-o", "@letter.xopp"});
  EXPECT_EQ(written.status, 0) << written.err;
  EXPECT_THAT(written.err, HasSubstr("@letter.inkml: lost or assumed: times left out\n"));
  EXPECT_THAT(folder.Run({"info", "@letter.xopp"}).out, StartsWith("@letter.xopp: gzipped xopp, "));
  const Outcome read = folder.Run({"convert", "--pen", "0123-4567-89AB-CDEF", "--page", "1.2.3.4",
                                   "--start-time", "now", "@letter.xopp", "-o", "@again.stf2"});
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(read.err, "@letter.xopp: note: strokes without a time: 117\n");
  EXPECT_EQ(PagesOf(ReadStf2(folder.Read("again.stf2"))).at(1), "1.2.3.5");
  EXPECT_EQ(folder.Run({"convert", "--strict", "@letter.inkml", "-f", "-o", "@letter.xopp"}).status,
            1);
}

TEST(Pipes, ANotebookIsPackedOnce) {
  const ToolFolder folder;
  folder.Run({"convert", "@note.inkml", "-o", "@note.xopp"});
  folder.Run({"convert", "@note.inkml", "-o", "@note.xopp.gz"});
  EXPECT_EQ(folder.Read("note.xopp"), folder.Read("note.xopp.gz"));
}

}  // namespace
}  // namespace InkTool
