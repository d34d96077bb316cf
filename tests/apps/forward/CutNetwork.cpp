#include "CutNetwork.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "support/Process.h"

using TalvoCppUtils::Descriptor;

namespace {

Descriptor OpenNetwork() {
  return Descriptor(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
}

void Enter(const Descriptor& network) {
  if (::setns(network.get(), CLONE_NEWNET) != 0) {
    throw std::runtime_error(std::string("can't enter a network: ") + std::strerror(errno));
  }
}

// Runs ip(8) with these words in the thread's network; what it says against it.
std::string Ip(std::vector<std::string> words) {
  words.insert(words.begin(), IP_TOOL);
  const Finished run = RunToEnd(words);
  return run.status == 0 ? "" : "ip: " + run.error;
}

}  // namespace

CutNetwork::CutNetwork() : before_(OpenNetwork()) {
  if (Make()) return;
  if (why_not_.empty()) why_not_ = std::string("no network of its own: ") + std::strerror(errno);
  if (has_left_) Enter(before_);
}

CutNetwork::~CutNetwork() {
  if (has_left_) ::setns(before_.get(), CLONE_NEWNET);
}

bool CutNetwork::Make() {
  if (::unshare(CLONE_NEWNET) != 0) return false;
  has_left_ = true;
  server_ = OpenNetwork();
  // By the descriptor, since ip can't name what has no name.
  const std::string server =
      "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(server_.get());
  why_not_ = Ip({"link", "set", "lo", "up"});
  if (!why_not_.empty() || ::unshare(CLONE_NEWNET) != 0) return false;
  clients_ = OpenNetwork();
  using Words = std::vector<std::string>;
  for (const Words& words :
       {Words{"link", "set", "lo", "up"},
        Words{"link", "add", "wire", "type", "veth", "peer", "name", "wire", "netns", server},
        Words{"addr", "add", "192.0.2.2/24", "dev", "wire"}, Words{"link", "set", "wire", "up"}}) {
    why_not_ = Ip(words);
    if (!why_not_.empty()) return false;
  }
  Enter(server_);
  why_not_ = Ip({"addr", "add", std::string(kServer) + "/24", "dev", "wire"});
  if (!why_not_.empty()) return false;
  Enter(clients_);
  Mend();
  return true;
}

void CutNetwork::EnterClients() {
  Enter(clients_);
}

void CutNetwork::EnterServer() {
  Enter(server_);
}

// The server's end, so that the clients' network still knows its way: a packet is dropped on it.
void CutNetwork::SetWire(const std::string& state) {
  const Descriptor now = OpenNetwork();
  Enter(server_);
  const std::string failure = Ip({"link", "set", "wire", state});
  Enter(now);
  if (!failure.empty()) throw std::runtime_error(failure);
}
