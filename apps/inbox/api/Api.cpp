#include "api/Api.h"

#include <Talvo/Logger.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <charconv>
#include <optional>
#include <utility>

#include "api/Export.h"
#include "api/PageJson.h"
#include "api/Refusal.h"
#include "api/Resources.h"
#include "api/Title.h"
#include "digest/Sha256.h"
#include "http/Guard.h"
#include "http/Target.h"
#include "ink/InkError.h"
#include "ink/Text.h"

namespace Inbox {

namespace {

constexpr int kMostPagesOfList = 500;
constexpr std::size_t kMostPagesOfRequest = 1000;
constexpr int kUsualPictureSize = 1200, kLeastPictureSize = 16, kMostPictureSize = 4096;

const char kPagesPath[] = "/api/pages/";

[[noreturn]] void RefuseAddress() {
  throw Refusal(404, "there is nothing at this address");
}

Response MakeJson(const Json::Value& value, int status = 200) {
  Response response;
  response.status = status;
  response.type = "application/json";
  response.body = ToText(value) + "\n";
  return response;
}

bool BeginsWith(const std::string& text, const std::string& begin) {
  return text.compare(0, begin.size(), begin) == 0;
}

std::optional<std::int64_t> ParseNumber(const std::string& text) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

// 0 if the argument is not there.
std::int64_t NumberArgument(const Request& request, const std::string& name) {
  const std::string& text = request.Argument(name);
  if (text.empty()) return 0;
  const auto number = ParseNumber(text);
  if (!number || *number < 0) throw Refusal(400, "'" + name + "' is not a number");
  return *number;
}

std::vector<std::int64_t> ReadPages(const Json::Value& list) {
  std::vector<std::int64_t> pages;
  if (!list.isArray()) throw Refusal(400, "'pages' is not a list of pages");
  for (const Json::Value& page : list) {
    if (!page.isInt64()) throw Refusal(400, "'pages' is not a list of pages");
    pages.push_back(page.asInt64());
  }
  if (pages.size() > kMostPagesOfRequest) {
    throw Refusal(400, "at most " + std::to_string(kMostPagesOfRequest) + " pages at a time");
  }
  return pages;
}

std::vector<std::int64_t> ReadPages(const std::string& list) {
  std::vector<std::int64_t> pages;
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t end = std::min(list.find(',', begin), list.size());
    const auto page = ParseNumber(list.substr(begin, end - begin));
    if (!page) throw Refusal(400, "'pages' is not a list of pages");
    pages.push_back(*page);
    begin = end + 1;
  }
  if (pages.size() > kMostPagesOfRequest) {
    throw Refusal(400, "at most " + std::to_string(kMostPagesOfRequest) + " pages at a time");
  }
  return pages;
}

// "1700000000000-12", the place behind the last page of a list.
void ReadCursor(const std::string& text, PageQuery& query) {
  if (text.empty()) return;
  const std::size_t hyphen = text.find('-');
  const auto arrived = ParseNumber(text.substr(0, hyphen));
  const auto id = hyphen == std::string::npos ? std::nullopt : ParseNumber(text.substr(hyphen + 1));
  if (!arrived || !id) throw Refusal(400, "'after' is not the end of a list");
  query.after_arrived_ms = *arrived;
  query.after_id = *id;
}

PageQuery ReadPageQuery(const Request& request) {
  PageQuery query;
  query.text = request.Argument("q");
  query.pen = request.Argument("pen");
  query.address = request.Argument("address");
  query.from_ms = NumberArgument(request, "from");
  query.to_ms = NumberArgument(request, "to");
  query.is_trash = request.Argument("trash") == "1";
  const std::int64_t limit = NumberArgument(request, "limit");
  if (limit != 0) query.limit = static_cast<int>(std::min<std::int64_t>(limit, kMostPagesOfList));
  ReadCursor(request.Argument("after"), query);
  return query;
}

// The same picture for the same tag; what was not changed is not drawn again.
Response WithTag(const Request& request, const std::string& tag,
                 const std::function<Response()>& make) {
  const bool is_known = request.Header("if-none-match") == tag;
  Response response;
  if (is_known) {
    response.status = 304;
  } else {
    response = make();
  }
  response.headers.emplace_back("ETag", tag);
  response.headers.emplace_back("Cache-Control", "private, no-cache");
  return response;
}

Response ShowResource(const Request& request, const std::string& name) {
  const Resource* const resource = FindResource(name);
  if (resource == nullptr) RefuseAddress();
  const std::string digest = Sha256Of(resource->Bytes()).substr(0, 12);
  const std::string tag =
      "\"" + TalvoInk::Hexadecimal(reinterpret_cast<const std::uint8_t*>(digest.data()), 12) + "\"";
  return WithTag(request, tag, [&] {
    Response response;
    response.type = TypeOfResource(name);
    response.body = resource->Bytes();
    return response;
  });
}

// Whether the request draws or converts, which may take long.
bool IsLong(const Request& request) {
  const std::string& path = request.path;
  const bool is_of_page = BeginsWith(path, kPagesPath) && request.method != "POST";
  return path == "/api/export" || path == "/api/import" || path == "/api/pad" ||
         (is_of_page && path.find('/', sizeof kPagesPath) != std::string::npos);
}

Response MakeFailure(const std::exception& error) {
  if (const auto* refusal = dynamic_cast<const Refusal*>(&error)) {
    return MakeError(refusal->status(), refusal->what());
  }
  if (const auto* refused = dynamic_cast<const ExportError*>(&error)) {
    return MakeError(400, refused->what());
  }
  if (const auto* ink = dynamic_cast<const TalvoInk::InkError*>(&error)) {
    return MakeError(422, ink->what());
  }
  if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Inbox")) {
    logger->Log(Talvo::kLogError, "A request failed: %s", error.what());
  }
  return MakeError(500, error.what());
}

}  // namespace

