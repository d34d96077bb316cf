#include "library/KeyRing.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Inks.h"
#include "support/Machine.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

class KeyRingTest : public testing::Test {
 protected:
  void WriteKey(const TalvoInk::KeyPair& key) {
    WaitForClockTick();  // a file that is written has another time than before
    WriteFile(file_, TalvoInk::WriteSecretKey(key));
  }

  const TestRoot root_;
  const std::string file_ = (root_.path() / "key").string();
  std::string reason_ = "from before";
  KeyRing ring_;
};

}  // namespace

TEST_F(KeyRingTest, WithoutAFileThereIsNoKeyAndTheUserIsToldHowToNameOne) {
  EXPECT_EQ(ring_.Find("", reason_), nullptr);
  EXPECT_EQ(reason_, "sealed; 'quillpost-inbox --key FILE' names the key that opens it");
}

TEST_F(KeyRingTest, AKeyIsReadOnceAsLongAsItsFileStaysTheSame) {
  const NewKeyPair key;
  WriteKey(key);
  const auto found = ring_.Find(file_, reason_);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(reason_, "");
  EXPECT_EQ(found->secret_key, key.secret_key);
  EXPECT_EQ(ring_.Find(file_, reason_), found);
}

TEST_F(KeyRingTest, AFileThatHasChangedIsReadAgain) {
  WriteKey(NewKeyPair());
  const auto before = ring_.Find(file_, reason_);
  const NewKeyPair other;
  WriteKey(other);
  const auto found = ring_.Find(file_, reason_);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->secret_key, other.secret_key);
  EXPECT_NE(before->secret_key, other.secret_key);  // the old key stays with those who hold it
}

// A key on a stick that is plugged in, pulled out and plugged in again.
TEST_F(KeyRingTest, AFileMayComeAndGo) {
  EXPECT_EQ(ring_.Find(file_, reason_), nullptr);
  EXPECT_EQ(reason_, "the key file " + file_ + ": No such file or directory");
  const NewKeyPair key;
  WriteKey(key);
  EXPECT_NE(ring_.Find(file_, reason_), nullptr);
  ::unlink(file_.c_str());
  EXPECT_EQ(ring_.Find(file_, reason_), nullptr);
  WriteKey(key);
  EXPECT_NE(ring_.Find(file_, reason_), nullptr);
  EXPECT_EQ(reason_, "");
}

TEST_F(KeyRingTest, RubbishInAKeysPlaceOpensNothing) {
  WriteKey(NewKeyPair());
  ASSERT_NE(ring_.Find(file_, reason_), nullptr);
  WaitForClockTick();
  WriteFile(file_, "rubbish");
  EXPECT_EQ(ring_.Find(file_, reason_), nullptr);
  EXPECT_THAT(reason_, HasSubstr("is not a secret key file"));
}

TEST_F(KeyRingTest, AnotherFileIsAnotherKey) {
  const NewKeyPair one, other;
  WriteKey(one);
  WriteFile(file_ + "2", TalvoInk::WriteSecretKey(other));
  EXPECT_EQ(ring_.Find(file_, reason_)->secret_key, one.secret_key);
  EXPECT_EQ(ring_.Find(file_ + "2", reason_)->secret_key, other.secret_key);
}
