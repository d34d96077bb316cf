// Who may use the inbox: the token that opens it once, and the cookies of browsers that were let
// in. Every user of the machine can reach a loopback port, so knowing the port opens nothing.
//
// The token lies in a file that only its owner can read; a browser shows it once, as part of the
// address that it opens, and gets a cookie for it. Then there is another token: an address that
// stands in a history, a log or a Referer is worth nothing. Of a cookie only its digest is kept.
//
// Any thread.

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace Inbox {

class Sessions {
 public:
  // A session that is to be remembered over a restart.
  struct Session {
    std::string digest;
    std::int64_t until_ms = 0;
  };

  // `address_file` is written with each new token: the address that opens the inbox. `remember` is
  // called with each new session; it must not wait. `known` are those of earlier runs.
  Sessions(std::string address_file, std::function<void(const Session&)> remember,
           const std::map<std::string, std::int64_t>& known = {});

  // Removes the address file.
  ~Sessions();
  Sessions(const Sessions&) = delete;
  Sessions& operator=(const Sessions&) = delete;

  // From now on the inbox is at this port; makes the first token. Throws std::runtime_error if the
  // file can't be written.
  void Begin(unsigned short port);

  // The address that opens the inbox in a browser.
  std::string Address() const;

  // A new session for the token: the cookie's value. Empty for every other text; the token stays
  // what it is then, and also while its successor can't be written.
  std::string Open(const std::string& token, std::int64_t now_ms);

  // Whether the Cookie header holds the cookie of a session.
  bool IsOpen(const std::string& cookies, std::int64_t now_ms) const;

  // The cookie's name: one for each port, since cookies don't tell ports apart.
  std::string CookieName() const;

  // The value of Set-Cookie that gives a browser the session.
  std::string SetCookie(const std::string& value) const;

 private:
  void MakeToken();  // throws std::runtime_error, with the old one as it was
  std::string AddressWith(const std::string& token) const;

  const std::string address_file_;
  const std::function<void(const Session&)> remember_;
  mutable std::mutex mutex_;  // of all below
  unsigned short port_ = 0;
  std::string token_;
  std::map<std::string, std::int64_t> sessions_;  // digest and end
};

}  // namespace Inbox
