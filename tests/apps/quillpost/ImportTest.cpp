#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <iterator>

#include "InkFileCheck.h"
#include "Json.h"
#include "StandInService.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/Machine.h"
#include "support/Process.h"
#include "support/Terminal.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class Import : public testing::Test {
 protected:
  Import() {
    WriteFile(path("page.stf2"), InkFile().AddStroke("1.2.3.4", 1000).bytes());
    WriteFile(path("other page.stf2"), InkFile().AddStroke("1.2.3.5", 2000).bytes());
  }

  std::string path(const std::string& name) const { return (root_.path() / name).string(); }

  // The number of strokes that are filed under a page.
  long StrokesOn(const std::string& page) const {
    const fs::path directory = root_.storage() / kTestPenSerial / page;
    if (!fs::exists(directory)) return 0;
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
  }

  // Imports both pages with standard error on a terminal.
  Finished ImportWithErrorsOn(const Terminal& terminal, const std::string& type = "xterm") const {
    return RunToEnd({"/bin/sh", "-c",
                     std::string("exec '") + QUILLPOST + "' import '" + path("page.stf2") + "' '" +
                         path("other page.stf2") + "' 2>" + terminal.name()},
                    {{"TERM", type}});
  }

  TestRoot root_;
};

}  // namespace

TEST_F(Import, PrintsOneLineAFileAndFilesTheInk) {
  Daemon daemon(QUILLPOSTD);
  const Finished import =
      RunToEnd({QUILLPOST, "import", path("page.stf2"), path("other page.stf2")});
  EXPECT_EQ(0, import.status);
  EXPECT_EQ("Success " + path("page.stf2") + "\nSuccess " + path("other page.stf2") + "\n",
            import.output);
  EXPECT_THAT(import.error, IsEmpty()) << "no progress without a terminal";
  EXPECT_EQ(1, StrokesOn("1.2.3.4"));
  EXPECT_EQ(1, StrokesOn("1.2.3.5"));
}

TEST_F(Import, ARelativePathStartsAtTheDirectoryOfTheCaller) {
  Daemon daemon(QUILLPOSTD);
  const Finished import =
      RunToEnd({"/bin/sh", "-c",
                "cd '" + root_.path().string() + "' && exec '" QUILLPOST "' import page.stf2"});
  EXPECT_EQ(0, import.status) << import.error;
  EXPECT_EQ("Success page.stf2\n", import.output);
  EXPECT_EQ(1, StrokesOn("1.2.3.4"));
}

TEST_F(Import, SaysWhyAFileFailedAndGoesOnWithTheNext) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("empty.stf2"), "");
  WriteFile(path("text.stf2"), "not ink");
  const Finished import = RunToEnd({QUILLPOST, "import", path("missing.stf2"), path("empty.stf2"),
                                    path("text.stf2"), root_.path().string(), path("page.stf2")});
  EXPECT_EQ(1, import.status);
  EXPECT_EQ("Failed " + path("missing.stf2") + "\nFailed " + path("empty.stf2") + "\nFailed " +
                path("text.stf2") + "\nFailed " + root_.path().string() + "\nSuccess " +
                path("page.stf2") + "\n",
            import.output);
  EXPECT_EQ("quillpost: " + path("missing.stf2") + ": No such file or directory\nquillpost: " +
                path("empty.stf2") + ": the file is empty\nquillpost: " + path("text.stf2") +
                ": the file is not ink in STF2\nquillpost: " + root_.path().string() +
                ": not a regular file\n",
            import.error);
}

TEST_F(Import, PrintsJson) {
  Daemon daemon(QUILLPOSTD);
  const Finished import =
      RunToEnd({QUILLPOST, "import", "--json", path("page.stf2"), path("missing.stf2")});
  EXPECT_EQ(1, import.status);
  const Json::Value document = ParseJson(import.output);
  EXPECT_EQ(1, document["imported"].asInt());
  EXPECT_EQ(1, document["failed"].asInt());
  EXPECT_EQ(path("page.stf2"), document["files"][0]["path"].asString());
  EXPECT_EQ("Success", document["files"][0]["status"].asString());
  EXPECT_EQ("Failed", document["files"][1]["status"].asString());
  EXPECT_EQ("No such file or directory", document["files"][1]["reason"].asString());
}

