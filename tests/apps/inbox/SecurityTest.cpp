// What strangers try: other users of the machine, pages of other sites in the user's own browser,
// and programs that send what no browser would. One test for each way in.

#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

#include "InboxProgram.h"
#include "support/Machine.h"

using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class InboxSecurity : public testing::Test {
 protected:
  InboxSecurity() {
    const std::string ink = (root_.path() / "ink.stf2").string();
    WriteFile(ink, InkFile().AddStroke("1.2.3.4", 5000).bytes());
    EXPECT_EQ(RunToEnd({QUILLPOST_INBOX, "import", ink}, {{"XDG_DATA_HOME", ""}}).status, 0);
    inbox_ = std::make_unique<InboxProgram>();
    ours_ = inbox_->Ours();
    host_ = ours_.at("Host");
  }

  int StatusOf(const std::string& method, const std::string& target, const HttpHeaders& headers,
               const std::string& body = "") {
    return HttpPeer(inbox_->port()).Ask(method, target, headers, body).status;
  }

  HttpHeaders With(const std::string& name, const std::string& value) const {
    HttpHeaders headers = ours_;
    headers[name] = value;
    return headers;
  }

  // The answer to moving the only page to the trash.
  int StatusOfTrash(const HttpHeaders& headers) {
    return StatusOf("POST", "/api/pages/trash", headers, "{\"pages\":[1]}");
  }

  // Our own page still has the page that it had.
  void ExpectUnharmed() { EXPECT_EQ(inbox_->Pages().size(), 1u); }

  TestRoot root_;
  std::unique_ptr<InboxProgram> inbox_;
  HttpHeaders ours_;
  std::string host_;
};

}  // namespace

TEST_F(InboxSecurity, AnotherUserCanReadNeitherTokenNorInk) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const std::string folder = (root_.home() / ".local/share/quillpost").string();
  const PlainUser stranger;
  for (const char* file : {"/inbox.address", "/inbox.db", "/inbox.db-wal", "/inbox.lock"}) {
    EXPECT_FALSE(std::ifstream(folder + file).is_open()) << file;
  }
}

TEST_F(InboxSecurity, AnotherUsersConnectionIsClosedEvenWithTheCookie) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  for (const bool is_v6 : {false, true}) {
    std::unique_ptr<HttpPeer> peer;
    {
      const PlainUser stranger;
      peer = std::make_unique<HttpPeer>(inbox_->port(), is_v6);
    }
    EXPECT_EQ(peer->Ask("GET", "/api/pages", ours_).status, 0);
  }
  ExpectUnharmed();
}

TEST_F(InboxSecurity, WithoutTheCookieThereIsNothingToSee) {
  for (const char* target :
       {"/api/status", "/api/pages", "/api/pages/1", "/api/pages/1/ink", "/api/pages/1/picture.png",
        "/api/export?pages=1&format=pdf", "/api/events", "/api/pens"}) {
    EXPECT_EQ(StatusOf("GET", target, {{"Host", host_}}), 401) << target;
  }
}

TEST_F(InboxSecurity, ATokenCantBeGuessed) {
  HttpPeer peer(inbox_->port());
  for (int i = 0; i < 2000; ++i) {
    std::string guess = std::to_string(i);
    guess.insert(0, 64 - guess.size(), '0');
    const HttpAnswer answer = peer.Ask("GET", "/open?token=" + guess, {{"Host", host_}});
    ASSERT_EQ(answer.status, 403);
    ASSERT_EQ(answer.headers.count("set-cookie"), 0u);
  }
  EXPECT_EQ(StatusOf("GET", "/open", {{"Host", host_}}), 403);
}

TEST_F(InboxSecurity, AStolenAddressIsWorthNothing) {
  const std::string used = inbox_->address().substr(inbox_->address().find("/open"));
  const HttpAnswer answer = HttpPeer(inbox_->port()).Ask("GET", used, {{"Host", host_}});
  EXPECT_EQ(answer.status, 403);
  EXPECT_THAT(answer.body, HasSubstr("quillpost-inbox --open"));
  EXPECT_EQ(answer.headers.count("set-cookie"), 0u);
}

