// The manual pages, against what the programs themselves say in their help.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cctype>
#include <set>

#include "HelpOptions.h"
#include "Json.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/Process.h"
#include "support/TestRoot.h"

using testing::IsEmpty;

namespace {

// The source of a page, with its hyphens and without its fonts.
std::string ReadPage(const std::string& program) {
  const std::string source = ReadFile(std::string(MANUAL) + "/" + program + ".1");
  std::string text;
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (source.compare(i, 2, "\\-") == 0) {
      text += '-';
      ++i;
    } else if (source.compare(i, 2, "\\f") == 0) {
      i += 2;
    } else {
      text += source[i];
    }
  }
  return text;
}

// From one heading to the next of its kind or higher.
std::string Section(const std::string& page, const std::string& heading) {
  const std::size_t begin = page.find("\n" + heading + "\n");
  EXPECT_NE(std::string::npos, begin) << heading;
  if (begin == std::string::npos) return std::string();
  const std::string next = heading.substr(0, 3) == ".SH" ? "\n.SH " : "\n.S";
  const std::size_t end = page.find(next, begin + 1);
  return page.substr(begin, end - begin);
}

// The examples of a section, as scripts for a shell: what stands between .nf and .fi.
std::vector<std::string> Scripts(const std::string& section) {
  std::vector<std::string> scripts;
  for (std::size_t at = 0; (at = section.find("\n.nf\n", at)) != std::string::npos;) {
    const std::size_t end = section.find(".fi\n", at);
    scripts.push_back(section.substr(at + 5, end - at - 5));
    at = end;
  }
  return scripts;
}

// The names of all members of a document, at any depth.
void CollectMembers(const Json::Value& value, std::set<std::string>& names) {
  if (value.isObject()) {
    for (const std::string& name : value.getMemberNames()) names.insert(name);
  }
  if (!value.isObject() && !value.isArray()) return;
  for (const Json::Value& part : value) CollectMembers(part, names);
}

void ExpectNoFaultOfFormat(const std::string& program) {
  const Finished groff = RunToEnd({"/usr/bin/groff", "-man", "-Tutf8", "-ww", "-z",
                                   std::string(MANUAL) + "/" + program + ".1"});
  EXPECT_EQ(0, groff.status);
  EXPECT_EQ("", groff.error);
}

}  // namespace

TEST(Manual, TellsEveryOptionOfEveryCommand) {
  std::vector<std::string> missing;
  for (const Line& command : kCommands) {
    const std::string page = ReadPage(command[0]);
    std::string text = page;
    if (command[0] == "quillpost" && command.size() > 1) text = Section(page, ".SS " + command[1]);
    for (const std::string& option : OptionsOf(command)) {
      const bool is_of_all = option == "--help" || option == "--json";
      if ((is_of_all ? page : text).find(option) == std::string::npos) {
        missing.push_back(Join(command) + " " + option);
      }
    }
  }
  EXPECT_THAT(missing, IsEmpty());
}

TEST(Manual, TellsEveryMemberOfEveryJsonDocument) {
  TestRoot root;
  root.Subscribe("Notes", "1.2.3.*");
  WriteFile(root.subscriptions() / "Broken", "[]");
  const std::string file = (root.path() / "ink.stf2").string();
  WriteFile(file, InkFile().AddStroke("1.2.3.4", 1000).bytes());
  std::set<std::string> members;
  const auto collect = [&members](Line command) {
    command.insert(command.begin(), QUILLPOST);
    command.push_back("--json");
    CollectMembers(ParseJson(RunToEnd(command).output), members);
  };
  collect({"status"});
  Daemon daemon(QUILLPOSTD);
  collect({"hello"});
  collect({"import", file, "/nonexistent"});
  collect({"import", "--dry-run", file, "/nonexistent"});
  WriteFile(root.path() / "watched/bad.stf2", "not ink");
  collect({"watch", "--once", (root.path() / "watched").string()});
  collect({"status"});
  collect({"listen", "Notes", "--count", "1", "--save", root.path().string()});
  collect({"subscriptions", "list"});
  collect({"subscriptions", "check", "/nonexistent"});
  collect({"subscriptions", "remove", "Notes"});
  EXPECT_GT(members.size(), 30u);
  std::string text = Section(ReadPage("quillpost"), ".SH JSON");
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c != '_' && !std::isalpha(c); }, ' ');
  std::vector<std::string> missing;
  for (const std::string& member : members) {
    if (text.find(" " + member + " ") == std::string::npos) missing.push_back(member);
  }
  EXPECT_THAT(missing, IsEmpty());
}

// The very commands of the manual, but for those to a service manager.
TEST(Manual, ABackupCanBeRestored) {
  const std::vector<std::string> scripts =
      Scripts(Section(ReadPage("quillpostd"), ".SH BACKUP AND RESTORE"));
  ASSERT_EQ(2u, scripts.size());
  TestRoot root;
  root.Subscribe("Notes", "1.2.3.*");
  const std::string file = (root.path() / "ink.stf2").string();
  WriteFile(file, InkFile().AddStroke("1.2.3.4", 1000).AddStroke("1.2.3.5", 2000).bytes());
  const auto run = [&root](const std::string& script) {
    return RunToEnd({"/bin/sh", "-eu", "-c", "systemctl() { :; }\n" + script},
                    {{"HOME", root.home().string()}});
  };
  {
    Daemon daemon(QUILLPOSTD);
    ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", file}).status);
    ASSERT_EQ(0, RunToEnd({QUILLPOST, "listen", "Notes", "--count", "1"}).status);
    EXPECT_EQ(0, daemon.Stop());
  }
  const Finished backup = run(scripts[0]);
  ASSERT_EQ(0, backup.status) << backup.error;
  boost::filesystem::remove_all(root.home() / "Library");
  const Finished restore = run(scripts[1]);
  ASSERT_EQ(0, restore.status) << restore.error;
  Daemon daemon(QUILLPOSTD);
  const Finished listen = RunToEnd({QUILLPOST, "listen", "Notes", "--count", "1"});
  EXPECT_THAT(listen.output, testing::HasSubstr("page 1.2.3.5: ")) << "the first was received";
}

TEST(Manual, IsWellFormed) {
  ExpectNoFaultOfFormat("quillpost");
  ExpectNoFaultOfFormat("quillpostd");
}
