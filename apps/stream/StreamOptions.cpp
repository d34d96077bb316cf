#include "stream/StreamOptions.h"

#include <CLI/Error.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <sstream>

namespace Stream {
namespace {

const char kTls[] = "tls://";

bool BeginsWith(const std::string& text, const std::string& begin) {
  return text.compare(0, begin.size(), begin) == 0;
}

CLI::Validator NameValidator() {
  return CLI::Validator(
      [](std::string& text) {
        return IsStreamName(text) ? std::string()
                                  : "'" + text + "' has more than letters, digits, '-' and '_'";
      },
      "");
}

}  // namespace

bool StreamOptions::is_tls() const {
  return !tls_ca_file.empty() || !tls_certificate_file.empty() || !tls_name.empty() ||
         std::any_of(servers.begin(), servers.end(),
                     [](const std::string& server) { return BeginsWith(server, kTls); });
}

bool IsStreamName(const std::string& text) {
  const auto is_fit = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  return !text.empty() && std::all_of(text.begin(), text.end(), is_fit);
}

void DeclareStreamOptions(CLI::App& app, StreamOptions& options) {
  app.add_option("--stream", options.stream, "The stream's name, INK if it is not given")
      ->check(NameValidator())
      ->type_name("NAME");
  app.add_option("--creds", options.credentials_file, "Credentials of the server's own kind")
      ->check(CLI::ExistingFile)
      ->type_name("FILE");
  app.add_option("--login", options.login_file, "A file with USER:PASSWORD in its first line")
      ->check(CLI::ExistingFile)
      ->excludes("--creds")
      ->type_name("FILE");
  app.add_option("--tls-ca", options.tls_ca_file,
                 "Certificates of the authorities to trust, instead of the system's")
      ->check(CLI::ExistingFile)
      ->type_name("FILE");
  CLI::Option* certificate = app.add_option("--tls-cert", options.tls_certificate_file,
                                            "Certificate to show to the server")
                                 ->check(CLI::ExistingFile)
                                 ->type_name("FILE");
  CLI::Option* key = app.add_option("--tls-key", options.tls_key_file, "The certificate's key")
                         ->check(CLI::ExistingFile)
                         ->type_name("FILE");
  certificate->needs(key);
  key->needs(certificate);
  app.add_option("--tls-name", options.tls_name,
                 "Name in the servers' certificates, if it is not that of the first server")
      ->type_name("HOST");
}

std::vector<std::string> ParseServers(const std::string& text) {
  std::vector<std::string> servers;
  std::string scheme = "nats://";
  std::istringstream in(text);
  for (std::string server; std::getline(in, server, ',');) {
    const std::size_t end = server.find("://");
    if (end != std::string::npos) {
      scheme = server.substr(0, end + 3);
      server.erase(0, end + 3);
    }
    if (scheme != "nats://" && scheme != kTls) {
      throw CLI::ValidationError("servers", "'" + scheme + "' is neither nats:// nor tls://");
    }
    if (server.empty()) throw CLI::ValidationError("servers", "a server has no name");
    if (server.find('@') != std::string::npos) {
      throw CLI::ValidationError(
          "servers", "a password here could be seen by every user of the machine; use --login");
    }
    servers.push_back(scheme + server);
  }
  if (servers.empty()) throw CLI::ValidationError("servers", "no server is named");
  return servers;
}

}  // namespace Stream
