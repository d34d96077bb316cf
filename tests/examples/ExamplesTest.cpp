// The example clients against a real service: ink goes in by one of them and comes out by another.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <memory>
#include <string>
#include <vector>

#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace {

namespace fs = boost::filesystem;
using testing::HasSubstr;
using testing::Not;

typedef std::vector<std::string> Command;

const Command kPython = {"python3", EXAMPLES "/ink_client.py"};
const Command kJavaScript = {"node", EXAMPLES "/ink_client.js"};

class Examples : public testing::Test {
 protected:
  Examples() {
    fs::create_directory(directory());
    root_.Subscribe("Notebook", "*.*.*.*");
  }

  fs::path directory() const { return root_.path() / "work"; }
  std::string ink() const { return (root_.path() / "letter.stf2").string(); }

  void StartService() { daemon_ = std::make_unique<Daemon>(QUILLPOSTD, Command()); }

  // Runs an example in the working directory.
  Finished Run(Command command, const Command& arguments) const {
    command.insert(command.end(), arguments.begin(), arguments.end());
    command.insert(command.begin(), {"/usr/bin/env", "-C", directory().string()});
    return RunToEnd(command);
  }

  void Import(const Command& client) {
    WriteFile(ink(), InkFile().AddStroke("1.2.3.4", 1000).AddStroke("1.2.3.5", 2000).bytes());
    const Finished import = Run(client, {"import", ink()});
    EXPECT_EQ(import.output, "Success " + ink() + "\n") << import.error;
    EXPECT_EQ(import.status, 0);
  }

  // Takes the two packages of the letter; afterwards the store has nothing left.
  void Listen(const Command& client) {
    const Finished listen = Run(client, {"listen", "Notebook", "2"});
    EXPECT_EQ(listen.status, 0) << listen.error;
    EXPECT_THAT(listen.output, HasSubstr("pen 0123-4567-89AB-CDEF, pages 1.2.3.4: "));
    EXPECT_THAT(listen.output, HasSubstr("pen 0123-4567-89AB-CDEF, pages 1.2.3.5: "));
    std::vector<StrokeInInk> strokes;
    for (const auto& file : fs::directory_iterator(directory()))
      for (const StrokeInInk& stroke : StrokesOf(ReadFile(file.path()))) strokes.push_back(stroke);
    EXPECT_THAT(strokes, testing::UnorderedElementsAre(StrokeInInk{"1.2.3.4", 1000},
                                                       StrokeInInk{"1.2.3.5", 2000}));
    ExpectNoInkLeft();
  }

  // The service has carried out the confirmation when it has ended, at the latest.
  void ExpectNoInkLeft() {
    EXPECT_EQ(0, daemon_->Stop());
    daemon_.reset();
    std::vector<fs::path> left;
    for (const auto& entry : fs::recursive_directory_iterator(root_.storage()))
      left.push_back(entry.path());
    EXPECT_EQ(left, std::vector<fs::path>());
  }

  TestRoot root_;
  std::unique_ptr<Daemon> daemon_;
};

TEST_F(Examples, InPythonImportAndListen) {
  StartService();
  Import(kPython);
  Listen(kPython);
}

TEST_F(Examples, InJavaScriptImportAndListen) {
  StartService();
  Import(kJavaScript);
  Listen(kJavaScript);
}

// The service ends while they listen, and another starts.
TEST_F(Examples, GoOnWithTheNextService) {
  for (const Command& client : {kPython, kJavaScript}) {
    StartService();
    Command listen = {"/usr/bin/env", "-C", directory().string()};
    listen.insert(listen.end(), client.begin(), client.end());
    listen.insert(listen.end(), {"listen", "Notebook", "2"});
    Process listener(listen);
    ASSERT_TRUE(daemon_->WaitForLog("I Quillpost: Client 'Notebook' connected."));
    daemon_.reset();
    ASSERT_TRUE(listener.WaitForError("; trying again\n")) << listener.error();
    StartService();
    Import(client);
    EXPECT_EQ(0, listener.Wait()) << listener.error();
    EXPECT_THAT(listener.output(), HasSubstr("pages 1.2.3.5: "));
    EXPECT_THAT(listener.error(), Not(HasSubstr("Traceback")));
    ExpectNoInkLeft();
  }
}

TEST_F(Examples, KeepCopiesUnderTheNameOfInk) {
  StartService();
  for (const Command& client : {kPython, kJavaScript}) {
    Import(client);
    ASSERT_EQ(0, Run(client, {"listen", "Notebook", "2"}).status);
  }
  std::vector<std::string> names;
  for (const auto& file : fs::directory_iterator(directory())) {
    names.push_back(file.path().filename().string());
  }
  EXPECT_THAT(names, testing::UnorderedElementsAre("0123-4567-89AB-CDEF_1.2.3.4.stf2",
                                                   "0123-4567-89AB-CDEF_1.2.3.5.stf2",
                                                   "0123-4567-89AB-CDEF_1.2.3.4-1.stf2",
                                                   "0123-4567-89AB-CDEF_1.2.3.5-1.stf2"));
}

