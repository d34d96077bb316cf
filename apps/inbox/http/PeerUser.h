// Whose program is at the other end of a loopback connection.

#pragma once

#include <sys/types.h>

#include <boost/asio/ip/tcp.hpp>
#include <optional>

namespace Inbox {

// The user of the socket whose own end is `source` and whose other end is `destination`, from
// either of the system's two ways to tell: a question to the kernel about this one socket, or the
// tables of all sockets in /proc. None if that way does not tell. Neither waits.
std::optional<uid_t> UserFromKernel(const boost::asio::ip::tcp::endpoint& source,
                                    const boost::asio::ip::tcp::endpoint& destination);
std::optional<uid_t> UserFromTables(const boost::asio::ip::tcp::endpoint& source,
                                    const boost::asio::ip::tcp::endpoint& destination);

// Whether the system says that the socket at the other end belongs to another user than this
// process does. False if it says nothing: then the cookie alone decides.
bool IsOtherUsers(const boost::asio::ip::tcp::socket& socket);

}  // namespace Inbox
