#include "NatsCredentials.h"

#include <sodium.h>

namespace {

// What the first letter of a key becomes.
constexpr unsigned char kOperator = 14 << 3, kAccount = 0, kUser = 20 << 3, kSeed = 18 << 3;

std::string Base32(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
  std::string text;
  unsigned buffer = 0;
  int bits = 0;
  for (const char byte : bytes) {
    buffer = buffer << 8 | static_cast<unsigned char>(byte);
    for (bits += 8; bits >= 5; bits -= 5) text += kDigits[buffer >> (bits - 5) & 31];
  }
  if (bits > 0) text += kDigits[buffer << (5 - bits) & 31];
  return text;
}

// A CRC of 16 bits (X.25's polynomial, from 0), low byte first.
std::string Checksum(const std::string& bytes) {
  unsigned crc = 0;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned>(static_cast<unsigned char>(byte)) << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000 ? crc << 1 ^ 0x1021 : crc << 1) & 0xFFFF;
  }
  return {static_cast<char>(crc & 0xFF), static_cast<char>(crc >> 8)};
}

std::string KeyText(const std::string& bytes) {
  return Base32(bytes + Checksum(bytes));
}

std::string Base64(const std::string& bytes) {
  constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
  std::string text(sodium_base64_ENCODED_LEN(bytes.size(), kVariant), '\0');
  ::sodium_bin2base64(text.data(), text.size(),
                      reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), kVariant);
  text.pop_back();  // the zero byte
  return text;
}

unsigned char* Bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

}  // namespace

NatsCredentials::Key::Key(unsigned char of_kind)
    : kind(of_kind), seed(crypto_sign_SEEDBYTES, '\0'), secret(crypto_sign_SECRETKEYBYTES, '\0') {
  std::string open(crypto_sign_PUBLICKEYBYTES, '\0');
  ::randombytes_buf(seed.data(), seed.size());
  ::crypto_sign_seed_keypair(Bytes(open), Bytes(secret), Bytes(seed));
  name = KeyText(static_cast<char>(kind) + open);
}

NatsCredentials::NatsCredentials()
    : operator_(kOperator), account_(kAccount), system_(kAccount), user_(kUser) {}

std::string NatsCredentials::Sign(const Key& issuer, const Key& subject,
                                  const std::string& claims) {
  const std::string text = Base64(R"({"typ":"JWT","alg":"ed25519-nkey"})") + "." +
                           Base64(R"({"jti":"1","iat":1,"iss":")" + issuer.name + R"(","sub":")" +
                                  subject.name + R"(","nats":{"version":2,)" + claims + "}}");
  std::string signature(crypto_sign_BYTES, '\0');
  ::crypto_sign_detached(Bytes(signature), nullptr,
                         reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                         reinterpret_cast<const unsigned char*>(issuer.secret.data()));
  return text + "." + Base64(signature);
}

std::string NatsCredentials::ServerSettings() const {
  const std::string limits =
      R"("limits":{"subs":-1,"data":-1,"payload":-1,"imports":-1,"exports":-1,"wildcards":true,)"
      R"("conn":-1,"leaf":-1)";
  const std::string streams = R"(,"mem_storage":-1,"disk_storage":-1,"streams":-1,"consumer":-1)";
  const std::string account = R"("type":"account",)" + limits;
  return "operator: \"" + Sign(operator_, operator_, R"("type":"operator")") +
         "\"\nsystem_account: " + system_.name + "\nresolver: MEMORY\nresolver_preload: {\n  " +
         account_.name + ": \"" + Sign(operator_, account_, account + streams + "}") + "\"\n  " +
         system_.name + ": \"" + Sign(operator_, system_, account + "}") + "\"\n}\n";
}

std::string NatsCredentials::OfUser() const {
  const std::string token =
      Sign(account_, user_, R"("type":"user","pub":{},"sub":{},"subs":-1,"data":-1,"payload":-1)");
  const std::string begin = {static_cast<char>(kSeed | user_.kind >> 5),
                             static_cast<char>((user_.kind & 31) << 3)};
  return "-----BEGIN NATS USER JWT-----\n" + token +
         "\n------END NATS USER JWT------\n\n-----BEGIN USER NKEY SEED-----\n" +
         KeyText(begin + user_.seed) + "\n------END USER NKEY SEED------\n";
}
