// Whom the inbox listens to. It judges a request by its head, before anything of its body is read:
//
//   Host             must be a loopback name with our port, so that no name that somebody else's
//   DNS
//                    leads to this machine reaches us
//   Sec-Fetch-Site   a request that a browser makes for another page is refused, whatever it asks
//   Origin           must be ours on everything that changes something
//   the cookie       must be that of a session, on everything but /open and the program below /web/
//   Content-Type     must be one that no form of another page can send
//
// Any thread.

#pragma once

#include <cstddef>
#include <optional>

#include "http/Message.h"
#include "http/Sessions.h"

namespace Inbox {

// The largest body of any other request: a page of the pad.
inline constexpr std::size_t kMostJsonBytes = std::size_t{8} << 20;

class Guard {
 public:
  Guard(Sessions& sessions, unsigned short port) : sessions_(sessions), port_(port) {}

  // The refusal, if the request is to be refused. `request` is without its body.
  std::optional<Response> Refuse(const Request& request) const;

  // How much of a body the request may have.
  static std::size_t MostBodyBytes(const Request& request);

  // Whether the request comes from a browser that was let in.
  bool IsKnown(const Request& request) const;

 private:
  bool IsOurHost(const std::string& host) const;
  std::optional<Response> RefuseChange(const Request& request) const;

  Sessions& sessions_;
  const unsigned short port_;
};

// For people whose browser was not let in: how to open the inbox.
Response MakeClosedPage();

// Headers that every response has.
const std::vector<std::pair<std::string, std::string>>& SafetyHeaders();

}  // namespace Inbox
