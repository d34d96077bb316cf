// Sealed ink that is opened to be shown.

#include "content/PageInk.h"

#include <TalvoEncryption/Encryption.h>
#include <gmock/gmock.h>

#include "Inks.h"
#include "ink/InkError.h"
#include "library/Library.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

std::string SealTo(const TalvoInk::KeyPair& key, const std::string& ink) {
  std::uint8_t* bytes = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()), key.public_key.data(),
                        &bytes, &size),
            0);
  const std::string sealed(reinterpret_cast<const char*>(bytes), size);
  FreeBuffer(&bytes);
  return sealed;
}

class SealedPage : public InboxFixture {
 protected:
  SealedPage()
      : key_file_((root_.path() / "key").string()), readers_(database_), library_(readers_) {
    EXPECT_EQ(CreateKeyPair(key_.public_key.data(), key_.secret_key.data()), 0);
    WriteFile(key_file_, TalvoInk::WriteSecretKey(key_));
  }

  TalvoInk::KeyPair key_;
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

TEST_F(SealedPage, OfSeveralPagesShowsThemBelowOneAnother) {
  InkFile ink;
  ink.AddStroke("1.1.1.1", 1000).AddStroke("1.1.1.2", 2000);
  const TalvoInk::Ink opened = OpenSealed(SealTo(key_, ink.bytes()), key_);
  EXPECT_EQ(TalvoInk::PagesOf(opened).size(), 1u);
  const auto& first = std::get<TalvoInk::Stroke>(opened.items[0]);
  const auto& second = std::get<TalvoInk::Stroke>(opened.items[1]);
  EXPECT_EQ(second.samples[1].y_um - first.samples[1].y_um, 297000);
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