TEST_F(Import, ShowsItsProgressOnATerminalAndWipesItAway) {
  Daemon daemon(QUILLPOSTD);
  Terminal terminal;
  const Finished import = ImportWithErrorsOn(terminal);
  EXPECT_EQ(0, import.status);
  const std::string& shown = terminal.Shown();
  EXPECT_THAT(shown, HasSubstr("]  0/2 files  0%"));
  EXPECT_THAT(shown, HasSubstr("]  1/2 files  50%  "));
  EXPECT_THAT(shown, HasSubstr(" left"));
  EXPECT_THAT(shown, testing::EndsWith("\r\033[K"));
  EXPECT_EQ("Success " + path("page.stf2") + "\nSuccess " + path("other page.stf2") + "\n",
            import.output);
}

TEST_F(Import, AProgressLineFitsANarrowTerminal) {
  Daemon daemon(QUILLPOSTD);
  Terminal terminal(20);
  EXPECT_EQ(0, ImportWithErrorsOn(terminal).status);
  EXPECT_THAT(terminal.Shown(), HasSubstr("\r\033[K0/2 files  0%\r"));
  EXPECT_THAT(terminal.Shown(), Not(HasSubstr("[#")));
}

TEST_F(Import, ADumbTerminalGetsNoProgress) {
  Daemon daemon(QUILLPOSTD);
  for (const char* type : {"dumb", ""}) {
    Terminal terminal;
    EXPECT_EQ(0, ImportWithErrorsOn(terminal, type).status);
    EXPECT_EQ("", terminal.Shown());
  }
}

// The service ended after the first of four files: three hundred "Failed" lines once stood here.
TEST_F(Import, TheEndOfTheServiceIsExit3AndNamesWhatWasNotSent) {
  StandInService service;
  Process import({QUILLPOST, "import", "one", "two", "three", "four"});
  service.Answer(service.TakeRequest(), "Success");
  service.TakeRequest();
  service.Vanish();
  EXPECT_EQ(3, import.Wait());
  EXPECT_EQ("Success one\nUnanswered two\nUnsent three\nUnsent four\n", import.output());
  EXPECT_THAT(import.error(),
              HasSubstr("quillpost: two: no answer; a part of it may have been imported\n"
                        "quillpost: 2 files not sent\n"));
}

TEST_F(Import, TheEndOfTheServiceInJson) {
  StandInService service;
  Process import({QUILLPOST, "import", "--json", "one", "two"});
  service.TakeRequest();
  service.Vanish();
  EXPECT_EQ(3, import.Wait());
  const Json::Value document = ParseJson(import.output());
  EXPECT_EQ("Unanswered", document["files"][0]["status"].asString());
  EXPECT_EQ("Unsent", document["files"][1]["status"].asString());
  EXPECT_EQ(0, document["imported"].asInt());
  EXPECT_EQ(0, document["failed"].asInt());
  EXPECT_EQ(1, document["unanswered"].asInt());
  EXPECT_EQ(1, document["unsent"].asInt());
}

TEST_F(Import, WithoutAServiceNothingIsSent) {
  const Finished import = RunToEnd({QUILLPOST, "import", path("page.stf2")});
  EXPECT_EQ(3, import.status);
  EXPECT_EQ("Unsent " + path("page.stf2") + "\n", import.output);
  EXPECT_THAT(import.error, testing::EndsWith("; start it with quillpostd\n"
                                              "quillpost: 1 file not sent\n"));
}

TEST_F(Import, WaitsForAServiceThatStartsLater) {
  Process import({QUILLPOST, "import", "--wait", "3600", path("page.stf2")});
  Daemon daemon(QUILLPOSTD);
  EXPECT_EQ(0, import.Wait());
  EXPECT_EQ("Success " + path("page.stf2") + "\n", import.output());
  EXPECT_EQ("", import.error());
}

TEST_F(Import, GoesOnWithTheNextServiceIfItIsToWait) {
  StandInService service;
  Process import({QUILLPOST, "import", "--wait", "3600", "one", path("page.stf2")});
  service.Answer(service.TakeRequest(), "Success");
  service.TakeRequest();
  service.Vanish();
  Daemon daemon(QUILLPOSTD);
  EXPECT_EQ(0, import.Wait());
  EXPECT_EQ("Success one\nSuccess " + path("page.stf2") + "\n", import.output());
  EXPECT_EQ(1, StrokesOn("1.2.3.4")) << "the file without an answer has been sent again";
}

