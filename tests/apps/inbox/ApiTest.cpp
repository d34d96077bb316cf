// What the interface answers, without sockets. The road of imports through the service is tested
// with the whole program.

#include "api/Api.h"

#include <gmock/gmock.h>
#include <json/reader.h>

#include <filesystem>
#include <future>
#include <sstream>

#include "Inks.h"
#include "http/Target.h"

using namespace Inbox;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ApiTest : public InboxFixture {
 protected:
  ApiTest()
      : writer_(database_, [] {}),
        readers_(database_),
        library_(readers_),
        sessions_(directory_ + "/address", [](const Sessions::Session&) {}),
        api_({queue_, library_, writer_, sessions_, directory_}) {
    sessions_.Begin(8080);
  }

  Response Get(const std::string& target, const std::string& tag = "") {
    Request request;
    request.method = "GET";
    request.target = target;
    EXPECT_TRUE(ParseTarget(target, request.path, request.query)) << target;
    if (!tag.empty()) request.headers["if-none-match"] = tag;
    return api_.Answer(request);
  }

  Response Post(const std::string& path, const std::string& body) {
    Request request;
    request.method = "POST";
    request.target = request.path = path;
    request.body = body;
    return api_.Answer(request);
  }

  static Json::Value Parsed(const Response& response) {
    Json::Value value;
    std::istringstream(response.body) >> value;
    return value;
  }

  // "status: message" of a refusal.
  static std::string Refusal(const Response& response) {
    return std::to_string(response.status) + ": " + Parsed(response)["error"].asString();
  }

  static std::string HeaderOf(const Response& response, const std::string& name) {
    for (const auto& [header, value] : response.headers) {
      if (header == name) return value;
    }
    return "";
  }

  std::vector<std::int64_t> Listed(const std::string& target) {
    std::vector<std::int64_t> ids;
    const Json::Value list = Parsed(Get(target));
    for (const Json::Value& page : list["pages"]) ids.push_back(page["id"].asInt64());
    return ids;
  }

  boost::asio::io_context queue_;
  Writer writer_;
  Readers readers_;
  Library library_;
  Sessions sessions_;
  Api api_;
};

const char kNoAddress[] = "404: there is nothing at this address";

}  // namespace

TEST_F(ApiTest, WhatIsNowhereIsNotFound) {
  for (const char* target : {"/nothing", "/api", "/api/pages/", "/api/pages/x", "/api/pages/1x",
                             "/web/", "/web/nothing.js", "/api/pages/99999999999999999999"}) {
    EXPECT_EQ(Refusal(Get(target)), kNoAddress) << target;
  }
  for (const char* path : {"/", "/api/pages", "/api/pages/1", "/api/pages/1/ink",
                           "/api/pages/x/title", "/api/pages/1/title/", "/api/pages/burn"}) {
    EXPECT_EQ(Refusal(Post(path, "{}")), kNoAddress) << path;
  }
}

TEST_F(ApiTest, APageThatIsNotThereIsNotFound) {
  for (const char* target : {"/api/pages/7", "/api/pages/7/ink", "/api/pages/7/picture.png",
                             "/api/export?pages=7&format=pdf"}) {
    EXPECT_EQ(Refusal(Get(target)), "404: there is no page 7") << target;
  }
  EXPECT_EQ(Refusal(Post("/api/pages/7/title", "{\"title\":\"x\"}")), "404: there is no page 7");
}

TEST_F(ApiTest, TheStatusCountsPagesAndTellsOfTheService) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  keeper().Trash({1}, 1);
  const Json::Value status = Parsed(Get("/api/status"));
  EXPECT_EQ(status["service"], "away");
  EXPECT_EQ(status["pages"], 1);
  EXPECT_EQ(status["trash"], 1);
  EXPECT_TRUE(status["stream"].isNull());
}

