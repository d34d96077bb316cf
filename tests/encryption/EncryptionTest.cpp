// Sealing ink, opening it, and what each thing that is wrong is called.

#include <gmock/gmock.h>
#include <sodium.h>

#include <cstring>

#include "Sealing.h"
#include "Stf2.h"

namespace {

constexpr std::uint64_t kPen = 81985529216486895;  // 0123-4567-89AB-CDEF

// What GetEncryptedDataInfo says.
struct Info {
  explicit Info(const Bytes& data) : Info(data.data(), data.size()) {}
  Info(const std::uint8_t* data, std::size_t size) {
    std::uint8_t* pen_buffer = nullptr;
    std::uint8_t* recipient_buffer = nullptr;
    status = GetEncryptedDataInfo(data, static_cast<std::uint32_t>(size), &pen_buffer,
                                  &recipient_buffer, &algorithm);
    if (pen_buffer) pen.assign(pen_buffer, pen_buffer + TALVO_PEN_BYTES);
    if (recipient_buffer) recipient.assign(recipient_buffer, recipient_buffer + TALVO_KEY_BYTES);
    FreeBuffer(&pen_buffer);
    FreeBuffer(&recipient_buffer);
  }

  int status = 0;
  Bytes pen;
  Bytes recipient;
  std::uint8_t algorithm = 9;
};

TEST(Sealing, SealedInkOpensAsItWas) {
  const KeyPair keys;
  const Bytes ink = InkOfPen(kPen);
  const Opened opened = Open(Seal(ink, keys.public_key), keys);
  EXPECT_EQ(opened.status, TALVO_ENCRYPTION_SUCCESS);
  EXPECT_EQ(opened.ink, ink);
}

TEST(Sealing, SealedInkIsTakenForEncryptedByTheInkLibrary) {
  const Bytes sealed = Seal(InkOfPen(kPen), KeyPair().public_key);
  InkDataHandle* ink = nullptr;
  EXPECT_EQ(Stf2InkDataInitialize(sealed.data(), static_cast<std::uint32_t>(sealed.size()), &ink),
            STF2_ENCRYPTED);
}

TEST(Sealing, SealedInkDoesNotShowItsText) {
  const Bytes sealed = Seal(InkOfPen(kPen, "a secret of the writer"), KeyPair().public_key);
  const std::string text(sealed.begin(), sealed.end());
  EXPECT_EQ(text.find("secret"), text.npos);
}

TEST(Sealing, TheSameInkIsNeverSealedToTheSameBytes) {
  const KeyPair keys;
  EXPECT_NE(Seal(InkOfPen(kPen), keys.public_key), Seal(InkOfPen(kPen), keys.public_key));
}

// Any libsodium can open the box.
TEST(Sealing, TheBoxIsAPlainSealedBox) {
  const KeyPair keys;
  const Bytes ink = InkOfPen(kPen);
  const Bytes box = ModelOf(Seal(ink, keys.public_key)).box;
  Bytes opened(box.size() - crypto_box_SEALBYTES);
  ASSERT_EQ(crypto_box_seal_open(opened.data(), box.data(), box.size(), keys.public_key.data(),
                                 keys.secret_key.data()),
            0);
  EXPECT_EQ(opened, ink);
}

TEST(Sealing, OnlyInkIsSealed) {
  const KeyPair keys;
  std::uint8_t* out = nullptr;
  std::uint32_t size = 0;
  const Bytes sealed = Seal(InkOfPen(kPen), keys.public_key);
  EXPECT_EQ(SealInkData("no ink", 6, keys.public_key.data(), &out, &size),
            TALVO_ENCRYPTION_MALFORMED);
  EXPECT_EQ(SealInkData(sealed.data(), static_cast<std::uint32_t>(sealed.size()),
                        keys.public_key.data(), &out, &size),
            TALVO_ENCRYPTION_MALFORMED);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(size, 0u);
}

// A point of low order, to which anybody could open the box.
TEST(Sealing, AnInvalidPublicKeyIsRefused) {
  const Bytes ink = InkOfPen(kPen);
  const Key zero{};
  std::uint8_t* out = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(
      SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()), zero.data(), &out, &size),
      TALVO_ENCRYPTION_INVALID_ARGUMENT);
  EXPECT_EQ(out, nullptr);
}

TEST(Sealing, InkAtAnyAddressIsSealedAndOpened) {
  const KeyPair keys;
  const Bytes ink = InkOfPen(kPen);
  for (std::size_t shift = 1; shift < 8; ++shift) {
    Bytes room(shift + ink.size());
    std::memcpy(room.data() + shift, ink.data(), ink.size());
    std::uint8_t* sealed = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(SealInkData(room.data() + shift, static_cast<std::uint32_t>(ink.size()),
                          keys.public_key.data(), &sealed, &size),
              TALVO_ENCRYPTION_SUCCESS);
    Bytes sealed_room(shift + size);
    std::memcpy(sealed_room.data() + shift, sealed, size);
    FreeBuffer(&sealed);
    std::uint8_t* opened = nullptr;
    ASSERT_EQ(OpenInkData(sealed_room.data() + shift, size, keys.public_key.data(),
                          keys.secret_key.data(), &opened, &size),
              TALVO_ENCRYPTION_SUCCESS);
    EXPECT_EQ(Bytes(opened, opened + size), ink);
    FreeBuffer(&opened);
    EXPECT_EQ(Info(sealed_room.data() + shift, sealed_room.size() - shift).status,
              TALVO_ENCRYPTION_SUCCESS);
  }
}

