#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <iterator>
#include <stdexcept>

#include "Json.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

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

  TestRoot root_;
};

// A terminal, as seen from the other side.
class Terminal {
 public:
  Terminal() : fd_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (fd_ < 0 || ::grantpt(fd_) != 0 || ::unlockpt(fd_) != 0) {
      throw std::runtime_error("there are no terminals here");
    }
    // Held open, so that what was shown is not lost when the program ends.
    other_side_ = ::open(name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~Terminal() {
    ::close(other_side_);
    ::close(fd_);
  }

  std::string name() const { return ::ptsname(fd_); }

  std::string Shown() const {
    std::string text;
    pollfd readable = {fd_, POLLIN, 0};
    char buffer[4096];
    while (::poll(&readable, 1, 0) > 0) {
      const ssize_t n = ::read(fd_, buffer, sizeof buffer);
      if (n <= 0) break;
      text.append(buffer, static_cast<std::size_t>(n));
    }
    return text;
  }

 private:
  int fd_;
  int other_side_;
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
                ": the service refused it; its log says why\nquillpost: " + root_.path().string() +
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
  const Finished import =
      RunToEnd({"/bin/sh", "-c",
                std::string("exec '") + QUILLPOST + "' import '" + path("page.stf2") + "' '" +
                    path("other page.stf2") + "' 2>" + terminal.name()});
  EXPECT_EQ(0, import.status);
  const std::string shown = terminal.Shown();
  EXPECT_THAT(shown, HasSubstr("]  0/2 files  0%"));
  EXPECT_THAT(shown, HasSubstr("]  1/2 files  50%  "));
  EXPECT_THAT(shown, HasSubstr(" left"));
  EXPECT_THAT(shown, testing::EndsWith("\r\033[K"));
  EXPECT_EQ("Success " + path("page.stf2") + "\nSuccess " + path("other page.stf2") + "\n",
            import.output);
}