TEST_F(InboxSecurity, NoAddressLeaksIntoAReferer) {
  for (const char* target : {"/", "/open?token=x", "/api/pages"}) {
    EXPECT_EQ(HttpPeer(inbox_->port()).Ask("GET", target, ours_).headers["referrer-policy"],
              "no-referrer")
        << target;
  }
}

TEST_F(InboxSecurity, AFormOfAnotherPageChangesNothing) {
  HttpHeaders form = With("Origin", "http://evil.example");
  for (const char* type : {"application/x-www-form-urlencoded", "multipart/form-data; boundary=x",
                           "text/plain", "application/json"}) {
    form["Content-Type"] = type;
    EXPECT_EQ(StatusOfTrash(form), 403) << type;
  }
  HttpHeaders sandboxed = With("Content-Type", "application/json");
  sandboxed["Origin"] = "null";
  EXPECT_EQ(StatusOfTrash(sandboxed), 403);
  ExpectUnharmed();
}

TEST_F(InboxSecurity, AnotherServerOfThisMachineChangesNothing) {
  HttpHeaders headers = With("Content-Type", "application/json");
  headers["Origin"] = "http://127.0.0.1:1";
  headers["Sec-Fetch-Site"] = "same-site";
  EXPECT_EQ(StatusOfTrash(headers), 403);
  ExpectUnharmed();
}

TEST_F(InboxSecurity, AFetchOfAnotherPageReadsNothing) {
  HttpHeaders headers = With("Sec-Fetch-Site", "cross-site");
  headers["Origin"] = "http://evil.example";
  const HttpAnswer answer = HttpPeer(inbox_->port()).Ask("GET", "/api/pages", headers);
  EXPECT_EQ(answer.status, 403);
  EXPECT_EQ(answer.headers.count("access-control-allow-origin"), 0u);
  EXPECT_EQ(StatusOf("OPTIONS", "/api/pages", headers), 403);
}

TEST_F(InboxSecurity, APictureOnAnotherPageShowsNothing) {
  EXPECT_EQ(StatusOf("GET", "/api/pages/1/picture.png", With("Sec-Fetch-Site", "cross-site")), 403);
  const HttpAnswer ours = inbox_->Get("/api/pages/1/picture.png");
  EXPECT_EQ(ours.headers.at("cross-origin-resource-policy"), "same-origin")
      << "for browsers that send no Sec-Fetch-Site";
}

TEST_F(InboxSecurity, AWebSocketIsNotOpened) {
  HttpHeaders headers = ours_;
  headers["Connection"] = "Upgrade";
  headers["Upgrade"] = "websocket";
  headers["Sec-WebSocket-Key"] = "dGhlIHNhbXBsZSBub25jZQ==";
  headers["Sec-WebSocket-Version"] = "13";
  EXPECT_EQ(StatusOf("GET", "/api/events", headers), 400);
}

TEST_F(InboxSecurity, ANameThatLeadsHereIsNoHost) {
  for (const std::string& host :
       {std::string("evil.example"), "evil.example:" + std::to_string(inbox_->port()),
        std::string("127.0.0.1"), "0.0.0.0:" + std::to_string(inbox_->port())}) {
    EXPECT_EQ(StatusOf("GET", "/api/pages", With("Host", host)), 421) << host;
  }
}

TEST_F(InboxSecurity, MarkupInTitlesIsText) {
  const std::string title = "<script>alert(1)</script>\\\" onload=x";
  ASSERT_EQ(inbox_->Post("/api/pages/1/title", "{\"title\":\"" + title + "\"}").status, 200);
  const HttpAnswer pages = inbox_->Get("/api/pages");
  EXPECT_EQ(pages.headers.at("content-type"), "application/json");
  EXPECT_EQ(pages.headers.at("x-content-type-options"), "nosniff");
  EXPECT_EQ(pages.Json()["pages"][0]["title"].asString(), "<script>alert(1)</script>\" onload=x");
  EXPECT_EQ(inbox_->Get("/api/pages?q=%3Cscript%3E").Json()["pages"].size(), 1u);
  EXPECT_THAT(inbox_->Get("/api/export?pages=1&format=svg").body, Not(HasSubstr("<script>")));
}