TEST(Info, TheEnvelopeNamesPenRecipientAndAlgorithm) {
  const KeyPair keys;
  const Info info(Seal(InkOfPen(kPen), keys.public_key));
  EXPECT_EQ(info.status, TALVO_ENCRYPTION_SUCCESS);
  EXPECT_THAT(info.pen, testing::ElementsAre(0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF));
  EXPECT_EQ(info.recipient, Bytes(keys.public_key.begin(), keys.public_key.end()));
  EXPECT_EQ(info.algorithm, 1);
}

TEST(Info, AnUnknownAlgorithmIsNamedAsItIs) {
  EnvelopeModel model = ModelOf(Seal(InkOfPen(kPen), KeyPair().public_key));
  model.algorithm = 2;
  const Info info(EnvelopeOf(model));
  EXPECT_EQ(info.status, TALVO_ENCRYPTION_SUCCESS);
  EXPECT_EQ(info.algorithm, 2);
}

TEST(Info, TheBoxIsNotLookedInto) {
  EnvelopeModel model;
  model.pen = 5;
  model.recipient.resize(TALVO_KEY_BYTES);
  model.box.resize(crypto_box_SEALBYTES);
  EXPECT_EQ(Info(EnvelopeOf(model)).status, TALVO_ENCRYPTION_SUCCESS);
}

TEST(Info, AnEnvelopeThatLacksSomethingIsMalformed) {
  EnvelopeModel whole;
  whole.recipient.resize(TALVO_KEY_BYTES);
  whole.box.resize(crypto_box_SEALBYTES);
  EnvelopeModel short_key = whole;
  short_key.recipient.pop_back();
  EnvelopeModel long_key = whole;
  long_key.recipient.push_back(0);
  EnvelopeModel short_box = whole;
  short_box.box.pop_back();
  for (const EnvelopeModel& model : {EnvelopeModel(), short_key, long_key, short_box}) {
    const Info info(EnvelopeOf(model));
    EXPECT_EQ(info.status, TALVO_ENCRYPTION_MALFORMED);
    EXPECT_TRUE(info.pen.empty());
    EXPECT_TRUE(info.recipient.empty());
    EXPECT_EQ(info.algorithm, 0);
  }
}

TEST(Info, PlainInkIsNotAnEnvelope) {
  const Bytes ink = InkOfPen(kPen);
  EXPECT_EQ(Info(ink).status, TALVO_ENCRYPTION_MALFORMED);
  EXPECT_EQ(Open(ink, KeyPair()).status, TALVO_ENCRYPTION_MALFORMED);
}

TEST(Opening, AnotherPairsKeysAreAWrongKey) {
  const Bytes sealed = Seal(InkOfPen(kPen), KeyPair().public_key);
  EXPECT_EQ(Open(sealed, KeyPair()).status, TALVO_ENCRYPTION_WRONG_KEY);
}

TEST(Opening, ASecretKeyOfAnotherPairIsAWrongKey) {
  const KeyPair keys;
  const Bytes sealed = Seal(InkOfPen(kPen), keys.public_key);
  EXPECT_EQ(Open(sealed, keys.public_key, KeyPair().secret_key).status, TALVO_ENCRYPTION_WRONG_KEY);
}

TEST(Opening, EveryChangedByteOfTheBoxIsDamage) {
  const KeyPair keys;
  const EnvelopeModel model = ModelOf(Seal(InkOfPen(kPen), keys.public_key));
  for (std::size_t i = 0; i < model.box.size(); ++i) {
    EnvelopeModel changed = model;
    changed.box[i] ^= 1;
    EXPECT_EQ(Open(EnvelopeOf(changed), keys).status, TALVO_ENCRYPTION_DAMAGED) << i;
  }
}

TEST(Opening, AShortenedBoxIsDamage) {
  const KeyPair keys;
  EnvelopeModel model = ModelOf(Seal(InkOfPen(kPen), keys.public_key));
  model.box.pop_back();
  EXPECT_EQ(Open(EnvelopeOf(model), keys).status, TALVO_ENCRYPTION_DAMAGED);
  model.box.resize(crypto_box_SEALBYTES);
  EXPECT_EQ(Open(EnvelopeOf(model), keys).status, TALVO_ENCRYPTION_DAMAGED);
}

