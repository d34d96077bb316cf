#include "NatsServer.h"

#include <TalvoCppUtils/Descriptor.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <boost/filesystem/operations.hpp>
#include <stdexcept>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

namespace {

sockaddr_in Loopback(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

bool Listens(unsigned short port) {
  const TalvoCppUtils::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = Loopback(port);
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

unsigned short FreePort() {
  const TalvoCppUtils::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no free port");
  }
  return ntohs(address.sin_port);
}

NatsServer::NatsServer(const boost::filesystem::path& folder, const std::string& settings,
                       unsigned short port, const std::string& address)
    : folder_(folder), settings_(settings), port_(port), address_(address) {
  const int most_attempts = port == 0 ? 5 : 1;  // another program may take a free port before us
  for (int attempt = 0; attempt < most_attempts; ++attempt) {
    if (port == 0) port_ = FreePort();
    if (TryStart()) return;
  }
  throw std::runtime_error("the server did not start:\n" + ReadFile(folder_ / "log"));
}

void NatsServer::Start() {
  if (!TryStart()) {
    throw std::runtime_error("the server did not start:\n" + ReadFile(folder_ / "log"));
  }
}

bool NatsServer::TryStart() {
  boost::filesystem::create_directories(folder_);
  WriteFile(folder_ / "configuration", "listen: \"" + address_ + ":" + std::to_string(port_) +
                                           "\"\nlog_file: \"" + (folder_ / "log").string() +
                                           "\"\njetstream { store_dir: \"" +
                                           (folder_ / "streams").string() + "\" }\n" + settings_);
  process_ = std::make_unique<Process>(
      std::vector<std::string>{NATS_SERVER, "-c", (folder_ / "configuration").string()});
  // The port may be another program's: then the server ends, and says so.
  bool has_ended = false;
  const bool listens = Eventually([&] {
    has_ended = ReadFile(folder_ / "log").find("address already in use") != std::string::npos;
    return has_ended || Listens(port_);
  });
  if (listens && !has_ended) return true;
  process_.reset();
  return false;
}

void NatsServer::Kill() {
  process_->Signal(SIGKILL);
  process_->Wait();
  process_.reset();
}
