#include "ink/SealedInfo.h"

#include <TalvoEncryption/Encryption.h>
#include <gtest/gtest.h>

#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/KeyFile.h"
#include "ink/Stf2File.h"

namespace TalvoInk {
namespace {

std::string SealedTo(const Key& key, const Ink& ink) {
  const std::string plain = WriteStf2(ink);
  std::uint8_t* bytes = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(SealInkData(plain.data(), static_cast<std::uint32_t>(plain.size()), key.data(), &bytes,
                        &size),
            TALVO_ENCRYPTION_SUCCESS);
  const std::string sealed(reinterpret_cast<const char*>(bytes), size);
  FreeBuffer(&bytes);
  return sealed;
}

TEST(SealedInfo, TellsThePenAndTheReceiver) {
  KeyPair pair;
  ASSERT_EQ(CreateKeyPair(pair.public_key.data(), pair.secret_key.data()),
            TALVO_ENCRYPTION_SUCCESS);
  Ink ink;
  ink.pen = 0x0123456789ABCDEF;
  ink.items = {StrokeOn("1.2.3.4")};
  const std::string sealed = SealedTo(pair.public_key, ink);
  const std::optional<SealedInfo> info = ReadSealedInfo(sealed);
  ASSERT_TRUE(info.has_value());
  EXPECT_EQ(info->pen, 0x0123456789ABCDEFu);
  EXPECT_NE(WritePublicKey(pair.public_key).find(info->recipient), std::string::npos);
  EXPECT_THROW(ReadStf2(sealed), SealedInkError);
}

TEST(SealedInfo, EachReasonWhyInkStaysSealedHasItsWords) {
  EXPECT_STREQ(SealingFault(TALVO_ENCRYPTION_MALFORMED), "no well-formed ink");
  EXPECT_STREQ(SealingFault(TALVO_ENCRYPTION_WRONG_KEY), "sealed to another key");
  EXPECT_STREQ(SealingFault(TALVO_ENCRYPTION_DAMAGED), "changed since it was sealed");
  EXPECT_STREQ(SealingFault(TALVO_ENCRYPTION_WRONG_PEN),
               "the pen on the envelope is not the pen of the ink inside");
  EXPECT_STREQ(SealingFault(TALVO_ENCRYPTION_UNSUPPORTED),
               "sealed by a method that is not known here");
  EXPECT_STREQ(SealingFault(TALVO_ENCRYPTION_OUT_OF_MEMORY), "out of memory");
  EXPECT_STREQ(SealingFault(-1), "not accepted by the encryption library");
}

TEST(SealedInfo, PlainInkAndDamageHaveNone) {
  Ink ink;
  ink.items = {StrokeOn("1.2.3.4")};
  EXPECT_FALSE(ReadSealedInfo(WriteStf2(ink)));
  EXPECT_FALSE(ReadSealedInfo(""));
  EXPECT_FALSE(ReadSealedInfo(std::string("\x08\0\0\0STFE", 8)));
}

}  // namespace
}  // namespace TalvoInk