TEST_F(InboxSecurity, ScriptsAndPagesOfOthersAreForbiddenByPolicy) {
  const HttpAnswer page = inbox_->Get("/");
  EXPECT_EQ(page.headers.at("content-security-policy"),
            "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
            "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
}

TEST_F(InboxSecurity, NoPathLeadsOutOfTheProgram) {
  for (const char* target :
       {"/../../etc/passwd", "/web/../../../../etc/passwd", "/web/..%2f..%2fetc%2fpasswd",
        "/web/%2e%2e/inbox.db", "//etc/passwd", "/web//etc/passwd", "/web/.", "/web/",
        "/web/index.html/", "/api/pages/../status", "/api/pages/1/ink/", "/api/pages/+1",
        "/api/pages/1e0", "/api/pages/99999999999999999999", "/api/pages/-1", "/inbox.db",
        "/web/\\..\\x", "/api/pages/1/picture.svg/../ink"}) {
    EXPECT_EQ(StatusOf("GET", target, ours_), 404) << target;
  }
}

TEST_F(InboxSecurity, AHugeHeadIsRefused) {
  HttpPeer peer(inbox_->port());
  peer.Send("GET / HTTP/1.1\r\nHost: " + host_ + "\r\nX: " + std::string(100000, 'x') + "\r\n\r\n");
  const int status = peer.ReadAnswer().status;
  EXPECT_TRUE(status == 431 || status == 400) << status;
  ExpectUnharmed();
}

TEST_F(InboxSecurity, AHugeBodyIsRefusedBeforeItIsSent) {
  HttpHeaders headers = With("Origin", "http://" + host_);
  headers["Content-Type"] = "application/json";
  headers["Content-Length"] = "9000000000";
  HttpPeer peer(inbox_->port());
  std::string head = "POST /api/pages/trash HTTP/1.1\r\n";
  for (const auto& [name, value] : headers) head += name + ": " + value + "\r\n";
  peer.Send(head + "\r\n");
  EXPECT_EQ(peer.ReadAnswer().status, 413);
  peer.WaitForEnd();
}

TEST_F(InboxSecurity, AHugeBodyInPiecesIsRefused) {
  HttpHeaders headers = With("Origin", "http://" + host_);
  headers["Content-Type"] = "application/json";
  headers["Transfer-Encoding"] = "chunked";
  HttpPeer peer(inbox_->port());
  std::string head = "POST /api/pages/trash HTTP/1.1\r\n";
  for (const auto& [name, value] : headers) head += name + ": " + value + "\r\n";
  peer.Send(head + "\r\n");
  const std::string piece = "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
  for (int i = 0; i < 200 && peer.Send(piece); ++i) {
  }
  // The end of what was still being sent may overtake the answer.
  const int status = peer.ReadAnswer().status;
  EXPECT_TRUE(status == 413 || status == 0) << status;
  ExpectUnharmed();
}

TEST_F(InboxSecurity, AStrangersBodyIsNotEvenRead) {
  HttpPeer peer(inbox_->port());
  peer.Send("POST /api/import HTTP/1.1\r\nHost: " + host_ +
            "\r\nContent-Type: application/octet-stream\r\nContent-Length: 100000000\r\n\r\n");
  EXPECT_EQ(peer.ReadAnswer().status, 401);
  peer.WaitForEnd();
}

TEST_F(InboxSecurity, WhoIsSlowKeepsNobodyWaiting) {
  std::vector<std::unique_ptr<HttpPeer>> slow;
  for (int i = 0; i < 20; ++i) {
    slow.push_back(std::make_unique<HttpPeer>(inbox_->port()));
    slow.back()->Send("GET /api/pa");
  }
  ExpectUnharmed();
  slow[0]->WaitForEnd();  // ten seconds for a head
}

TEST_F(InboxSecurity, HundredsOfStrangersConnectionsKeepNobodyOut) {
  std::vector<std::unique_ptr<HttpPeer>> held;
  for (int i = 0; i < 200; ++i) held.push_back(std::make_unique<HttpPeer>(inbox_->port()));
  HttpPeer stream(inbox_->port());
  stream.Send("GET /api/events HTTP/1.1\r\nHost: " + host_ + "\r\nCookie: " + ours_.at("Cookie") +
              "\r\n\r\n");
  stream.ReadUntil("event: service");
  for (int i = 0; i < 300; ++i) {
    held.push_back(std::make_unique<HttpPeer>(inbox_->port()));
    held.back()->Send("GET / HTTP/1.1\r\n");
  }
  ExpectUnharmed();
  inbox_->Post("/api/pages/1/title", "{\"title\":\"still here\"}");
  EXPECT_THAT(stream.ReadUntil("still here"), HasSubstr("event: page"))
      << "the strangers' connections made way, and not ours";
}

TEST_F(InboxSecurity, TwoHundredConnectionsAreServed) {
  std::vector<std::unique_ptr<HttpPeer>> peers;
  for (int i = 0; i < 200; ++i) peers.push_back(std::make_unique<HttpPeer>(inbox_->port()));
  std::string request = "GET /api/pages HTTP/1.1\r\n";
  for (const auto& [name, value] : ours_) request += name + ": " + value + "\r\n";
  for (const auto& peer : peers) peer->Send(request + "\r\n");
  for (const auto& peer : peers) EXPECT_EQ(peer->ReadAnswer().status, 200);
}

TEST_F(InboxSecurity, WhatIsNoHttpEndsTheConnectionAlone) {
  for (const std::string& bytes :
       {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03hello", 16),
        std::string("GET / HTTP/9.9\r\n\r\n"), std::string("nonsense\r\n\r\n"),
        std::string("GET / HTTP/1.1\r\nHost\r\n\r\n"), std::string(1, '\0') + "\r\n\r\n",
        std::string("GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"),
        std::string("GET / HTTP/1.1\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n")}) {
    HttpPeer peer(inbox_->port());
    peer.Send(bytes);
    EXPECT_GE(peer.ReadAnswer().status, 400) << bytes;
  }
  ExpectUnharmed();
}

TEST_F(InboxSecurity, BodiesThatAreNoJsonAreRefused) {
  for (const std::string& body :
       {std::string(), std::string("[]"), std::string("{"), std::string("{\"pages\":\"1\"}"),
        std::string("{\"pages\":[1.5]}"), std::string("{\"pages\":[{}]}"),
        std::string("{\"pages\":[1]}x"), std::string(100000, '['),
        "{\"pages\":[" + std::string(2000, '1') + "]}"}) {
    EXPECT_EQ(inbox_->Post("/api/pages/trash", body).status, 400) << body.substr(0, 60);
  }
  EXPECT_EQ(inbox_->Post("/api/pages/1/title", "{\"title\":\"a\\nb\"}").status, 400);
  EXPECT_EQ(inbox_->Post("/api/pages/1/title", "{\"title\":5}").status, 400);
  EXPECT_EQ(
      inbox_->Post("/api/pages/1/title", "{\"title\":\"" + std::string(201, 'x') + "\"}").status,
      400);
  ExpectUnharmed();
}

TEST_F(InboxSecurity, ArgumentsThatMeanNothingAreRefused) {
  for (const char* target :
       {"/api/pages?limit=x", "/api/pages?from=-5", "/api/pages?after=5", "/api/pages?after=a-b",
        "/api/export?pages=1,x&format=pdf", "/api/export?pages=&format=pdf",
        "/api/export?pages=1&format=exe", "/api/pages/1/picture.png?size=big"}) {
    EXPECT_EQ(inbox_->Get(target).status, 400) << target;
  }
  EXPECT_EQ(inbox_->Get("/api/pages/1/picture.png?size=999999999").status, 200)
      << "as large as pictures get";
}