TEST_F(Import, WaitsNoLongerThanItIsTold) {
  const Finished import = RunToEnd({QUILLPOST, "import", "--wait", "0.01", path("page.stf2")});
  EXPECT_EQ(3, import.status);
  EXPECT_THAT(import.error, HasSubstr("; start it with quillpostd\n"));
}

TEST_F(Import, SaysWhyInkIsRefused) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("letter.inkml"), "<?xml version=\"1.0\"?>\n<ink xmlns=\"x\"/>\n");
  WriteFile(path("notes.xopp"), "\x1F\x8B, compressed");
  WriteFile(path("untimed.stf2"), InkFile().AddStroke("1.2.3.4", 0).bytes());
  WriteFile(path("pageless.stf2"), InkFile().AddStroke(nullptr, 1000).bytes());
  WriteFile(path("cut.stf2"), InkFile().AddStroke("1.2.3.4", 1000).bytes().substr(0, 40));
  WriteFile(path("envelope.stf2"), Seal(InkFile().AddStroke("1.2.3.4", 1).bytes()).substr(0, 40));
  WriteFile(path("\xFF.stf2"), InkFile().AddStroke("1.2.3.4", 1000).bytes());
  const std::vector<std::pair<std::string, std::string>> reasons = {
      {"letter.inkml", "the file is InkML and not STF2; --convert imports it"},
      {"notes.xopp", "the file is .xopp and not STF2; --convert imports it"},
      {"untimed.stf2", "the strokes of page 1.2.3.4 have no times"},
      {"pageless.stf2", "it has strokes that name no page"},
      {"cut.stf2", "the file is damaged: it begins as STF2 ink and does not go on as such"},
      {"envelope.stf2", "the file is damaged: the envelope of its sealed ink is not whole"},
      {"\xFF.stf2", "its path is not UTF-8, and can't be sent"}};
  for (const auto& [file, reason] : reasons) {
    const Finished import = RunToEnd({QUILLPOST, "import", path(file)});
    EXPECT_EQ(1, import.status) << file;
    EXPECT_EQ("quillpost: " + path(file) + ": " + reason + "\n", import.error);
  }
}

TEST_F(Import, AFileOfMoreThanTheLimitIsTooLarge) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("large.stf2"), "x");
  fs::resize_file(path("large.stf2"), (100 << 20) + 1);
  const Finished import = RunToEnd({QUILLPOST, "import", path("large.stf2")});
  EXPECT_EQ("quillpost: " + path("large.stf2") + ": the file is larger than 100 MiB\n",
            import.error);
}

TEST_F(Import, AFileThatMayNotBeReadIsToldSo) {
  ::chmod(root_.path().c_str(), 0755);
  const std::string readable = path("page.stf2"), secret = path("secret.stf2");
  fs::copy_file(readable, secret);
  ASSERT_EQ(0, ::chmod(secret.c_str(), 0));
  const PlainUser user;
  EXPECT_NE("", CheckInkFile(readable).pen);
  EXPECT_EQ("Permission denied", CheckInkFile(secret).fault);
}

// A refusal that can't be seen from here: the service's disk is full, or its log knows.
TEST_F(Import, NamesTheJournalIfNothingIsWrongWithTheFile) {
  StandInService service;
  Process import({QUILLPOST, "import", path("page.stf2")});
  service.Answer(service.TakeRequest(), "Failed");
  EXPECT_EQ(1, import.Wait());
  EXPECT_EQ("quillpost: " + path("page.stf2") +
                ": the service refused it; 'journalctl --user -u quillpostd' says why\n",
            import.error());
}

// A socket took the number of the closed descriptor, and the results went to the service.
TEST_F(Import, AClosedStandardOutputIsNotTakenForAConnection) {
  Daemon daemon(QUILLPOSTD);
  const Finished import =
      RunToEnd({"/bin/sh", "-c",
                std::string("exec '") + QUILLPOST + "' import '" + path("page.stf2") + "' '" +
                    path("other page.stf2") + "' >&-"});
  EXPECT_EQ(1, import.status);
  EXPECT_EQ("quillpost: can't write to standard output\n", import.error);
  EXPECT_EQ(1, StrokesOn("1.2.3.4"));
  EXPECT_EQ(1, StrokesOn("1.2.3.5"));
}

