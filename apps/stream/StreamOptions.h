// Where the stream of ink is and how to be let in, as command lines say it. Both ends of the stream
// share these options.

#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace Stream {

struct StreamOptions {
  std::vector<std::string> servers;  // URLs: nats://HOST[:PORT] or tls://HOST[:PORT]
  std::string stream = "INK";

  std::string credentials_file;  // a user's JWT and its key, as the server's tools write it
  std::string login_file;        // one line, USER:PASSWORD, that only its owner may read

  // Empty: what the system trusts; no certificate of our own; the name of the one server.
  std::string tls_ca_file;
  std::string tls_certificate_file;
  std::string tls_key_file;
  std::string tls_name;

  // Whether any of the servers is to be spoken to with TLS alone.
  bool is_tls() const;
};

// Declares all but the servers. Returns them.
std::vector<CLI::Option*> DeclareStreamOptions(CLI::App& app, StreamOptions& options);

// Takes "nats://HOST[:PORT][,HOST[:PORT]...]" apart; further hosts have the scheme of the first
// unless they name one. Throws CLI::ValidationError with what is wrong.
std::vector<std::string> ParseServers(const std::string& text);

// Whether the text can be the name of a stream or a consumer: not empty, and only letters, digits,
// '-' and '_', which every server takes.
bool IsStreamName(const std::string& text);

}  // namespace Stream