Api::Api(const Parts& parts)
    : library_(parts.library),
      writer_(parts.writer),
      sessions_(parts.sessions),
      directory_(parts.directory),
      questions_(2),
      drawing_(2),
      events_(parts.queue, questions_, parts.library) {}

Api::~Api() {
  drawing_.join();
  questions_.join();
}

void Api::SetLink(ServiceLink* link) {
  const std::lock_guard<std::mutex> lock(link_mutex_);
  link_ = link;
}

void Api::SetStream(StreamLink* stream) {
  const std::lock_guard<std::mutex> lock(link_mutex_);
  stream_ = stream;
}

void Api::Handle(Request request, Reply reply) {
  boost::asio::thread_pool& threads = IsLong(request) ? drawing_ : questions_;
  boost::asio::post(threads,
                    [this, request = std::move(request), reply = std::move(reply)]() mutable {
                      try {
                        if (request.method == "POST" && request.path == "/api/import") {
                          return Import(std::move(request), reply);
                        }
                        if (request.method == "POST" && request.path == "/api/pad")
                          return TakePad(request, reply);
                      } catch (const std::exception& error) {
                        return reply(MakeFailure(error));
                      }
                      reply(Answer(request));
                    });
}

Response Api::Answer(const Request& request) {
  try {
    return request.method == "POST" ? AnswerPost(request) : AnswerGet(request);
  } catch (const std::exception& error) {
    return MakeFailure(error);
  }
}

Response Api::AnswerGet(const Request& request) {
  const std::string& path = request.path;
  if (path == "/open") return OpenInbox(request);
  if (path == "/") return ShowResource(request, "index.html");
  if (BeginsWith(path, "/web/")) return ShowResource(request, path.substr(5));
  if (path == "/api/status") return Status();
  if (path == "/api/pages") return ListPages(request);
  if (path == "/api/pens") return ListPens();
  if (path == "/api/export") return ExportPages(request);
  if (path == "/api/events") {
    Response response;
    response.is_event_stream = request.method == "GET";
    return response;
  }
  if (!BeginsWith(path, kPagesPath)) RefuseAddress();
  const std::string rest = path.substr(sizeof kPagesPath - 1);
  const std::size_t slash = std::min(rest.find('/'), rest.size());
  const auto page = ParseNumber(rest.substr(0, slash));
  if (!page) RefuseAddress();
  return ShowPage(request, *page, rest.substr(std::min(slash + 1, rest.size())));
}

Response Api::AnswerPost(const Request& request) {
  const std::string& path = request.path;
  if (!BeginsWith(path, kPagesPath)) RefuseAddress();
  const std::string rest = path.substr(sizeof kPagesPath - 1);
  if (rest == "trash" || rest == "restore" || rest == "purge") return ChangePages(request, rest);
  const std::size_t slash = rest.find('/');
  const auto page = ParseNumber(rest.substr(0, slash));
  if (!page || slash == std::string::npos || rest.substr(slash) != "/title") RefuseAddress();
  return ChangeTitle(request, *page);
}

Response Api::OpenInbox(const Request& request) {
  Response response;
  const std::string session = sessions_.Open(request.Argument("token"), NowMs());
  if (!session.empty()) response.headers.emplace_back("Set-Cookie", sessions_.SetCookie(session));
  // A browser that asks twice (some look ahead while an address is typed) was let in before.
  if (session.empty() && !sessions_.IsOpen(request.Header("cookie"), NowMs())) {
    return MakeClosedPage();
  }
  response.status = 303;
  response.headers.emplace_back("Location", "/");
  return response;
}

Response Api::Status() {
  Json::Value json;
  {
    const std::lock_guard<std::mutex> lock(link_mutex_);
    const ServiceLink::State state = link_ != nullptr ? link_->state() : ServiceLink::State();
    json["service"] = state.is_connected ? "connected" : "away";
    json["hindrance"] = state.hindrance;
    json["stream"] = Json::Value();
    if (stream_ != nullptr) json["stream"] = ToJson(stream_->state());
  }
  auto catalogue = library_.readers().Lend();
  const Counts counts = catalogue->Count();
  json["pages"] = Json::Int64(counts.pages);
  json["trash"] = Json::Int64(counts.trash);
  json["version"] = QUILLPOST_VERSION;
  json["pad"]["pen"] = catalogue->Setting(kOwnPenSetting);
  return MakeJson(json);
}

