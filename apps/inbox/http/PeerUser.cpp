#include "http/PeerUser.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>

namespace Inbox {
namespace {

using boost::asio::ip::tcp;

struct Question {
  nlmsghdr header;
  inet_diag_req_v2 socket;
};

void PutAddress(const boost::asio::ip::address& address, __be32 (&out)[4]) {
  if (address.is_v4()) {
    const auto bytes = address.to_v4().to_bytes();
    std::memcpy(out, bytes.data(), bytes.size());
  } else {
    const auto bytes = address.to_v6().to_bytes();
    std::memcpy(out, bytes.data(), bytes.size());
  }
}

// The peer's socket: its source is our remote end.
Question AskFor(const tcp::endpoint& source, const tcp::endpoint& destination) {
  Question question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.socket.sdiag_family = source.address().is_v4() ? AF_INET : AF_INET6;
  question.socket.sdiag_protocol = IPPROTO_TCP;
  question.socket.idiag_states = ~0u;
  question.socket.id.idiag_sport = htons(source.port());
  question.socket.id.idiag_dport = htons(destination.port());
  PutAddress(source.address(), question.socket.id.idiag_src);
  PutAddress(destination.address(), question.socket.id.idiag_dst);
  question.socket.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
  question.socket.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return question;
}

std::optional<uid_t> Ask(const Question& question) {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (fd < 0) return std::nullopt;
  alignas(nlmsghdr) char answer[4096];
  ssize_t size = -1;
  if (::send(fd, &question, sizeof question, 0) == static_cast<ssize_t>(sizeof question)) {
    size = ::recv(fd, answer, sizeof answer, MSG_DONTWAIT);  // the kernel has answered by now
  }
  ::close(fd);
  const auto* const header = reinterpret_cast<const nlmsghdr*>(answer);
  if (size < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(inet_diag_msg))) ||
      header->nlmsg_type != SOCK_DIAG_BY_FAMILY) {
    return std::nullopt;
  }
  return static_cast<const inet_diag_msg*>(NLMSG_DATA(header))->idiag_uid;
}

// "0100007F:1F90", as the tables in /proc write the end of a connection: words of the machine's
// byte order.
std::string TableText(const tcp::endpoint& endpoint) {
  __be32 words[4] = {};
  PutAddress(endpoint.address(), words);
  std::string text;
  char digits[16];
  for (int i = 0; i < (endpoint.address().is_v4() ? 1 : 4); ++i) {
    std::snprintf(digits, sizeof digits, "%08X", words[i]);
    text += digits;
  }
  std::snprintf(digits, sizeof digits, ":%04X", endpoint.port());
  return text + digits;
}

// For a kernel that answers no such questions: reads a table of all connections.
std::optional<uid_t> LookUp(const char* table, const std::string& source,
                            const std::string& destination) {
  std::ifstream file(table);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    fields.imbue(std::locale::classic());
    std::string number, local, remote, state, queues, timer, retransmits;
    uid_t user = 0;
    fields >> number >> local >> remote >> state >> queues >> timer >> retransmits >> user;
    if (fields && local == source && remote == destination) return user;
  }
  return std::nullopt;
}

}  // namespace

std::optional<uid_t> UserFromKernel(const tcp::endpoint& source, const tcp::endpoint& destination) {
  return Ask(AskFor(source, destination));
}

std::optional<uid_t> UserFromTables(const tcp::endpoint& source, const tcp::endpoint& destination) {
  const std::string from = TableText(source), to = TableText(destination);
  const auto user = LookUp(source.address().is_v4() ? "/proc/net/tcp" : "/proc/net/tcp6", from, to);
  if (user || !source.address().is_v4()) return user;
  // A program may speak IPv4 through a socket of IPv6.
  const std::string mapped = "0000000000000000FFFF0000";
  return LookUp("/proc/net/tcp6", mapped + from, mapped + to);
}

bool IsOtherUsers(const tcp::socket& socket) {
  boost::system::error_code error;
  const tcp::endpoint peer = socket.remote_endpoint(error);
  if (error) return false;
  const tcp::endpoint here = socket.local_endpoint(error);
  if (error) return false;
  auto user = UserFromKernel(peer, here);
  if (!user) user = UserFromTables(peer, here);
  return user && *user != ::getuid();
}

}  // namespace Inbox