TEST(Opening, AnEnvelopeThatNamesAnotherPenIsRefused) {
  const KeyPair keys;
  EnvelopeModel model = ModelOf(Seal(InkOfPen(kPen), keys.public_key));
  model.pen = kPen + 1;
  EXPECT_EQ(Open(EnvelopeOf(model), keys).status, TALVO_ENCRYPTION_WRONG_PEN);
}

TEST(Opening, AnUnknownAlgorithmIsUnsupported) {
  const KeyPair keys;
  EnvelopeModel model = ModelOf(Seal(InkOfPen(kPen), keys.public_key));
  model.algorithm = 2;
  EXPECT_EQ(Open(EnvelopeOf(model), keys).status, TALVO_ENCRYPTION_UNSUPPORTED);
}

TEST(Opening, ABoxThatHoldsNoInkIsMalformed) {
  const KeyPair keys;
  EnvelopeModel model;
  model.recipient.assign(keys.public_key.begin(), keys.public_key.end());
  for (const std::string& text : {std::string(), std::string("no ink at all")}) {
    model.box.resize(text.size() + crypto_box_SEALBYTES);
    crypto_box_seal(model.box.data(), reinterpret_cast<const std::uint8_t*>(text.data()),
                    text.size(), keys.public_key.data());
    EXPECT_EQ(Open(EnvelopeOf(model), keys).status, TALVO_ENCRYPTION_MALFORMED);
  }
}

TEST(Opening, AnEnvelopeMadeByAnotherWriterOpens) {
  const KeyPair keys;
  const Bytes ink = InkOfPen(kPen);
  EnvelopeModel model;
  model.pen = kPen;
  model.recipient.assign(keys.public_key.begin(), keys.public_key.end());
  model.box.resize(ink.size() + crypto_box_SEALBYTES);
  ASSERT_EQ(crypto_box_seal(model.box.data(), ink.data(), ink.size(), keys.public_key.data()), 0);
  EXPECT_EQ(Open(EnvelopeOf(model), keys).ink, ink);
}

TEST(Arguments, ANullPointerIsInvalid) {
  const KeyPair keys;
  const Bytes ink = InkOfPen(kPen);
  const Bytes sealed = Seal(ink, keys.public_key);
  const auto ink_size = static_cast<std::uint32_t>(ink.size());
  const auto sealed_size = static_cast<std::uint32_t>(sealed.size());
  const std::uint8_t* pk = keys.public_key.data();
  const std::uint8_t* sk = keys.secret_key.data();
  std::uint8_t* out = nullptr;
  std::uint8_t* other = nullptr;
  std::uint32_t size = 9;
  std::uint8_t byte = 9;
  constexpr int kInvalid = TALVO_ENCRYPTION_INVALID_ARGUMENT;
  EXPECT_EQ(GetEncryptedDataInfo(nullptr, 9, &out, &other, &byte), kInvalid);
  EXPECT_EQ(byte, 0);
  EXPECT_EQ(GetEncryptedDataInfo(sealed.data(), sealed_size, nullptr, &other, &byte), kInvalid);
  EXPECT_EQ(GetEncryptedDataInfo(sealed.data(), sealed_size, &out, nullptr, &byte), kInvalid);
  EXPECT_EQ(GetEncryptedDataInfo(sealed.data(), sealed_size, &out, &other, nullptr), kInvalid);
  EXPECT_EQ(SealInkData(nullptr, 9, pk, &out, &size), kInvalid);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(SealInkData(ink.data(), ink_size, nullptr, &out, &size), kInvalid);
  EXPECT_EQ(SealInkData(ink.data(), ink_size, pk, nullptr, &size), kInvalid);
  EXPECT_EQ(SealInkData(ink.data(), ink_size, pk, &out, nullptr), kInvalid);
  EXPECT_EQ(OpenInkData(nullptr, 9, pk, sk, &out, &size), kInvalid);
  EXPECT_EQ(OpenInkData(sealed.data(), sealed_size, nullptr, sk, &out, &size), kInvalid);
  EXPECT_EQ(OpenInkData(sealed.data(), sealed_size, pk, nullptr, &out, &size), kInvalid);
  EXPECT_EQ(OpenInkData(sealed.data(), sealed_size, pk, sk, nullptr, &size), kInvalid);
  EXPECT_EQ(OpenInkData(sealed.data(), sealed_size, pk, sk, &out, nullptr), kInvalid);
  EXPECT_EQ(CreateKeyPair(nullptr, &byte), kInvalid);
  EXPECT_EQ(CreateKeyPair(&byte, nullptr), kInvalid);
  EXPECT_EQ(FreeBuffer(nullptr), kInvalid);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(other, nullptr);
}

TEST(Arguments, ReleasingNothingDoesNothing) {
  std::uint8_t* nothing = nullptr;
  EXPECT_EQ(FreeBuffer(&nothing), TALVO_ENCRYPTION_SUCCESS);
}

}  // namespace
