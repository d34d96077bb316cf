#include "http/Guard.h"

#include <TalvoQuillpost/Limits.h>

#include "database/Keeper.h"
#include "http/Target.h"
#include "ink/Text.h"

namespace Inbox {
namespace {

const char kOpenPath[] = "/open";
const char kImportPath[] = "/api/import";

std::string TypeOf(const Request& request) {
  const std::string& header = request.Header("content-type");
  return TalvoInk::LowerCase(TalvoInk::Trim(header.substr(0, header.find(';'))));
}

}  // namespace

bool Guard::IsOurHost(const std::string& host) const {
  const std::string port = ":" + std::to_string(port_);
  return host == "127.0.0.1" + port || host == "localhost" + port || host == "[::1]" + port;
}

bool Guard::IsKnown(const Request& request) const {
  return sessions_.IsOpen(request.Header("cookie"), NowMs());
}

std::optional<Response> Guard::Refuse(const Request& request) const {
  const std::string& host = request.Header("host");
  if (!IsOurHost(host)) return MakeError(421, "this server has no such host");
  if (!request.Header("upgrade").empty()) return MakeError(400, "there is nothing to upgrade to");
  const std::string& site = request.Header("sec-fetch-site");
  // A typed address and a bookmark come from nowhere ("none"). A link on another page may lead to
  // the address that opens the inbox, and to nothing else.
  const bool is_opening = request.method == "GET" && request.path == kOpenPath;
  if (!site.empty() && site != "same-origin" && site != "none" && !is_opening) {
    return MakeError(403, "requests of other pages are refused");
  }
  if (request.method != "GET" && request.method != "HEAD" && request.method != "POST") {
    Response refusal = MakeError(405, "there is no such method here");
    refusal.headers.emplace_back("Allow", "GET, HEAD, POST");
    return refusal;
  }
  // What every copy of this program serves alike is nobody's secret.
  const bool is_program = request.method != "POST" && request.path.compare(0, 5, "/web/") == 0;
  if (is_opening || is_program) return std::nullopt;
  if (!IsKnown(request)) {
    if (request.path.compare(0, 5, "/api/") != 0) return MakeClosedPage();
    return MakeError(401,
                     "this browser was not let in; open the inbox with quillpost-inbox --open");
  }
  return request.method == "POST" ? RefuseChange(request) : std::nullopt;
}

std::optional<Response> Guard::RefuseChange(const Request& request) const {
  const std::string& site = request.Header("sec-fetch-site");
  if (request.Header("origin") != "http://" + request.Header("host") ||
      (!site.empty() && site != "same-origin")) {
    return MakeError(403, "requests of other pages are refused");
  }
  const char* const type =
      request.path == kImportPath ? "application/octet-stream" : "application/json";
  if (TypeOf(request) != type) return MakeError(415, std::string("the body must be ") + type);
  return std::nullopt;
}

std::size_t Guard::MostBodyBytes(const Request& request) {
  if (request.method != "POST") return 0;
  return request.path == kImportPath ? TalvoQuillpost::kMaxImportBytes : kMostJsonBytes;
}

Response MakeClosedPage() {
  Response page;
  page.status = 403;
  page.type = "text/html; charset=utf-8";
  page.body =
      "<!DOCTYPE html><html lang=\"en\"><title>Inbox</title><h1>This inbox is closed</h1>"
      "<p>The address that opens it works once. Open it again from the menu of applications, or "
      "with this command:</p><pre>quillpost-inbox --open</pre></html>\n";
  return page;
}

const std::vector<std::pair<std::string, std::string>>& SafetyHeaders() {
  static const std::vector<std::pair<std::string, std::string>> kHeaders = {
      {"Content-Security-Policy",
       "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
       "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"Referrer-Policy", "no-referrer"},
      {"X-Content-Type-Options", "nosniff"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Cross-Origin-Opener-Policy", "same-origin"}};
  return kHeaders;
}

}  // namespace Inbox
