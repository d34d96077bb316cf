#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>

#include "Json.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::HasSubstr;

namespace {

class WatchCommand : public testing::Test {
 protected:
  WatchCommand() { fs::create_directory(directory()); }

  fs::path directory() const { return root_.path() / "ink"; }
  std::string path(const std::string& name) const { return (directory() / name).string(); }

  static std::string Ink() { return InkFile().AddStroke("1.2.3.4", 1000).bytes(); }

  Finished WatchOnce(const std::string& more = "--json") const {
    return RunToEnd({QUILLPOST, "watch", "--once", more, directory().string()});
  }

  long StoredFiles() const {
    long count = 0;
    if (!fs::exists(root_.storage())) return count;
    for (const auto& entry : fs::recursive_directory_iterator(root_.storage())) {
      if (entry.path().extension() == ".stf2") ++count;
    }
    return count;
  }

  TestRoot root_;
};

}  // namespace

TEST_F(WatchCommand, TakesWhatIsThereAndWhatAppears) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("first.stf2"), Ink());
  Process watch({QUILLPOST, "watch", directory().string()});
  ASSERT_TRUE(watch.WaitForOutput("Success " + path("first.stf2") + "\n")) << watch.error();
  WriteFile(path("second.stf2"), Ink());
  ASSERT_TRUE(watch.WaitForOutput("Success " + path("second.stf2") + "\n"));
  WriteFile(path("third.part"), Ink());
  fs::rename(path("third.part"), path("third.stf2"));
  ASSERT_TRUE(watch.WaitForOutput("Success " + path("third.stf2") + "\n"));
  for (const char* name : {"first.stf2", "second.stf2", "third.stf2"}) {
    EXPECT_TRUE(fs::exists(directory() / "done" / name)) << name;
    EXPECT_FALSE(fs::exists(path(name))) << name;
  }
  EXPECT_EQ(3, StoredFiles());
}

TEST_F(WatchCommand, TakesAFileWhenItsWriterHasClosedIt) {
  Daemon daemon(QUILLPOSTD);
  const std::string ink = Ink();
  // Not for the program that is started to inherit.
  const int slow = ::open(path("slow.stf2").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(20, ::write(slow, ink.data(), 20));
  Process watch({QUILLPOST, "watch", directory().string()});
  WriteFile(path("quick.stf2"), Ink());
  ASSERT_TRUE(watch.WaitForOutput("quick.stf2\n"));
  EXPECT_EQ("Success " + path("quick.stf2") + "\n", watch.output()) << "not half a file";
  ASSERT_EQ(static_cast<ssize_t>(ink.size() - 20), ::write(slow, &ink[20], ink.size() - 20));
  ::close(slow);
  EXPECT_TRUE(watch.WaitForOutput("Success " + path("slow.stf2") + "\n")) << watch.error();
}

TEST_F(WatchCommand, MovesWhatIsRefusedAsideAndSaysWhy) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("bad.stf2"), "not ink");
  WriteFile(path("good.stf2"), Ink());
  WriteFile(path("refused/bad.stf2"), "an older one");
  const Finished watch = WatchOnce();
  EXPECT_EQ(1, watch.status);
  EXPECT_EQ("quillpost: " + path("bad.stf2") + ": the file is not ink in STF2\n", watch.error);
  EXPECT_EQ("not ink", ReadFile(directory() / "refused/bad-1.stf2"));
  EXPECT_EQ("an older one", ReadFile(directory() / "refused/bad.stf2"));
  EXPECT_TRUE(fs::exists(directory() / "done/good.stf2"));
  const std::string first = watch.output.substr(0, watch.output.find('\n'));
  const Json::Value line = ParseJson(first);
  EXPECT_EQ("Failed", line["status"].asString());
  EXPECT_EQ(path("bad.stf2"), line["file"].asString());
  EXPECT_EQ(path("refused/bad-1.stf2"), line["moved"].asString());
  EXPECT_EQ("the file is not ink in STF2", line["reason"].asString());
}

TEST_F(WatchCommand, LeavesOtherFilesAndFoldersAlone) {
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("letter.txt"), "text");
  WriteFile(path(".hidden.stf2"), Ink());
  WriteFile(path("below/deep.stf2"), Ink());
  ASSERT_EQ(0, ::mkfifo(path("fifo.stf2").c_str(), 0600));
  const Finished watch = WatchOnce();
  EXPECT_EQ(0, watch.status);
  EXPECT_EQ("", watch.output + watch.error);
  for (const char* name : {"letter.txt", ".hidden.stf2", "below/deep.stf2", "fifo.stf2"}) {
    EXPECT_TRUE(fs::exists(path(name))) << name;
  }
}

TEST_F(WatchCommand, ConvertsOnTheWay) {
  Daemon daemon(QUILLPOSTD);
  fs::copy_file(SAMPLES "/note.inkml", path("note.inkml"));
  WriteFile(path("broken.inkml"), "not ink");
  const Finished watch = WatchOnce();
  EXPECT_EQ(1, watch.status);
  EXPECT_THAT(watch.error, testing::StartsWith("quillpost: " + path("broken.inkml") +
                                               ": it can't be converted: "));
  EXPECT_TRUE(fs::exists(directory() / "done/note.inkml"));
  EXPECT_EQ(1, StoredFiles());
}

TEST_F(WatchCommand, WithoutAServiceInkStaysWhereItIs) {
  WriteFile(path("first.stf2"), Ink());
  const Finished watch = WatchOnce();
  EXPECT_EQ(3, watch.status);
  EXPECT_TRUE(fs::exists(path("first.stf2")));
}

TEST_F(WatchCommand, WaitsForTheService) {
  WriteFile(path("first.stf2"), Ink());
  Process watch({QUILLPOST, "watch", directory().string()});
  {
    Daemon daemon(QUILLPOSTD);
    ASSERT_TRUE(watch.WaitForOutput("first.stf2\n"));
    EXPECT_EQ(0, daemon.Stop());
  }
  WriteFile(path("second.stf2"), Ink());
  Daemon daemon(QUILLPOSTD);
  EXPECT_TRUE(watch.WaitForOutput("Success " + path("second.stf2") + "\n"));
}

TEST_F(WatchCommand, EndsWhenItsDirectoryGoes) {
  Process watch({QUILLPOST, "watch", directory().string()});
  // It watches when it has taken a file, and needs no service to see the directory go.
  Daemon daemon(QUILLPOSTD);
  WriteFile(path("first.stf2"), Ink());
  ASSERT_TRUE(watch.WaitForOutput("first.stf2\n"));
  ASSERT_TRUE(Eventually([this] { return fs::exists(directory() / "done/first.stf2"); }));
  fs::remove_all(directory());
  EXPECT_EQ(1, watch.Wait());
  EXPECT_EQ("quillpost: " + directory().string() + ": the directory has gone\n",
            watch.error().substr(watch.error().rfind("quillpost: ")));
}

TEST_F(WatchCommand, ADirectoryThatIsNotThereIsAComplaint) {
  const Finished watch = RunToEnd({QUILLPOST, "watch", path("missing")});
  EXPECT_EQ(1, watch.status);
  EXPECT_EQ("quillpost: " + path("missing") + ": No such file or directory\n", watch.error);
}
