#include "SubscriptionCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

#include "config/FilesConfig.h"
#include "support/TestRoot.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class SubscriptionCheckTest : public testing::Test {
 protected:
  // What is said of a file with this content. The service must agree whether it is one.
  SubscriptionCheck Check(const std::string& content, const std::string& name = "Notes") {
    const auto file = root_.subscriptions() / name;
    WriteFile(file, content);
    const SubscriptionCheck check = CheckSubscription(file);
    std::set<TalvoQuillpost::Config::App> applications;
    EXPECT_TRUE(TalvoQuillpost::Config::GetApplications(applications));
    EXPECT_EQ(check.reason.empty(), !applications.empty()) << content << check.reason;
    boost::filesystem::remove(file);
    return check;
  }

  std::string Reason(const std::string& content) { return Check(content).reason; }

  TestRoot root_;
};

}  // namespace

TEST_F(SubscriptionCheckTest, AGoodFileHasNothingWrong) {
  const SubscriptionCheck check =
      Check(R"({"Path":"/bin/sh","Title":"","PageAddresses":["1.2.*.*","encrypted-stf2"]})");
  EXPECT_EQ("", check.reason);
  EXPECT_THAT(check.notes, IsEmpty());
}

TEST_F(SubscriptionCheckTest, CommentsAndOtherMembersAreAllowed) {
  EXPECT_EQ(
      "", Reason("// ours\n{\"Path\":\"/bin/sh\",\"Title\":\"T\",\"PageAddresses\":[],\"x\":1} z"));
}

TEST_F(SubscriptionCheckTest, NamesTheMemberThatIsMissing) {
  EXPECT_EQ("the member \"Path\" is missing", Reason(R"({"Title":"","PageAddresses":[]})"));
  EXPECT_EQ("the member \"Title\" is missing", Reason(R"({"Path":"x","PageAddresses":[]})"));
  EXPECT_EQ("the member \"PageAddresses\" is missing", Reason(R"({"Path":"x","Title":""})"));
}

TEST_F(SubscriptionCheckTest, NamesTheMemberOfTheWrongType) {
  EXPECT_EQ("the member \"Path\" is not a string",
            Reason(R"({"Path":1,"Title":"","PageAddresses":[]})"));
  EXPECT_EQ("the member \"Title\" is not a string",
            Reason(R"({"Path":"x","Title":null,"PageAddresses":[]})"));
  EXPECT_EQ("the member \"PageAddresses\" is not an array",
            Reason(R"({"Path":"x","Title":"","PageAddresses":"1.2.3.4"})"));
  EXPECT_EQ("the member \"Path\" is empty", Reason(R"({"Path":"","Title":"","PageAddresses":[]})"));
}

TEST_F(SubscriptionCheckTest, NamesTheElementThatIsWrong) {
  EXPECT_EQ("element 1 of \"PageAddresses\" is not a string",
            Reason(R"({"Path":"x","Title":"","PageAddresses":["1.2.3.4",5]})"));
  EXPECT_EQ(
      "element 0 of \"PageAddresses\", \"1.2\", is not a valid page address: four or five fields "
      "of digits "
      "and * joined by dots, or encrypted-stf2",
      Reason(R"({"Path":"x","Title":"","PageAddresses":["1.2"]})"));
}

TEST_F(SubscriptionCheckTest, NamesThePlaceOfBrokenJson) {
  EXPECT_THAT(Reason("{\"Path\":\n x}"), StartsWith("not valid JSON: * Line 2, Column 2"));
  EXPECT_THAT(Reason(""), StartsWith("not valid JSON: "));
  EXPECT_THAT(Reason(std::string(5000, '[')), StartsWith("not valid JSON: "));
  EXPECT_EQ("the document is not an object", Reason("[]"));
}

TEST_F(SubscriptionCheckTest, SaysWhatIsWrongWithTheName) {
  const std::string good = R"({"Path":"/bin/sh","Title":"","PageAddresses":[]})";
  EXPECT_EQ("the file's name begins with \".\"", Check(good, ".Notes").reason);
  EXPECT_EQ(
      "the file's name \"No#es\" is not a valid application ID: only letters, digits, space and . "
      "_ : - are "
      "allowed",
      Check(good, "No#es").reason);
}

TEST_F(SubscriptionCheckTest, SaysWhyAFileCannotBeRead) {
  EXPECT_EQ("the file can't be read: No such file or directory",
            CheckSubscription(root_.subscriptions() / "Missing").reason);
  const auto fifo = root_.path() / "Fifo";
  ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
  EXPECT_THAT(CheckSubscription(fifo).reason, StartsWith("the file can't be read: "));
}

TEST_F(SubscriptionCheckTest, NotesWhatIsHardlyMeant) {
  EXPECT_THAT(
      Check(R"({"Path":"/nonexistent/notes","Title":"","PageAddresses":["1.2.3.4"]})").notes,
      ElementsAre("the application can't be launched: /nonexistent/notes: No such file or "
                  "directory"));
  EXPECT_THAT(Check(R"({"Path":"/bin/sh","Title":"","PageAddresses":[]})").notes,
              ElementsAre("\"PageAddresses\" is empty: the application gets no ink"));
}
