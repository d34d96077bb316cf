#include "http/Guard.h"

#include <TalvoQuillpost/Limits.h>
#include <gmock/gmock.h>
#include <sodium.h>

#include "http/Target.h"
#include "support/TestRoot.h"

using namespace Inbox;

namespace {

class GuardTest : public testing::Test {
 protected:
  GuardTest()
      : sessions_((root_.path() / "address").string(), [](const Sessions::Session&) {}),
        guard_(sessions_, 8080) {
    EXPECT_GE(::sodium_init(), 0);
    sessions_.Begin(8080);
    const std::string address = sessions_.Address();
    cookie_ = "inbox-8080=" +
              sessions_.Open(address.substr(address.find('=') + 1), std::int64_t{4102444800000});
  }

  // A request of our own page.
  Request Ours(const std::string& method, const std::string& target) const {
    Request request;
    request.method = method;
    request.target = target;
    EXPECT_TRUE(ParseTarget(target, request.path, request.query));
    request.headers = {{"host", "127.0.0.1:8080"}, {"cookie", cookie_}};
    if (method == "POST") {
      request.headers["origin"] = "http://127.0.0.1:8080";
      request.headers["content-type"] = "application/json";
    }
    return request;
  }

  int StatusOf(const Request& request) const {
    const auto refusal = guard_.Refuse(request);
    return refusal ? refusal->status : 200;
  }

  TestRoot root_;
  Sessions sessions_;
  std::string cookie_;
  Guard guard_;
};

}  // namespace

TEST_F(GuardTest, OurOwnPageIsServed) {
  EXPECT_EQ(StatusOf(Ours("GET", "/api/pages")), 200);
  EXPECT_EQ(StatusOf(Ours("HEAD", "/")), 200);
  EXPECT_EQ(StatusOf(Ours("POST", "/api/pages/trash")), 200);
}

TEST_F(GuardTest, OnlyLoopbackNamesWithOurPortAreHosts) {
  for (const char* host : {"127.0.0.1:8080", "localhost:8080", "[::1]:8080"}) {
    Request request = Ours("GET", "/api/pages");
    request.headers["host"] = host;
    EXPECT_EQ(StatusOf(request), 200) << host;
  }
  for (const char* host :
       {"", "127.0.0.1", "127.0.0.1:80", "evil.example:8080", "127.0.0.1.evil:8080",
        "localhost.evil:8080", "[::1]", "127.0.0.2:8080", "127.0.0.1:8080 "}) {
    Request request = Ours("GET", "/api/pages");
    request.headers["host"] = host;
    EXPECT_EQ(StatusOf(request), 421) << host;
  }
}

TEST_F(GuardTest, AnythingOfOursNeedsTheCookie) {
  for (const char* target : {"/", "/api/pages", "/api/events", "/api/export", "/api/nothing"}) {
    Request request = Ours("GET", target);
    request.headers.erase("cookie");
    EXPECT_EQ(StatusOf(request), request.path.size() > 1 ? 401 : 403) << target;
  }
  Request open = Ours("GET", "/open?token=x");
  open.headers.erase("cookie");
  EXPECT_EQ(StatusOf(open), 200) << "the token is looked at elsewhere";
}

TEST_F(GuardTest, AnotherPagesReadsAreRefusedEvenWithTheCookie) {
  for (const char* site : {"cross-site", "same-site", "strange"}) {
    Request request = Ours("GET", "/api/pages/1/picture.png");
    request.headers["sec-fetch-site"] = site;
    EXPECT_EQ(StatusOf(request), 403) << site;
  }
  for (const char* site : {"same-origin", "none"}) {
    Request request = Ours("GET", "/");
    request.headers["sec-fetch-site"] = site;
    EXPECT_EQ(StatusOf(request), 200) << site;
  }
}

TEST_F(GuardTest, AChangeNeedsOurOrigin) {
  for (const char* origin : {"", "null", "http://evil.example", "http://127.0.0.1:8081",
                             "https://127.0.0.1:8080", "http://localhost:8080"}) {
    Request request = Ours("POST", "/api/pages/trash");
    request.headers["origin"] = origin;
    EXPECT_EQ(StatusOf(request), 403) << origin;
  }
  Request request = Ours("POST", "/api/pages/trash");
  request.headers["sec-fetch-site"] = "none";
  EXPECT_EQ(StatusOf(request), 403);
}

TEST_F(GuardTest, AChangeNeedsATypeThatNoFormSends) {
  for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded",
                           "multipart/form-data; boundary=x", "application/octet-stream"}) {
    Request request = Ours("POST", "/api/pages/trash");
    request.headers["content-type"] = type;
    EXPECT_EQ(StatusOf(request), 415) << type;
  }
  Request request = Ours("POST", "/api/pages/trash");
  request.headers["content-type"] = "Application/JSON; charset=utf-8";
  EXPECT_EQ(StatusOf(request), 200);
  Request import = Ours("POST", "/api/import");
  EXPECT_EQ(StatusOf(import), 415);
  import.headers["content-type"] = "application/octet-stream";
  EXPECT_EQ(StatusOf(import), 200);
}

TEST_F(GuardTest, OtherMethodsAndUpgradesAreRefused) {
  for (const char* method : {"PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT", "PATCH", ""}) {
    EXPECT_EQ(StatusOf(Ours(method, "/api/pages")), 405) << method;
  }
  Request request = Ours("GET", "/api/events");
  request.headers["upgrade"] = "websocket";
  EXPECT_EQ(StatusOf(request), 400);
}

TEST_F(GuardTest, OnlyChangesHaveBodies) {
  EXPECT_EQ(Guard::MostBodyBytes(Ours("GET", "/api/pages")), 0u);
  EXPECT_EQ(Guard::MostBodyBytes(Ours("POST", "/api/pages/trash")), kMostJsonBytes);
  EXPECT_EQ(Guard::MostBodyBytes(Ours("POST", "/api/import?name=x")),
            TalvoQuillpost::kMaxImportBytes);
}
