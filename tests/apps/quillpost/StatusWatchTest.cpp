#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <boost/filesystem.hpp>
#include <sstream>

#include "Json.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/Process.h"
#include "support/Terminal.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

class StatusWatch : public testing::Test {
 protected:
  void Import(const std::string& page) {
    const std::string file = (root_.path() / "ink.stf2").string();
    WriteFile(file, InkFile().AddStroke(page.c_str(), 1000).bytes());
    ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", file}).status);
  }

  static void Listen() {
    ASSERT_EQ(0, RunToEnd({QUILLPOST, "listen", "Notes", "--count", "1"}).status);
  }

  TestRoot root_;
};

const char kFile[] = "\"file\":\"0123-4567-89AB-CDEF/1.2.3.4/1000_1000.stf2\"";

}  // namespace

TEST_F(StatusWatch, TellsInAPipeWhatHappensAsJsonLines) {
  root_.Subscribe("Notes", "1.2.3.*");
  Daemon daemon(QUILLPOSTD);
  Process watch({QUILLPOST, "status", "--watch"});
  ASSERT_TRUE(watch.WaitForOutput("{\"application\":\"Notes\",\"event\":\"waiting\",\"files\":0,"));
  EXPECT_THAT(watch.output(), HasSubstr("{\"event\":\"service\",")) << "and it is up:";
  EXPECT_THAT(watch.output(), HasSubstr("\"up\":true}\n"));
  Import("1.2.3.4");
  ASSERT_TRUE(watch.WaitForOutput("{\"event\":\"arrived\",")) << watch.output();
  ASSERT_TRUE(watch.WaitForOutput(
      "{\"application\":\"Notes\",\"event\":\"waiting\",\"files\":1,\"since\":"));
  EXPECT_THAT(watch.output(), HasSubstr(kFile));
  Import("9.9.9.9");
  ASSERT_TRUE(watch.WaitForOutput("{\"event\":\"unclaimed\",\"files\":1,\"since\":"));
  Listen();
  ASSERT_TRUE(watch.WaitForOutput("{\"application\":\"Notes\",\"event\":\"confirmed\"," +
                                  std::string(kFile)));
  ASSERT_TRUE(watch.WaitForOutput("{\"event\":\"left\"," + std::string(kFile)));
  watch.Signal(SIGINT);
  EXPECT_EQ(0, watch.Wait());
  EXPECT_EQ("", watch.error());
  std::istringstream lines(watch.output());
  for (std::string line; std::getline(lines, line);) {
    EXPECT_FALSE(ParseJson(line)["time"].asString().empty());
  }
}

// The directories come after the watch.
TEST_F(StatusWatch, SeesAServiceAndAStoreThatAreNotThereYet) {
  Process watch({QUILLPOST, "status", "--watch"});
  ASSERT_TRUE(watch.WaitForOutput("\"up\":false}\n"));
  root_.Subscribe("Notes", "1.2.3.*");
  ASSERT_TRUE(watch.WaitForOutput("{\"application\":\"Notes\",\"event\":\"waiting\","));
  Daemon daemon(QUILLPOSTD);
  ASSERT_TRUE(watch.WaitForOutput("\"up\":true}\n"));
  Import("1.2.3.4");
  EXPECT_TRUE(watch.WaitForOutput(kFile));
  EXPECT_EQ(0, daemon.Stop());
  watch.Signal(SIGTERM);
  EXPECT_EQ(0, watch.Wait());
}

// Ink that comes and is confirmed immediately.
TEST_F(StatusWatch, MissesNothingThatIsTakenImmediately) {
  root_.Subscribe("Notes", "1.2.3.*");
  Process daemon({QUILLPOSTD, "--log-file", (root_.path() / "log").string()});
  Process watch({QUILLPOST, "status", "--watch"});
  ASSERT_TRUE(watch.WaitForOutput("\"waiting\""));
  InkFile ink;
  for (int page = 0; page < 40; ++page) ink.AddStroke(("1.2.3." + std::to_string(page)).c_str(), 1);
  WriteFile(root_.path() / "ink.stf2", ink.bytes());
  ASSERT_EQ(0,
            RunToEnd({QUILLPOST, "import", "--wait", "3600", (root_.path() / "ink.stf2").string()})
                .status);
  ASSERT_EQ(0, RunToEnd({QUILLPOST, "listen", "Notes", "--count", "40"}).status);
  for (int page = 0; page < 40; ++page) {
    EXPECT_TRUE(watch.WaitForOutput("{\"event\":\"left\",\"file\":\"0123-4567-89AB-CDEF/1.2.3." +
                                    std::to_string(page) + "/"))
        << page;
  }
}

TEST_F(StatusWatch, DrawsAPictureOnATerminalUntilQ) {
  root_.Subscribe("Notes", "1.2.3.*");
  Daemon daemon(QUILLPOSTD);
  Terminal terminal(60);
  Process watch({"/bin/sh", "-c",
                 std::string("exec '") + QUILLPOST + "' status --watch <" + terminal.name() + " >" +
                     terminal.name()},
                {{"TERM", "xterm"}});
  ASSERT_TRUE(terminal.WaitFor("service  up"));
  Import("1.2.3.4");
  ASSERT_TRUE(terminal.WaitFor("arrived"));
  ASSERT_TRUE(terminal.WaitFor("Notes                           1  20"));
  Listen();
  ASSERT_TRUE(terminal.WaitFor("confirmed"));
  ASSERT_TRUE(terminal.WaitFor("left"));
  terminal.Type("xq");
  EXPECT_EQ(0, watch.Wait());
  EXPECT_THAT(terminal.Shown(), EndsWith("\033[?25h\033[?1049l")) << "as it was before";
}

TEST_F(StatusWatch, PutsTheTerminalBackAfterCtrlC) {
  Terminal terminal;
  Process watch({"/bin/sh", "-c",
                 std::string("exec '") + QUILLPOST + "' status --watch <" + terminal.name() + " >" +
                     terminal.name()},
                {{"TERM", "xterm"}});
  ASSERT_TRUE(terminal.WaitFor("service  not up"));
  EXPECT_FALSE(terminal.Echoes());
  watch.Signal(SIGINT);
  EXPECT_EQ(0, watch.Wait());
  EXPECT_TRUE(terminal.Echoes());
}

TEST_F(StatusWatch, EndsQuietlyWithItsReader) {
  const Finished watch =
      RunToEnd({"/bin/sh", "-c", std::string("'") + QUILLPOST + "' status --watch | head -1"});
  EXPECT_EQ(0, watch.status);
  EXPECT_EQ("", watch.error);
}