TEST_F(Examples, EndWithOneLineAndNoTraceback) {
  for (const Command& client : {kPython, kJavaScript}) {
    for (const Command& arguments : {Command{"listen", "Notebook"}, Command{"import", ink()}}) {
      const Finished without_service = Run(client, arguments);
      EXPECT_NE(0, without_service.status);
      EXPECT_EQ(1, std::count(without_service.error.begin(), without_service.error.end(), '\n'))
          << without_service.error;
    }
  }
  StartService();
  Command listen = {"/usr/bin/env", "-C", directory().string()};
  listen.insert(listen.end(), kPython.begin(), kPython.end());
  listen.insert(listen.end(), {"listen", "Notebook"});
  Process listener(listen);
  ASSERT_TRUE(daemon_->WaitForLog("I Quillpost: Client 'Notebook' connected."));
  listener.Signal(SIGINT);
  EXPECT_EQ(130, listener.Wait());
  EXPECT_EQ("", listener.error());
}

TEST_F(Examples, InCppReadTheStrokes) {
  StartService();
  Import(kPython);
  Process listener({INK_LISTENER, "Notebook"});
  const std::string package =
      "ink of pen 0123-4567-89AB-CDEF\n  stroke of 4 samples, from x = 20000 um\n";
  EXPECT_TRUE(listener.WaitForOutput(package + package)) << listener.output();
  EXPECT_TRUE(Eventually([&] { return fs::is_empty(root_.storage()); }));
  daemon_.reset();
  EXPECT_EQ(listener.Wait(), 0);
}

TEST_F(Examples, InCppTakeSealedInkWithoutReadingIt) {
  root_.Subscribe("Notebook", "encrypted-stf2");
  StartService();
  WriteFile(ink(), Seal(InkFile().AddStroke("1.2.3.4", 1000).bytes()));
  ASSERT_EQ(Run(kPython, {"import", ink()}).status, 0);
  Process listener({INK_LISTENER, "Notebook"});
  EXPECT_TRUE(listener.WaitForOutput("ink of pen 0123-4567-89AB-CDEF\n"));
  // The next package of that pen shows that this one has been confirmed.
  ASSERT_EQ(Run(kPython, {"import", ink()}).status, 0);
  EXPECT_TRUE(
      listener.WaitForOutput("ink of pen 0123-4567-89AB-CDEF\nink of pen 0123-4567-89AB-CDEF\n"));
}

// A program with a loop of its own hosts the service.
TEST_F(Examples, InCppHostTheService) {
  Process host({INK_HOST});
  ASSERT_TRUE(host.WaitForOutput("serving\n")) << host.error();
  Import(kPython);
  const Finished listen = Run(kPython, {"listen", "Notebook", "2"});
  EXPECT_EQ(0, listen.status) << listen.error;
  host.Signal(SIGTERM);
  EXPECT_EQ(0, host.Wait());
  EXPECT_THAT(host.output(), testing::ContainsRegex("ended after [0-9]+ ticks\n$"));
}

TEST_F(Examples, InCppTheHostSaysThatAnotherServiceIsThere) {
  StartService();
  const Finished host = Run({INK_HOST}, {});
  EXPECT_EQ(1, host.status);
  EXPECT_THAT(host.output, HasSubstr("log: Failed to start IPC Server.\n"));
  EXPECT_THAT(host.output, HasSubstr("the service did not start\n"));
}

TEST_F(Examples, SayWhyAnImportFailed) {
  StartService();
  for (const Command& client : {kPython, kJavaScript}) {
    const Finished import = Run(client, {"import", "/nonexistent.stf2"});
    EXPECT_EQ(import.output, "Failed /nonexistent.stf2\n");
    EXPECT_EQ(import.status, 1);
  }
}

TEST_F(Examples, SayThatAnApplicationHasNoSubscription) {
  StartService();
  for (const Command& client : {kPython, kJavaScript})
    EXPECT_THAT(Run(client, {"listen", "Nobody"}).error, HasSubstr("Nobody: NotRegistered"));
  EXPECT_EQ(Run({INK_LISTENER}, {"Nobody"}).error, "NotRegistered\n");
}

TEST_F(Examples, FailWithoutService) {
  for (const Command& client : {kPython, kJavaScript})
    EXPECT_NE(Run(client, {"listen", "Notebook"}).status, 0);
  EXPECT_EQ(Run({INK_LISTENER}, {"Notebook"}).status, 3);
}

TEST_F(Examples, AreShort) {
  for (const auto& [name, limit] : {std::pair<const char*, int>{"ink_client.py", 120},
                                    {"ink_client.js", 130},
                                    {"ink_listener.cpp", 60},
                                    {"ink_host.cpp", 135}}) {
    const std::string text = ReadFile(fs::path(EXAMPLES) / name);
    EXPECT_LT(std::count(text.begin(), text.end(), '\n'), limit) << name;
    EXPECT_FALSE(text.empty());
  }
}

}  // namespace