TEST_F(ApiTest, AListGoesOnWhereItsNextSays) {
  for (int i = 0; i < 5; ++i) Keep(InkOf(("1.2.3." + std::to_string(i)).c_str()), 1000 + i);
  EXPECT_THAT(Listed("/api/pages?limit=2"), testing::ElementsAre(5, 4));
  const std::string next = Parsed(Get("/api/pages?limit=2"))["next"].asString();
  EXPECT_EQ(next, "1003-4");
  EXPECT_THAT(Listed("/api/pages?limit=9&after=" + next), testing::ElementsAre(3, 2, 1));
  EXPECT_TRUE(Parsed(Get("/api/pages"))["next"].isNull());
  EXPECT_EQ(Parsed(Get("/api/pages?q=none"))["pages"], Json::Value(Json::arrayValue));
}

TEST_F(ApiTest, ArgumentsThatMeanNothingAreRefused) {
  EXPECT_EQ(Refusal(Get("/api/pages?limit=many")), "400: 'limit' is not a number");
  EXPECT_EQ(Refusal(Get("/api/pages?from=-1")), "400: 'from' is not a number");
  for (const char* end : {"1", "1-", "-", "x-1", "1-x"})
    EXPECT_EQ(Refusal(Get(std::string("/api/pages?after=") + end)),
              "400: 'after' is not the end of a list")
        << end;
  for (const char* pages : {"", "1,", "1;2", "x"})
    EXPECT_EQ(Refusal(Get(std::string("/api/export?format=pdf&pages=") + pages)),
              "400: 'pages' is not a list of pages")
        << pages;
}

TEST_F(ApiTest, AThousandPagesAreTheMostOfARequest) {
  std::string list = "1";
  for (int i = 1; i < 1000; ++i) list += ",1";
  EXPECT_EQ(Post("/api/pages/trash", "{\"pages\":[" + list + "]}").status, 200);
  EXPECT_EQ(Refusal(Post("/api/pages/trash", "{\"pages\":[" + list + ",1]}")),
            "400: at most 1000 pages at a time");
  EXPECT_EQ(Refusal(Get("/api/export?format=pdf&pages=" + list + ",1")),
            "400: at most 1000 pages at a time");
}

TEST_F(ApiTest, PagesGoToTheTrashAndComeBackAndAreDeleted) {
  Keep(InkOf("1.2.3.4"));
  const auto change = [&](const char* what, const char* pages) {
    return Post(std::string("/api/pages/") + what, std::string("{\"pages\":") + pages + "}").body;
  };
  EXPECT_EQ(change("purge", "[1]"), "{\"pages\":[]}\n");  // it is not in the trash
  EXPECT_EQ(change("trash", "[1,7]"), "{\"pages\":[1]}\n");
  EXPECT_THAT(Listed("/api/pages?trash=1"), testing::ElementsAre(1));
  EXPECT_EQ(change("restore", "[1]"), "{\"pages\":[1]}\n");
  change("trash", "[1]");
  EXPECT_EQ(change("purge", "[1]"), "{\"pages\":[1]}\n");
  EXPECT_EQ(Get("/api/pages/1").status, 404);
  for (const char* bad : {"7", "[\"1\"]", "[1.5]", "null"})
    EXPECT_THAT(change("trash", bad), HasSubstr("'pages' is not a list of pages")) << bad;
}

TEST_F(ApiTest, ATitleIsALine) {
  Keep(InkOf("1.2.3.4"));
  EXPECT_EQ(Parsed(Post("/api/pages/1/title", "{\"title\":\"Shopping\"}"))["title"], "Shopping");
  EXPECT_EQ(Parsed(Get("/api/pages/1"))["title"], "Shopping");
  for (const char* bad : {"{}", "{\"title\":7}", "{\"title\":\"two\\nlines\"}"})
    EXPECT_THAT(Refusal(Post("/api/pages/1/title", bad)), StartsWith("400: 'title' is not a line"))
        << bad;
}

