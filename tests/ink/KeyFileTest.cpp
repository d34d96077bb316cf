#include "ink/KeyFile.h"

#include <gtest/gtest.h>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

template <typename Parse>
std::string RefusalOf(const Parse& parse) {
  try {
    parse();
  } catch (const InkError& error) {
    return error.what();
  }
  return {};
}

KeyPair& FillWithNumbers(KeyPair& pair) {
  for (std::size_t i = 0; i < pair.public_key.size(); ++i) {
    pair.public_key[i] = static_cast<std::uint8_t>(i);
    pair.secret_key[i] = static_cast<std::uint8_t>(255 - i);
  }
  return pair;
}

TEST(KeyFile, KeysAreReadAsTheyAreWritten) {
  KeyPair pair;
  FillWithNumbers(pair);
  KeyPair again;
  ParseSecretKey(WriteSecretKey(pair), again);
  EXPECT_EQ(again.public_key, pair.public_key);
  EXPECT_EQ(again.secret_key, pair.secret_key);
  EXPECT_EQ(ParsePublicKey(WritePublicKey(pair.public_key)), pair.public_key);
}

TEST(KeyFile, ThePublicKeysFileHoldsNoSecret) {
  KeyPair pair;
  FillWithNumbers(pair);
  EXPECT_EQ(WritePublicKey(pair.public_key).find("secret"), std::string::npos);
}

TEST(KeyFile, TheWrongOneOfThePairIsNamed) {
  KeyPair pair;
  FillWithNumbers(pair);
  EXPECT_EQ(RefusalOf([&] { ParsePublicKey(WriteSecretKey(pair)); }),
            "is a secret key; ink is sealed to the public one, the file ending in .pub");
  EXPECT_EQ(RefusalOf([&] { ParseSecretKey(WritePublicKey(pair.public_key), pair); }),
            "is a public key; ink is opened with the secret one");
}

TEST(KeyFile, DamagedKeysAreRefused) {
  KeyPair pair;
  EXPECT_EQ(RefusalOf([&] { ParsePublicKey("hello"); }), "is not a public key file");
  EXPECT_EQ(RefusalOf([&] { ParseSecretKey("hello", pair); }), "is not a secret key file");
  const std::string whole = WritePublicKey(FillWithNumbers(pair).public_key);
  EXPECT_EQ(RefusalOf([&] { ParsePublicKey(whole.substr(0, whole.size() - 3)); }),
            "its public key is not 64 hexadecimal digits");
}

}  // namespace
}  // namespace TalvoInk
