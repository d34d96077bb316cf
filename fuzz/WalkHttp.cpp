#include "WalkHttp.h"

#include <json/reader.h>
#include <sodium.h>
#include <stdlib.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/http/parser.hpp>
#include <filesystem>
#include <memory>
#include <string>

#include "api/Api.h"
#include "api/Refusal.h"
#include "content/Intake.h"
#include "http/Guard.h"
#include "http/ReadRequest.h"
#include "http/Target.h"
#include "ink/InkError.h"
#include "ink/Stf2File.h"

namespace {

namespace http = boost::beast::http;

constexpr unsigned short kPort = 8080;

void Require(bool promise) {
  if (!promise) std::abort();
}

std::string MakeDirectory() {
  Require(::sodium_init() >= 0);
  std::string directory = (std::filesystem::temp_directory_path() / "inbox-fuzz.XXXXXX").string();
  Require(::mkdtemp(&directory[0]) != nullptr);
  return directory;
}

std::string MakeInk() {
  TalvoInk::Ink ink;
  TalvoInk::Stroke stroke;
  stroke.page = "1.2.3.4";
  stroke.start_time_ms = 5000;
  stroke.samples = TalvoInk::DrawThrough(
      {{0, 10, 10, 100, STF2_SAMPLE_COORDINATE, 1}, {9, 900, 900, 100, STF2_SAMPLE_COORDINATE, 1}});
  ink.items.emplace_back(stroke);
  return TalvoInk::WriteStf2(ink);
}

// An inbox without sockets, with a page of ink and one that can't be read.
struct World {
  World()
      : directory(MakeDirectory()),
        database(directory),
        writer(database, [] {}),
        readers(database),
        library(readers),
        sessions(directory + "/address", [](const Inbox::Sessions::Session&) {}),
        api({queue, library, writer, sessions, directory}) {
    sessions.Begin(kPort);
    const std::string address = sessions.Address();
    cookie = sessions.CookieName() + "=" +
             sessions.Open(address.substr(address.find('=') + 1), Inbox::NowMs());
    writer.Run([](Inbox::Keeper& keeper) {
      keeper.Keep({MakeInk(), "", ""}, 1);
      keeper.Keep({"no ink", "0000-0000-0000-0001", "1.2.3.5"}, 2);
    });
  }
  ~World() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }

  const std::string directory;
  boost::asio::io_context queue;
  const Inbox::Database database;
  Inbox::Writer writer;
  Inbox::Readers readers;
  Inbox::Library library;
  Inbox::Sessions sessions;
  Inbox::Api api;
  std::string cookie;
};

bool Parse(const char* bytes, std::size_t size, Inbox::Request& request) {
  http::request_parser<http::string_body> parser;
  parser.eager(true);
  parser.header_limit(16384);
  parser.body_limit(1 << 20);
  boost::system::error_code error;
  parser.put(boost::asio::buffer(bytes, size), error);
  if (error || !parser.is_header_done()) return false;
  request = Inbox::ReadRequest(parser.get());
  request.body = parser.get().body();
  return Inbox::ParseTarget(request.target, request.path, request.query);
}

void LetIn(Inbox::Request& request, const std::string& cookie) {
  const std::string host = "127.0.0.1:" + std::to_string(kPort);
  request.headers["host"] = host;
  request.headers["cookie"] = cookie;
  request.headers["origin"] = "http://" + host;
  request.headers["content-type"] =
      request.path == "/api/import" ? "application/octet-stream" : "application/json";
  request.headers.erase("upgrade");
  request.headers.erase("sec-fetch-site");
}

// What the requests do with their bodies whose ink goes to the service.
void WalkIntake(const Inbox::Request& request) {
  const Inbox::Origin origin{[] { return std::string("FFFF-0000-0000-0001"); },
                             [] { return std::string("2147483647.1.1.1"); }, 1};
  try {
    if (request.path == "/api/import") Inbox::TakeIn(request.body, origin);
    if (request.path == "/api/pad") {
      Inbox::WritePadPage(Inbox::ParseBody(request), 1, "2147483647.1.1.1", 1);
    }
  } catch (const TalvoInk::InkError&) {
  } catch (const Inbox::Refusal&) {
  }
}

void CheckAnswer(const Inbox::Request& request, const Inbox::Response& answer) {
  Require(answer.status >= 200 && answer.status < 600);
  Require(answer.status != 500);
  for (const auto& [name, value] : answer.headers) {
    Require((name + value).find_first_of("\r\n") == std::string::npos);
  }
  if (answer.type != "application/json" || answer.body.empty() || request.method == "HEAD") return;
  Json::Value json;
  Json::Reader reader(Json::Features::strictMode());
  Require(reader.parse(answer.body, json) || answer.body.front() == '[');
  if (answer.status >= 400) Require(!json["error"].asString().empty());
}

}  // namespace

void WalkHttp(const std::uint8_t* data, std::size_t size) {
  static World world;
  if (size == 0) return;
  Inbox::Request request;
  if (!Parse(reinterpret_cast<const char*>(data) + 1, size - 1, request)) return;
  const Inbox::Guard guard(world.sessions, kPort);
  const bool is_ours = data[0] % 2 == 1;
  if (is_ours) LetIn(request, world.cookie);
  const auto refusal = guard.Refuse(request);
  if (refusal) return CheckAnswer(request, *refusal);
  const bool is_open_to_all = request.path == "/open" || request.path.rfind("/web/", 0) == 0;
  Require(is_ours || is_open_to_all);
  if (request.method == "POST") WalkIntake(request);
  CheckAnswer(request, world.api.Answer(request));
}
