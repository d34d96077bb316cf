#include "http/Sessions.h"

#include <gmock/gmock.h>
#include <sodium.h>
#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

#include "support/TestRoot.h"

using namespace Inbox;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

class SessionsTest : public testing::Test {
 protected:
  SessionsTest() : file_((root_.path() / "address").string()) {
    EXPECT_GE(::sodium_init(), 0);
    sessions_ = Make();
    sessions_->Begin(8080);
  }

  std::unique_ptr<Sessions> Make() {
    return std::make_unique<Sessions>(
        file_, [this](const Sessions::Session& one) { known_[one.digest] = one.until_ms; }, known_);
  }

  std::string Token() const {
    const std::string address = sessions_->Address();
    return address.substr(address.find('=') + 1);
  }

  TestRoot root_;
  const std::string file_;
  std::map<std::string, std::int64_t> known_;
  std::unique_ptr<Sessions> sessions_;
};

}  // namespace

TEST_F(SessionsTest, TheAddressHasATokenOf256BitsInAFileOfItsOwners) {
  EXPECT_THAT(sessions_->Address(),
              MatchesRegex("http://127\\.0\\.0\\.1:8080/open\\?token=[0-9a-f]{64}"));
  EXPECT_EQ(ReadFile(file_), sessions_->Address() + "\n");
  struct stat status;
  ASSERT_EQ(::stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(SessionsTest, ATokenOpensOnce) {
  const std::string token = Token();
  const std::string cookie = sessions_->Open(token, 1000);
  EXPECT_THAT(cookie, MatchesRegex("[0-9a-f]{64}"));
  EXPECT_EQ(sessions_->Open(token, 1000), "");
  EXPECT_NE(Token(), token) << "the next browser needs one, too";
  EXPECT_EQ(ReadFile(file_), sessions_->Address() + "\n");
}

TEST_F(SessionsTest, AGuessOpensNothingAndCostsTheUserNothing) {
  const std::string token = Token();
  for (const std::string& guess :
       {std::string(), std::string(64, '0'), token.substr(1), token + "0"}) {
    EXPECT_EQ(sessions_->Open(guess, 1000), "");
  }
  EXPECT_NE(sessions_->Open(token, 1000), "");
}

TEST_F(SessionsTest, TheCookieIsForThisPortAloneAndForNoScript) {
  const std::string cookie = sessions_->SetCookie("x");
  EXPECT_EQ(cookie.substr(0, 13), "inbox-8080=x;");
  EXPECT_THAT(cookie, HasSubstr("HttpOnly"));
  EXPECT_THAT(cookie, HasSubstr("SameSite=Strict"));
  EXPECT_THAT(cookie, Not(HasSubstr("Domain")));
}

TEST_F(SessionsTest, ACookieIsFoundAmongOthers) {
  const std::string cookie = sessions_->Open(Token(), 1000);
  EXPECT_TRUE(sessions_->IsOpen("inbox-8080=" + cookie, 2000));
  EXPECT_TRUE(sessions_->IsOpen("a=b; inbox-8080=0; inbox-8080=" + cookie + "; c", 2000));
  EXPECT_FALSE(sessions_->IsOpen("inbox-8081=" + cookie, 2000));
  EXPECT_FALSE(sessions_->IsOpen("inbox-8080=" + cookie + "0", 2000));
  EXPECT_FALSE(sessions_->IsOpen("", 2000));
}

TEST_F(SessionsTest, ACookieEndsAfterAMonth) {
  const std::string cookie = "inbox-8080=" + sessions_->Open(Token(), 1000);
  constexpr std::int64_t kDayMs = 24 * 3600 * 1000;
  EXPECT_TRUE(sessions_->IsOpen(cookie, 29 * kDayMs));
  EXPECT_FALSE(sessions_->IsOpen(cookie, 31 * kDayMs));
}

TEST_F(SessionsTest, ACookieOutlivesARestartAndIsNotKeptItself) {
  const std::string cookie = sessions_->Open(Token(), 1000);
  ASSERT_EQ(known_.size(), 1u);
  EXPECT_NE(known_.begin()->first, cookie);
  sessions_.reset();
  EXPECT_EQ(ReadFile(file_), "") << "nothing is there to be opened";
  sessions_ = Make();
  sessions_->Begin(8080);
  EXPECT_TRUE(sessions_->IsOpen("inbox-8080=" + cookie, 2000));
}

TEST_F(SessionsTest, TheOldestOfManySessionsMakesWay) {
  const std::string first = sessions_->Open(Token(), 1000);
  std::string last;
  for (int i = 1; i <= 64; ++i) last = sessions_->Open(Token(), 1000 + i);
  EXPECT_FALSE(sessions_->IsOpen("inbox-8080=" + first, 2000));
  EXPECT_TRUE(sessions_->IsOpen("inbox-8080=" + last, 2000));
}

TEST_F(SessionsTest, AFullDiskLocksNobodyOut) {
  const std::string folder = (root_.path() / "folder").string();
  boost::filesystem::create_directory(folder);
  Sessions sessions(folder + "/address", [](const Sessions::Session&) {});
  sessions.Begin(8080);
  const std::string address = sessions.Address();
  const std::string token = address.substr(address.find('=') + 1);
  boost::filesystem::remove_all(folder);  // nothing can be written any more
  EXPECT_NE(sessions.Open(token, 1000), "");
  EXPECT_EQ(sessions.Address(), address);
  EXPECT_NE(sessions.Open(token, 1000), "");
}
