#include "stream/Connection.h"

#include <sodium.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <vector>

namespace Stream {
namespace {

constexpr std::int64_t kConnectTimeoutMs = 3000;

// For an answer of the stream: three servers may first have to choose who leads it.
constexpr std::int64_t kAnswerTimeoutMs = 5000;

// A server that dies without a word is noticed after two of these.
constexpr std::int64_t kPingIntervalMs = 10000;

// For the bytes of a message. A megabyte needs 0.3 Mbit/s.
constexpr std::int64_t kWriteDeadlineMs = 30000;

constexpr std::int64_t kFirstReconnectMs = 100;
constexpr std::int64_t kLongestReconnectMs = 10000;

struct OptionsDeleter {
  void operator()(natsOptions* options) const { ::natsOptions_Destroy(options); }
};
using OptionsPtr = std::unique_ptr<natsOptions, OptionsDeleter>;

void Check(const std::string& operation, natsStatus status) {
  if (status != NATS_OK) throw StreamError(operation, status);
}

std::int64_t ReconnectDelay(natsConnection*, int attempts, void*) {
  return ReconnectDelayMs(attempts);
}

void OnChange(natsConnection*, void* watcher) {
  static_cast<Watcher*>(watcher)->OnChange();
}

void OnError(natsConnection* connection, natsSubscription*, natsStatus status, void* watcher) {
  const char* reason = nullptr;
  ::natsConnection_GetLastError(connection, &reason);
  const bool has_reason = reason != nullptr && *reason != '\0';
  static_cast<Watcher*>(watcher)->OnServerError(has_reason ? reason : ::natsStatus_GetText(status));
}

void SetLogin(natsOptions* options, const std::string& file) {
  std::ifstream in(file);
  std::string line;
  if (!std::getline(in, line)) throw StreamError("can't read USER:PASSWORD from " + file);
  const std::size_t colon = line.find(':');
  if (colon == std::string::npos) throw StreamError(file + " does not hold USER:PASSWORD");
  const natsStatus status = ::natsOptions_SetUserInfo(options, line.substr(0, colon).c_str(),
                                                      line.substr(colon + 1).c_str());
  ::sodium_memzero(&line[0], line.size());
  Check("can't use the login of " + file, status);
}

std::string HostOf(const std::string& server) {
  const std::size_t begin = server.find("://") + 3;
  if (server[begin] == '[') return server.substr(begin + 1, server.find(']') - begin - 1);
  return server.substr(begin, server.find(':', begin) - begin);
}

// The library checks the name of a certificate only if it is told which one to expect.
void SetTls(natsOptions* options, const StreamOptions& wanted) {
  if (!wanted.is_tls()) return;
  Check("can't use TLS", ::natsOptions_SetSecure(options, true));
  const std::string name =
      wanted.tls_name.empty() ? HostOf(wanted.servers.front()) : wanted.tls_name;
  Check("can't use TLS", ::natsOptions_SetExpectedHostname(options, name.c_str()));
  if (!wanted.tls_ca_file.empty()) {
    Check("can't use the certificates of " + wanted.tls_ca_file,
          ::natsOptions_LoadCATrustedCertificates(options, wanted.tls_ca_file.c_str()));
  }
  if (!wanted.tls_certificate_file.empty()) {
    Check("can't use the certificate " + wanted.tls_certificate_file,
          ::natsOptions_LoadCertificatesChain(options, wanted.tls_certificate_file.c_str(),
                                              wanted.tls_key_file.c_str()));
  }
}

OptionsPtr MakeOptions(const StreamOptions& wanted, const std::string& name, Watcher& watcher) {
  natsOptions* made = nullptr;
  Check("can't connect", ::natsOptions_Create(&made));
  OptionsPtr options(made);
  std::vector<const char*> servers;
  for (const std::string& server : wanted.servers) servers.push_back(server.c_str());
  Check("can't connect to " + wanted.servers.front(),
        ::natsOptions_SetServers(made, servers.data(), static_cast<int>(servers.size())));
  for (const natsStatus status :
       {::natsOptions_SetName(made, name.c_str()),
        ::natsOptions_SetTimeout(made, kConnectTimeoutMs),
        ::natsOptions_SetPingInterval(made, kPingIntervalMs),
        ::natsOptions_SetMaxReconnect(made, -1),
        ::natsOptions_SetCustomReconnectDelay(made, ReconnectDelay, nullptr),
        // Otherwise a server that takes no bytes holds up whoever publishes, and the end.
        ::natsOptions_SetWriteDeadline(made, kWriteDeadlineMs),
        // Otherwise a thread of the library's is woken for it, which waits for a millisecond.
        ::natsOptions_SetSendAsap(made, true),
        ::natsOptions_SetFailRequestsOnDisconnect(made, true),
        ::natsOptions_SetDisconnectedCB(made, OnChange, &watcher),
        ::natsOptions_SetReconnectedCB(made, OnChange, &watcher),
        ::natsOptions_SetClosedCB(made, OnChange, &watcher),
        ::natsOptions_SetErrorHandler(made, OnError, &watcher)}) {
    Check("can't connect", status);
  }
  if (!wanted.credentials_file.empty()) {
    Check(
        "can't use the credentials of " + wanted.credentials_file,
        ::natsOptions_SetUserCredentialsFromFiles(made, wanted.credentials_file.c_str(), nullptr));
  }
  if (!wanted.login_file.empty()) SetLogin(made, wanted.login_file);
  SetTls(made, wanted);
  return options;
}

std::string Reason(natsStatus status) {
  natsStatus last = NATS_OK;
  const char* detail = ::nats_GetLastError(&last);
  const bool has_detail = last == status && detail != nullptr && *detail != '\0';
  if (!has_detail) return ::natsStatus_GetText(status);
  // The library puts the place in its own source before it: "(conn.c:1905): ".
  const std::string reason = detail;
  const std::size_t end = reason.find("): ");
  return reason[0] == '(' && end != std::string::npos ? reason.substr(end + 3) : reason;
}

std::string Joined(const std::vector<std::string>& servers) {
  std::string joined;
  for (const std::string& server : servers) joined += (joined.empty() ? "" : ", ") + server;
  return joined;
}

// Since TLS 1.3 a server judges a client's certificate after the client takes the connection as
// made, and just ends it: the library then tells of an answer that was cut off.
std::string SilentRefusal(const StreamOptions& options, natsStatus status) {
  const std::string detail = Reason(status);
  const bool is_cut_off =
      detail == "Expected 'PONG', got ''" || detail.rfind("SSL_", 0) == 0;  // a call's name
  if (!options.is_tls() || !is_cut_off) return {};
  return options.tls_certificate_file.empty()
             ? "the server wants a certificate (--tls-cert), or ended the connection for another "
               "reason"
             : "the server does not take the certificate " + options.tls_certificate_file +
                   ", or ended the connection for another reason";
}

}  // namespace

// After a failure of a server thousands of clients come back: not in step.
std::int64_t ReconnectDelayMs(int attempts) {
  const std::int64_t longest =
      std::min(kLongestReconnectMs, kFirstReconnectMs << std::clamp(attempts, 1, 10));
  return longest / 2 + ::randombytes_uniform(static_cast<std::uint32_t>(longest / 2) + 1);
}

StreamError::StreamError(const std::string& message) : std::runtime_error(message) {}

StreamError::StreamError(const std::string& message, natsStatus status)
    : std::runtime_error(message + ": " + Reason(status)) {}

Library::Library() {
  // A thread that waits for a lock leaves the processor to the one that has it.
  constexpr std::int64_t kNoSpin = 0;
  Check("can't use the client library", ::nats_Open(kNoSpin));
}

Library::~Library() {
  constexpr std::int64_t kLongestWaitMs = 10000;
  ::nats_CloseAndWait(kLongestWaitMs);
}

Connection::Connection(const StreamOptions& options, const std::string& name, Watcher& watcher) {
  const OptionsPtr made = MakeOptions(options, name, watcher);
  const std::string operation = "can't connect to " + Joined(options.servers);
  const natsStatus connected = ::natsConnection_Connect(&connection_, made.get());
  const std::string refusal = connected == NATS_OK ? "" : SilentRefusal(options, connected);
  if (!refusal.empty()) throw StreamError(operation + ": " + refusal);
  Check(operation, connected);
  jsOptions stream_options;
  ::jsOptions_Init(&stream_options);
  stream_options.Wait = kAnswerTimeoutMs;
  const natsStatus status = ::natsConnection_JetStream(&stream_, connection_, &stream_options);
  if (status == NATS_OK) return;
  ::natsConnection_Destroy(connection_);
  throw StreamError("can't speak to the stream", status);
}

Connection::~Connection() {
  Close();
  ::natsSubscription_Destroy(subscription_);
  ::jsCtx_Destroy(stream_);
  ::natsConnection_Destroy(connection_);
}

void Connection::Subscribe(const std::string& subject, natsMsgHandler take, void* closure) {
  Check("can't listen to " + subject,
        ::natsConnection_Subscribe(&subscription_, connection_, subject.c_str(), take, closure));
}

void Connection::Close() {
  ::natsConnection_Close(connection_);
}

bool Connection::is_connected() const {
  return ::natsConnection_Status(connection_) == NATS_CONN_STATUS_CONNECTED;
}

bool Connection::is_closed() const {
  return ::natsConnection_IsClosed(connection_);
}

std::size_t Connection::limit_bytes() const {
  return static_cast<std::size_t>(::natsConnection_GetMaxPayload(connection_));
}

}  // namespace Stream
