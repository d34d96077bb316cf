// Key files: a public key to seal ink to, and the secret key that opens it. Text of a few lines,
// so that a key can be looked at and sent in a letter. The bytes of a file come from the caller and
// go back to it; a caller that holds the text of a secret key wipes it after use.
//
//   stf2 secret key        (or: stf2 public key)
//   public 1F0C...         (64 hexadecimal digits)
//   secret 77AB...         (in the secret key's file alone)

#pragma once

#include <TalvoEncryption/Encryption.h>

#include <array>
#include <cstdint>
#include <string>

namespace TalvoInk {

using Key = std::array<std::uint8_t, TALVO_KEY_BYTES>;

// A secret key and what was read or written of it; wiped when it goes.
struct KeyPair {
  KeyPair() = default;
  ~KeyPair();
  KeyPair(const KeyPair&) = delete;
  KeyPair& operator=(const KeyPair&) = delete;
  Key public_key{};
  Key secret_key{};
};

// Overwrites the text so that nothing of it stays in memory.
void Wipe(std::string& text);

std::string WritePublicKey(const Key& key);
std::string WriteSecretKey(const KeyPair& pair);  // wipe it after use

// The key of a public key's file. Throws InkError for anything else, a secret key's file included.
Key ParsePublicKey(const std::string& text);

// Both keys of a secret key's file. Throws InkError for anything else.
void ParseSecretKey(const std::string& text, KeyPair& pair);

}  // namespace TalvoInk
