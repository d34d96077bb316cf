// Whose program is at the other end of a loopback connection.

#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace Inbox {

// Whether the system says that the socket at the other end belongs to another user than this
// process does. False if it does not say: then the cookie alone decides. Asks the kernel, which
// answers without waiting.
bool IsOtherUsers(const boost::asio::ip::tcp::socket& socket);

}  // namespace Inbox
