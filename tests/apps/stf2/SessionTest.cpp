#include "Session.h"

#include <gmock/gmock.h>

#include <new>
#include <sstream>

#include "Refusal.h"
#include "ToolRun.h"
#include "ink/Stf2File.h"

namespace InkTool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class SessionTest : public testing::Test {
 protected:
  // The refusal of what `work` does.
  template <typename Work>
  std::string RefusalOf(const Work& work) {
    try {
      work();
      return "none";
    } catch (const Refusal& refusal) {
      return refusal.what();
    }
  }

  Session Make() { return Session(options_, {in_, out_, err_}); }

  const ToolFolder folder_;
  Options options_;
  std::istringstream in_{"what comes in"};
  std::ostringstream out_, err_;
};

TEST_F(SessionTest, SuccessIsALineAndFailureAStatus) {
  Session session = Make();
  session.Attempt("a.stf2", [] { return "2 pages"; });
  session.Attempt("b.stf2", [] { return ""; });
  EXPECT_EQ(session.status(), 0);
  session.Attempt("c\n.stf2", []() -> std::string { throw Refusal("line 3", "no ink"); });
  session.Attempt("big.stf2", []() -> std::string { throw std::bad_alloc(); });
  EXPECT_EQ(session.status(), 1);
  EXPECT_EQ(out_.str(), "a.stf2: Success, 2 pages\n");
  EXPECT_EQ(err_.str(), "c\\x0A.stf2: Failed, line 3: no ink\nbig.stf2: Failed, out of memory\n");
}

TEST_F(SessionTest, OneBadInputDoesNotStopTheOthers) {
  options_.inputs = {"a", "b", "c"};
  Session session = Make();
  std::vector<std::string> seen;
  session.ForEachInput([&](const std::string& file) {
    seen.push_back(file);
    if (file == "b") throw Refusal("bad");
    return "good";
  });
  EXPECT_THAT(seen, ElementsAre("a", "b", "c"));
  EXPECT_EQ(session.status(), 1);
}

TEST_F(SessionTest, InJsonFailuresAreJson) {
  options_.json = true;
  Session session = Make();
  session.Attempt("a", []() -> std::string { throw Refusal("bad"); });
  const Json::Value line = ParseJson(out_.str());
  EXPECT_EQ(line["file"], "a");
  EXPECT_EQ(line["failed"], "bad");
  EXPECT_EQ(err_.str(), "");
}

TEST_F(SessionTest, QuietTellsFailuresAlone) {
  options_.quiet = true;
  Session session = Make();
  session.Attempt("a", [] { return "good"; });
  session.Note("a", "something");
  session.Attempt("b", []() -> std::string { throw Refusal("bad"); });
  EXPECT_EQ(out_.str() + err_.str(), "b: Failed, bad\n");
}

TEST_F(SessionTest, StandardInputMayBeReadTwiceIfThereAreSeveral) {
  options_.inputs = {"-", folder_.Path("note.inkml")};
  Session session = Make();
  EXPECT_EQ(session.Read("-").bytes, "what comes in");
  EXPECT_EQ(session.Read("-").bytes, "what comes in");
}

TEST_F(SessionTest, StandardInputGoesToStandardOutputUnlessTold) {
  EXPECT_EQ(Make().PathFor("-", "ink.stf2"), "-");
  EXPECT_EQ(Make().PathFor("/tmp/a.inkml", "a.stf2"), "/tmp/a.stf2");
  options_.output = "-";
  EXPECT_EQ(Make().PathFor("/tmp/a.inkml", "a.stf2"), "-");
  EXPECT_EQ(ShownInput("-"), "standard input");
  EXPECT_EQ(ShownOutput("-"), "standard output");
  EXPECT_EQ(ShownOutput("a"), "a");
}

// Nothing but the output may stand on standard output.
TEST_F(SessionTest, BehindAnOutputOnItTheLinesOfSuccessGoToStandardError) {
  Session session = Make();
  session.Attempt("a", [&] {
    session.Save("-", std::string("\0ink", 4));
    return "done";
  });
  EXPECT_EQ(out_.str(), std::string("\0ink", 4));
  EXPECT_EQ(err_.str(), "a: Success, done\n");
}

TEST_F(SessionTest, ATerminalGetsNoBinaryInk) {
  Streams streams{in_, out_, err_};
  streams.is_out_terminal = true;
  Session session(options_, streams);
  EXPECT_EQ(RefusalOf([&] { session.Save("-", std::string("\0ink", 4)); }),
            "standard output is a terminal; -o names a file");
  session.Save("-", std::string("text"));
  EXPECT_EQ(out_.str(), "text");
}

TEST_F(SessionTest, OneCallWritesAFileOnce) {
  options_.force = true;
  Session session = Make();
  const std::string path = folder_.Path("out");
  session.Save(path, std::string("one"));
  EXPECT_EQ(RefusalOf([&] { session.Save(path, std::string("two")); }),
            "another file of this call has been written to " + path);
  EXPECT_EQ(folder_.Read("out"), "one");
  Make().Save(path, std::string("three"));  // another call
  EXPECT_EQ(folder_.Read("out"), "three");
}

TEST_F(SessionTest, LossesAreToldOrRefused) {
  TalvoInk::Losses losses;
  losses.Add("a tilt");
  losses.Note("strokes without a time", 2);
  Make().TellLosses("a", losses);
  EXPECT_THAT(err_.str(), HasSubstr("a: lost or assumed: a tilt\n"));
  EXPECT_THAT(err_.str(), HasSubstr("a: note: strokes without a time: 2\n"));
  options_.strict = true;
  losses.Add("a button");
  EXPECT_EQ(RefusalOf([&] { Make().TellLosses("a", losses); }), "--strict: a tilt; a button");
}

TEST_F(SessionTest, NotesAloneAreNoReasonToRefuse) {
  options_.strict = true;
  TalvoInk::Losses losses;
  losses.Note("strokes without a time", 2);
  EXPECT_EQ(RefusalOf([&] { Make().CheckStrict(losses); }), "none");
}

TEST_F(SessionTest, SealedInkIsNotLoaded) {
  folder_.Run({"convert", "@note.inkml"});
  folder_.Run({"keygen", "-o", "@key"});
  const Outcome seal = folder_.Run({"seal", "--key", "@key.pub", "@note.stf2", "-o", "@sealed"});
  ASSERT_EQ(seal.status, 0) << seal.err;
  EXPECT_EQ(RefusalOf([&] { Make().Load(folder_.Path("sealed")); }),
            "sealed ink; open it first with 'stf2 open'");
}

}  // namespace
}  // namespace InkTool