TEST_F(ApiTest, APictureIsSentOnceAsLongAsItsPageStaysTheSame) {
  Keep(InkOf("1.2.3.4", 5000));
  const Response picture = Get("/api/pages/1/picture.png?size=100");
  EXPECT_EQ(picture.type, "image/png");
  EXPECT_THAT(picture.body, StartsWith("\x89PNG"));
  const std::string tag = HeaderOf(picture, "ETag");
  const Response again = Get("/api/pages/1/picture.png?size=100", tag);
  EXPECT_EQ(again.status, 304);
  EXPECT_EQ(again.body, "");
  EXPECT_EQ(Get("/api/pages/1/picture.png?size=200", tag).status, 200);
  Keep(InkOf("1.2.3.4", 6000));
  EXPECT_EQ(Get("/api/pages/1/picture.png?size=100", tag).status, 200);
}

TEST_F(ApiTest, TheInkFromAStrokeOnIsOfItsOwnTag) {
  Keep(InkOf("1.2.3.4", 5000));
  const Response all = Get("/api/pages/1/ink");
  EXPECT_EQ(Parsed(all)["strokes"].size(), 1u);
  const Response rest = Get("/api/pages/1/ink?since=2", HeaderOf(all, "ETag"));
  EXPECT_EQ(rest.status, 200);
  EXPECT_EQ(Parsed(rest)["strokes"].size(), 0u);
}

TEST_F(ApiTest, APageThatCantBeReadSaysWhy) {
  Keep("no ink");
  EXPECT_EQ(Parsed(Get("/api/pages/1"))["kind"], "unreadable");
  const Response picture = Get("/api/pages/1/picture.svg");
  EXPECT_EQ(picture.status, 409);
  EXPECT_NE(Refusal(picture), "409: ");
}

TEST_F(ApiTest, AnExportIsAFileWithAName) {
  Keep(InkOf("1.2.3.4"));
  const Response pdf = Get("/api/export?format=pdf&pages=1");
  EXPECT_EQ(pdf.type, "application/pdf");
  EXPECT_THAT(pdf.body, StartsWith("%PDF-"));
  EXPECT_THAT(HeaderOf(pdf, "Content-Disposition"), StartsWith("attachment; filename=\""));
  EXPECT_EQ(Get("/api/export?format=doc&pages=1").status, 400);
}

TEST_F(ApiTest, TheTokenOpensTheInboxOnce) {
  const std::string address = sessions_.Address();
  const std::string open = address.substr(address.find("/open"));
  const Response first = Get(open);
  EXPECT_EQ(first.status, 303);
  EXPECT_EQ(HeaderOf(first, "Location"), "/");
  EXPECT_THAT(HeaderOf(first, "Set-Cookie"), StartsWith("inbox-8080="));
  const Response second = Get(open);
  EXPECT_EQ(HeaderOf(second, "Set-Cookie"), "");
  EXPECT_EQ(second.status, 403);
}

TEST_F(ApiTest, ThePageItselfIsAResource) {
  const Response page = Get("/");
  EXPECT_EQ(page.type, "text/html; charset=utf-8");
  EXPECT_EQ(Get("/", HeaderOf(page, "ETag")).status, 304);
  EXPECT_EQ(Get("/web/app.js").type, "text/javascript; charset=utf-8");
}

TEST_F(ApiTest, EventsAreAStreamOnlyIfTheyAreFetched) {
  EXPECT_TRUE(Get("/api/events").is_event_stream);
  Request head;
  head.method = "HEAD";
  head.path = "/api/events";
  EXPECT_FALSE(api_.Answer(head).is_event_stream);
}

TEST_F(ApiTest, WithoutTheServiceAnImportIsRefusedAndLeavesNoFile) {
  Request request;
  request.method = "POST";
  request.path = "/api/import";
  request.body = InkOf("1.2.3.4");
  std::promise<Response> answer;
  api_.Handle(request, [&](Response response) { answer.set_value(std::move(response)); });
  EXPECT_EQ(Refusal(answer.get_future().get()), "503: the ink service is away");
  for (const auto& entry : std::filesystem::directory_iterator(directory_))
    EXPECT_NE(entry.path().filename().string().rfind(kTransitName, 0), 0u) << entry.path();
  std::promise<Response> empty;
  request.body.clear();
  api_.Handle(request, [&](Response response) { empty.set_value(std::move(response)); });
  EXPECT_EQ(Refusal(empty.get_future().get()), "422: the file is empty");
}
