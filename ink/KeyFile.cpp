#include "ink/KeyFile.h"

#include <string.h>

#include "ink/InkError.h"
#include "ink/Text.h"

namespace TalvoInk {
namespace {

const char kPublicTitle[] = "stf2 public key";
const char kSecretTitle[] = "stf2 secret key";

bool BeginsWith(const std::string& text, const char* begin) {
  return text.compare(0, ::strlen(begin), begin) == 0;
}

// The key in the line "NAME HEX"; the text is not copied, for it may be secret.
void ParseLine(const std::string& text, const std::string& name, Key& key) {
  const std::size_t line = text.find("\n" + name + " ");
  const std::size_t begin = line == std::string::npos ? text.size() : line + name.size() + 2;
  const std::size_t count = 2 * key.size();
  bool whole = true;
  for (std::size_t i = 0; whole && i < key.size(); ++i) {
    whole = ParseHexByte(text, begin + 2 * i, key[i]);
  }
  const bool ends = whole && (begin + count == text.size() || text[begin + count] == '\n' ||
                              text[begin + count] == '\r');
  if (!ends) throw InkError("its " + name + " key is not 64 hexadecimal digits");
}

}  // namespace

KeyPair::~KeyPair() {
  ::explicit_bzero(secret_key.data(), secret_key.size());
}

void Wipe(std::string& text) {
  ::explicit_bzero(text.data(), text.size());
}

std::string WritePublicKey(const Key& key) {
  return std::string(kPublicTitle) + "\npublic " + Hexadecimal(key.data(), key.size()) + "\n";
}

std::string WriteSecretKey(const KeyPair& pair) {
  std::string out;
  out.reserve(256);  // one buffer, so that wiping it wipes every copy
  out += kSecretTitle;
  out += "\npublic " + Hexadecimal(pair.public_key.data(), pair.public_key.size()) + "\nsecret ";
  std::string digits = Hexadecimal(pair.secret_key.data(), pair.secret_key.size());
  out += digits;
  Wipe(digits);
  out += '\n';
  return out;
}

Key ParsePublicKey(const std::string& text) {
  if (BeginsWith(text, kSecretTitle)) {
    throw InkError("is a secret key; ink is sealed to the public one, the file ending in .pub");
  }
  if (!BeginsWith(text, kPublicTitle)) throw InkError("is not a public key file");
  Key key{};
  ParseLine(text, "public", key);
  return key;
}

void ParseSecretKey(const std::string& text, KeyPair& pair) {
  if (BeginsWith(text, kPublicTitle)) {
    throw InkError("is a public key; ink is opened with the secret one");
  }
  if (!BeginsWith(text, kSecretTitle)) throw InkError("is not a secret key file");
  ParseLine(text, "public", pair.public_key);
  ParseLine(text, "secret", pair.secret_key);
}

}  // namespace TalvoInk