Response Api::ListPages(const Request& request) {
  bool has_more = false;
  const std::vector<PageRow> rows = library_.Find(ReadPageQuery(request), has_more);
  Json::Value json;
  json["pages"] = Json::Value(Json::arrayValue);
  for (const PageRow& row : rows) json["pages"].append(ToJson(row));
  json["next"] = Json::Value();
  if (has_more) {
    json["next"] = std::to_string(rows.back().arrived_ms) + "-" + std::to_string(rows.back().id);
  }
  return MakeJson(json);
}

Response Api::ListPens() {
  Json::Value json(Json::arrayValue);
  auto catalogue = library_.readers().Lend();
  for (const PenRow& pen : catalogue->Pens()) {
    Json::Value entry;
    entry["pen"] = pen.serial;
    entry["name"] = pen.serial == catalogue->Setting(kOwnPenSetting) ? "Pad" : "";
    entry["pages"] = Json::Int64(pen.pages);
    json.append(entry);
  }
  return MakeJson(json);
}

Response Api::ShowPage(const Request& request, std::int64_t page, const std::string& what) {
  const auto row = library_.FindPage(page);
  if (!row) throw Refusal(404, "there is no page " + std::to_string(page));
  if (what.empty()) return MakeJson(ToJson(*row));
  const bool is_png = what == "picture.png";
  if (what != "ink" && what != "picture.svg" && !is_png) RefuseAddress();
  if (row->kind != PageKind::kInk) throw Refusal(409, row->reason);
  const std::int64_t since = NumberArgument(request, "since");
  const std::int64_t asked = NumberArgument(request, "size");
  const int size =
      asked == 0
          ? kUsualPictureSize
          : static_cast<int>(std::clamp<std::int64_t>(asked, kLeastPictureSize, kMostPictureSize));
  const std::string tag = "\"" QUILLPOST_VERSION "-" + std::to_string(row->revision) + "-" + what +
                          "-" + std::to_string(is_png ? size : since) + "\"";
  return WithTag(request, tag, [&] {
    const auto stored = library_.LoadInk(page);
    if (!stored) throw Refusal(404, "there is no page " + std::to_string(page));
    Response response;
    response.type = what == "ink" ? "application/json" : is_png ? "image/png" : "image/svg+xml";
    response.body = what == "ink" ? InkToJson(*stored, since) : Draw(*stored, is_png, size);
    return response;
  });
}

Response Api::ExportPages(const Request& request) {
  std::vector<StoredInk> pages;
  for (const std::int64_t page : ReadPages(request.Argument("pages"))) {
    auto stored = library_.LoadInk(page);
    if (!stored) throw Refusal(404, "there is no page " + std::to_string(page));
    pages.push_back(std::move(*stored));
  }
  ExportedFile file = Export(std::move(pages), request.Argument("format"));
  Response response;
  response.type = file.type;
  response.body = std::move(file.bytes);
  response.headers.emplace_back("Content-Disposition",
                                "attachment; filename=\"" + file.name + "\"");
  return response;
}

Response Api::ChangePages(const Request& request, const std::string& what) {
  const std::vector<std::int64_t> pages = ReadPages(ParseBody(request)["pages"]);
  std::vector<std::int64_t> changed;
  writer_.Run([&](Keeper& keeper) {
    changed = what == "trash"     ? keeper.Trash(pages, NowMs())
              : what == "restore" ? keeper.Restore(pages)
                                  : keeper.Purge(pages);
  });
  Json::Value json;
  json["pages"] = Json::Value(Json::arrayValue);
  for (const std::int64_t page : changed) json["pages"].append(Json::Int64(page));
  return MakeJson(json);
}

Response Api::ChangeTitle(const Request& request, std::int64_t page) {
  const Json::Value body = ParseBody(request);
  const Json::Value& title = body["title"];
  if (!title.isString() || !IsTitle(title.asString())) {
    throw Refusal(400,
                  "'title' is not a line of at most " + std::to_string(kMostTitle) + " characters");
  }
  bool is_there = false;
  writer_.Run([&](Keeper& keeper) { is_there = keeper.SetTitle(page, title.asString()); });
  const auto row = is_there ? library_.FindPage(page) : std::nullopt;
  if (!row) throw Refusal(404, "there is no page " + std::to_string(page));
  return MakeJson(ToJson(*row));
}

void Api::OnStream(const Request& request, std::shared_ptr<EventStream> stream) {
  events_.Add(stream, ParseNumber(request.Header("last-event-id")).value_or(-1));
}

void Api::OnStreamEnd(const std::shared_ptr<EventStream>& stream) {
  events_.Remove(stream);
}

}  // namespace Inbox
