// An operator, an account and its users, as a server that knows no passwords wants them: each names
// the next one in a signed token. The keys are made for the test.

#pragma once

#include <string>
#include <vector>

class NatsCredentials {
 public:
  NatsCredentials();

  // Lines of a server's configuration: it lets users of the account in.
  std::string ServerSettings() const;

  // A credentials file of a user of the account.
  std::string OfUser() const;

 private:
  struct Key {
    explicit Key(unsigned char kind);

    unsigned char kind;
    std::string seed;
    std::string secret;
    std::string name;  // the public key, as tokens write it
  };
  static std::string Sign(const Key& issuer, const Key& subject, const std::string& claims);

  const Key operator_, account_, system_, user_;
};
