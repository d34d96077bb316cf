// Whose program is at the other end of a connection, asked of a real one.

#include "http/PeerUser.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>

#include "support/Machine.h"

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

// A connection to ourselves, whose connecting end was made by another user if that can be.
class Connected {
 public:
  explicit Connected(const asio::ip::address& address, bool is_other_user = false)
      : acceptor_(queue_, tcp::endpoint(address, 0)), client_(queue_), server_(queue_) {
    if (is_other_user) {
      const PlainUser user;
      client_.connect(acceptor_.local_endpoint());
    } else {
      client_.connect(acceptor_.local_endpoint());
    }
    acceptor_.accept(server_);
  }

  tcp::socket& server() { return server_; }

 private:
  asio::io_context queue_;
  tcp::acceptor acceptor_;
  tcp::socket client_, server_;
};

const asio::ip::address kV4 = asio::ip::address_v4::loopback();
const asio::ip::address kV6 = asio::ip::address_v6::loopback();

}  // namespace

TEST(PeerUser, IsOurselvesOnBothAddresses) {
  for (const auto& address : {kV4, kV6}) {
    Connected connected(address);
    const auto peer = connected.server().remote_endpoint();
    const auto here = connected.server().local_endpoint();
    EXPECT_FALSE(Inbox::IsOtherUsers(connected.server()));
    EXPECT_EQ(Inbox::UserFromTables(peer, here), ::getuid());
    const auto told = Inbox::UserFromKernel(peer, here);
    EXPECT_EQ(told.value_or(::getuid()), ::getuid());
  }
}

TEST(PeerUser, IsNotTakenForAnotherConnection) {
  Connected connected(kV4);
  auto peer = connected.server().remote_endpoint();
  const auto here = connected.server().local_endpoint();
  peer.port(static_cast<unsigned short>(peer.port() ^ 1));
  EXPECT_FALSE(Inbox::UserFromTables(peer, here));
  EXPECT_FALSE(Inbox::UserFromKernel(peer, here));
}

TEST(PeerUser, AnotherUserIsRecognized) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  for (const auto& address : {kV4, kV6}) {
    Connected connected(address, true);
    EXPECT_TRUE(Inbox::IsOtherUsers(connected.server()));
    EXPECT_EQ(Inbox::UserFromTables(connected.server().remote_endpoint(),
                                    connected.server().local_endpoint()),
              65534u);
  }
}
