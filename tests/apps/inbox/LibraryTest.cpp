// Sealed ink that is opened to be shown.

#include "library/Library.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Inks.h"
#include "ink/InkError.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

class SealedPage : public InboxFixture {
 protected:
  SealedPage()
      : key_file_((root_.path() / "key").string()), readers_(database_), library_(readers_) {
    WriteFile(key_file_, TalvoInk::WriteSecretKey(key_));
  }

  const NewKeyPair key_;
  const std::string key_file_;
  Readers readers_;
  Library library_;
};

}  // namespace

TEST_F(SealedPage, IsShownWithItsKeyAndKeptSealed) {
  const std::string sealed = SealTo(key_, InkOf("1.2.3.4", 5000));
  Keep(sealed);
  EXPECT_EQ(library_.FindPage(1)->kind, PageKind::kSealed);
  EXPECT_THAT(library_.FindPage(1)->reason, HasSubstr("--key FILE"));
  keeper().Set(kKeyFileSetting, key_file_);
  const auto row = library_.FindPage(1);
  EXPECT_EQ(row->kind, PageKind::kInk);
  EXPECT_EQ(row->reason, "");
  EXPECT_EQ(row->summary.strokes, 1);
  EXPECT_EQ(row->summary.first_ms, 5000);
  EXPECT_EQ(library_.LoadInk(1)->strokes.size(), 1u);
  EXPECT_EQ(catalogue().LoadInk(1)->closed, sealed);
  EXPECT_EQ(catalogue().FindPage(1)->kind, PageKind::kSealed);
}

TEST_F(SealedPage, ToAnotherKeySaysSo) {
  Keep(Seal(InkOf("1.2.3.4")));
  keeper().Set(kKeyFileSetting, key_file_);
  EXPECT_EQ(library_.FindPage(1)->kind, PageKind::kSealed);
  EXPECT_EQ(library_.FindPage(1)->reason, "sealed to another key");
}

TEST_F(SealedPage, OpensWhenItsKeyFileAppearsAndClosesWhenItGoes) {
  Keep(SealTo(key_, InkOf("1.2.3.4")));
  const std::string later = key_file_ + ".later";
  keeper().Set(kKeyFileSetting, later);
  EXPECT_EQ(library_.FindPage(1)->reason, "the key file " + later + ": No such file or directory");
  WriteFile(later, TalvoInk::WriteSecretKey(key_));
  EXPECT_EQ(library_.FindPage(1)->kind, PageKind::kInk);
  ::unlink(later.c_str());
  EXPECT_EQ(library_.FindPage(1)->kind, PageKind::kSealed);
}

TEST_F(SealedPage, AFileThatIsNoKeyIsNamed) {
  Keep(SealTo(key_, InkOf("1.2.3.4")));
  WriteFile(key_file_, "rubbish");
  keeper().Set(kKeyFileSetting, key_file_);
  EXPECT_EQ(library_.FindPage(1)->reason,
            "the key file " + key_file_ + " is not a secret key file");
}

TEST_F(SealedPage, StandsInListsAsInkToo) {
  Keep(SealTo(key_, InkOf("1.2.3.4", 5000)));
  Keep(InkOf("1.2.3.5", 6000), 2000);
  keeper().Set(kKeyFileSetting, key_file_);
  bool has_more = true;
  const auto rows = library_.Find({}, has_more);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].address, "1.2.3.5");
  EXPECT_EQ(rows[1].kind, PageKind::kInk);
  EXPECT_EQ(rows[1].summary.first_ms, 5000);
  EXPECT_FALSE(has_more);
}

TEST_F(SealedPage, ThatIsDamagedSaysSo) {
  std::string sealed = SealTo(key_, InkOf("1.2.3.4"));
  sealed[sealed.size() - 20] = static_cast<char>(sealed[sealed.size() - 20] ^ 1);
  Keep(sealed);
  keeper().Set(kKeyFileSetting, key_file_);
  EXPECT_EQ(library_.FindPage(1)->kind, PageKind::kSealed);
  EXPECT_NE(library_.FindPage(1)->reason, "");
}

TEST_F(SealedPage, ThatIsNotThereIsNone) {
  EXPECT_FALSE(library_.FindPage(7));
  EXPECT_FALSE(library_.LoadInk(7));
}
