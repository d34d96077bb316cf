// Keys, ink and sealed ink for the tests.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "TalvoEncryption/Encryption.h"

typedef std::vector<std::uint8_t> Bytes;
typedef std::array<std::uint8_t, TALVO_KEY_BYTES> Key;

struct KeyPair {
  KeyPair();
  Key public_key;
  Key secret_key;
};

// One stroke of the pen, with the text as a property.
Bytes InkOfPen(std::uint64_t pen, const std::string& text = "text");

// Fails the running test if sealing does not succeed.
Bytes Seal(const Bytes& ink, const Key& public_key);

// An envelope made by hand, as another writer would make it.
struct EnvelopeModel {
  std::uint64_t pen = 0;
  Bytes recipient;
  std::uint8_t algorithm = 1;
  Bytes box;
};
Bytes EnvelopeOf(const EnvelopeModel& model);

// What the envelope holds. `sealed` must be well-formed.
EnvelopeModel ModelOf(const Bytes& sealed);

// A status, and the ink on success.
struct Opened {
  int status = 0;
  Bytes ink;
};
Opened Open(const Bytes& sealed, const Key& public_key, const Key& secret_key);
inline Opened Open(const Bytes& sealed, const KeyPair& keys) {
  return Open(sealed, keys.public_key, keys.secret_key);
}