TEST_F(Import, ADryRunTellsPagesAndApplicationsAndImportsNothing) {
  root_.Subscribe("Notes", "1.2.3.4");
  root_.Subscribe("Archive", "1.2.*.*");
  root_.Subscribe("Vault", "encrypted-stf2");
  WriteFile(path("two.stf2"), InkFile()
                                  .AddStroke("1.2.3.4", 1000)
                                  .AddStroke("1.2.3.4", 2000)
                                  .AddStroke("7.7.7.7", 3000)
                                  .bytes());
  WriteFile(path("sealed.stf2"), Seal(InkFile().AddStroke("1.2.3.4", 1000).bytes()));
  WriteFile(path("text.stf2"), "not ink");
  const Finished run = RunToEnd(
      {QUILLPOST, "import", "--dry-run", path("two.stf2"), path("sealed.stf2"), path("text.stf2")});
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("Valid " + path("two.stf2") +
                ": pen 0123-4567-89AB-CDEF\n"
                "  page 1.2.3.4: 2 strokes, for Archive, Notes\n"
                "  page 7.7.7.7: 1 stroke, for no application\n"
                "Valid " +
                path("sealed.stf2") +
                ": pen 0123-4567-89AB-CDEF\n"
                "  page encrypted-stf2: sealed ink, for Vault\n"
                "Invalid " +
                path("text.stf2") + "\n",
            run.output);
  EXPECT_EQ("quillpost: " + path("text.stf2") + ": the file is not ink in STF2\n", run.error);
  EXPECT_FALSE(fs::exists(root_.home()));
}

TEST_F(Import, ADryRunInJson) {
  root_.Subscribe("Notes", "1.2.3.4");
  const Json::Value document = ParseJson(
      RunToEnd({QUILLPOST, "import", "--dry-run", "--json", path("page.stf2"), "/nonexistent"})
          .output);
  const Json::Value& good = document["files"][0];
  EXPECT_EQ("Valid", good["status"].asString());
  EXPECT_EQ(kTestPenSerial, good["pen"].asString());
  EXPECT_FALSE(good["sealed"].asBool());
  EXPECT_EQ("1.2.3.4", good["pages"][0]["page"].asString());
  EXPECT_EQ(1, good["pages"][0]["strokes"].asInt());
  EXPECT_EQ("Notes", good["pages"][0]["applications"][0].asString());
  EXPECT_EQ("Invalid", document["files"][1]["status"].asString());
  EXPECT_EQ("No such file or directory", document["files"][1]["reason"].asString());
}

TEST_F(Import, ConvertsInkMLIfAsked) {
  Daemon daemon(QUILLPOSTD);
  const std::string inkml = SAMPLES "/note.inkml";
  const Finished import = RunToEnd({QUILLPOST, "import", "--convert", inkml, path("page.stf2")});
  EXPECT_EQ(0, import.status) << import.error;
  EXPECT_EQ("Success " + inkml + "\nSuccess " + path("page.stf2") + "\n", import.output);
  EXPECT_EQ(1, StrokesOn("1.2.7.1"));
  EXPECT_EQ(1, StrokesOn("1.2.3.4"));
  const Finished other =
      RunToEnd({QUILLPOST, "import", "--convert", "--page", "5.5.5.5", "--dry-run", inkml});
  EXPECT_THAT(other.output, HasSubstr("  page 5.5.5.5: 39 strokes, for no application\n"));
  EXPECT_EQ(1, StrokesOn("1.2.7.1"));
  EXPECT_EQ(2, RunToEnd({QUILLPOST, "import", "--page", "5.5.5.5", inkml}).status);
}

TEST_F(Import, SaysWhyAFileCannotBeConverted) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("broken.inkml"), "not ink");
  const Finished import = RunToEnd({QUILLPOST, "import", "--convert", path("broken.inkml")});
  EXPECT_EQ(1, import.status);
  EXPECT_EQ("quillpost: " + path("broken.inkml") +
                ": it can't be converted: neither STF2, InkML, .xopp nor SVG\n",
            import.error);
}
