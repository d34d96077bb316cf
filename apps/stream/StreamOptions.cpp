#include "stream/StreamOptions.h"

#include <CLI/Error.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <regex>
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

// HOST or HOST:PORT; an address with colons stands in brackets.
bool IsServer(const std::string& text) {
  static const std::regex form(R"(([A-Za-z0-9._-]+|\[[0-9A-Fa-f:.]+\])(:([0-9]{1,5}))?)");
  std::smatch parts;
  if (!std::regex_match(text, parts, form)) return false;
  if (!parts[3].matched) return true;
  const int port = std::stoi(parts[3]);
  return port > 0 && port <= 65535;
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

std::vector<CLI::Option*> DeclareStreamOptions(CLI::App& app, StreamOptions& options) {
  CLI::Option* stream =
      app.add_option("--stream", options.stream, "The stream's name, INK if it is not given")
          ->check(NameValidator())
          ->type_name("NAME");
  CLI::Option* credentials =
      app.add_option("--creds", options.credentials_file, "Credentials of the server's own kind")
          ->check(CLI::ExistingFile)
          ->type_name("FILE");
  CLI::Option* login =
      app.add_option("--login", options.login_file, "A file with USER:PASSWORD in its first line")
          ->check(CLI::ExistingFile)
          ->excludes(credentials)
          ->type_name("FILE");
  CLI::Option* authorities =
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
  CLI::Option* name =
      app.add_option("--tls-name", options.tls_name,
                     "Name in the servers' certificates, if it is not that of the first server")
          ->type_name("HOST");
  return {stream, credentials, login, authorities, certificate, key, name};
}

std::vector<std::string> ParseServers(const std::string& text) {
  std::vector<std::string> servers;
  if (text.empty() || text.back() == ',') {
    throw CLI::ValidationError("servers", "a server has no name");
  }
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
    if (!IsServer(server)) {
      throw CLI::ValidationError("servers", "'" + server + "' is not HOST or HOST:PORT");
    }
    servers.push_back(scheme + server);
  }
  if (servers.empty()) throw CLI::ValidationError("servers", "no server is named");
  return servers;
}

}  // namespace Stream
