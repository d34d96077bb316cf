#include "http/Connection.h"

#include <gmock/gmock.h>

#include <cctype>

#include "HttpWorld.h"

using namespace Inbox;
using testing::HasSubstr;

namespace {

class ConnectionTest : public HttpWorld {
 protected:
  HttpPeer peer_{port_};
};

}  // namespace

TEST_F(ConnectionTest, CarriesOneRequestAfterTheOther) {
  EXPECT_EQ(peer_.Ask("GET", "/", Ours()).body, "GET ");
  EXPECT_EQ(peer_.Ask("POST", "/api/pad", Ours(), "{}").body, "POST {}");
  EXPECT_EQ(peer_.Ask("GET", "/", Ours()).body, "GET ");
}

TEST_F(ConnectionTest, RequestsThatAreSentTogetherAreAnsweredInTheirOrder) {
  ASSERT_TRUE(peer_.Send(Head("POST", "/api/pad", "Content-Length: 3\r\n") + "one" +
                         Head("POST", "/api/pad", "Content-Length: 3\r\n") + "two"));
  EXPECT_EQ(peer_.ReadAnswer().body, "POST one");
  EXPECT_EQ(peer_.ReadAnswer().body, "POST two");
}

TEST_F(ConnectionTest, EndsIfItsPeerWantsIt) {
  ASSERT_TRUE(peer_.Send(Head("GET", "/", "Connection: close\r\n")));
  EXPECT_EQ(peer_.ReadAnswer().status, 200);
  peer_.WaitForEnd();
}

TEST_F(ConnectionTest, EveryAnswerHasTheHeadersOfSafety) {
  const HttpAnswer answer = peer_.Ask("GET", "/", Ours());
  for (const auto& [name, value] : SafetyHeaders()) {
    std::string lower = name;
    for (char& c : lower) c = static_cast<char>(std::tolower(c));
    EXPECT_EQ(answer.headers.at(lower), value);
  }
  EXPECT_EQ(answer.headers.at("cache-control"), "no-store");
}

TEST_F(ConnectionTest, AHeadRequestIsAnsweredWithoutABody) {
  ASSERT_TRUE(peer_.Send(Head("HEAD", "/")));
  const HttpAnswer answer = peer_.ReadAnswer(false);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.headers.at("content-length"), "5");
  EXPECT_EQ(peer_.Ask("GET", "/", Ours()).body, "GET ");
}

TEST_F(ConnectionTest, WhoWaitsForALeaveToSendTheBodyGetsIt) {
  ASSERT_TRUE(
      peer_.Send(Head("POST", "/api/pad", "Content-Length: 3\r\nExpect: 100-continue\r\n")));
  EXPECT_EQ(peer_.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
  ASSERT_TRUE(peer_.Send("ink"));
  EXPECT_THAT(peer_.ReadUntil("POST ink"), HasSubstr("200 OK"));
}

TEST_F(ConnectionTest, ARefusedBodyIsNotAskedFor) {
  ASSERT_TRUE(
      peer_.Send(Head("POST", "/api/pad", "Content-Length: 8388609\r\nExpect: 100-continue\r\n")));
  const HttpAnswer answer = peer_.ReadAnswer();
  EXPECT_EQ(answer.status, 413);
  EXPECT_EQ(answer.Json()["error"], "the body is larger than 8 MiB");
  peer_.WaitForEnd();
}

TEST_F(ConnectionTest, AHeadBeyondItsLimitIsRefused) {
  peer_.Send(Head("GET", "/", "Long: " + std::string(16 * 1024, 'x') + "\r\n"));
  EXPECT_EQ(peer_.ReadAnswer().status, 431);
  peer_.WaitForEnd();
}

TEST_F(ConnectionTest, WhatIsNoHttpIsToldSo) {
  peer_.Send("hello\r\n\r\n");
  EXPECT_EQ(peer_.ReadAnswer().Json()["error"], "that is not HTTP");
  peer_.WaitForEnd();
}

TEST_F(ConnectionTest, ATargetThatLeadsNowhereEndsIt) {
  peer_.Send(Head("GET", "/%zz"));
  EXPECT_EQ(peer_.ReadAnswer().status, 404);
  peer_.WaitForEnd();
}

// Memory: of bodies above a megabyte two are read at a time.
TEST_F(ConnectionTest, AThirdLargeBodyHasToWait) {
  const std::string large =
      Head("POST", "/api/pad", "Content-Length: 2097152\r\nExpect: 100-continue\r\n");
  const std::string body(2097152, ' ');
  HttpPeer one(port_), two(port_);
  for (HttpPeer* peer : {&one, &two}) {
    ASSERT_TRUE(peer->Send(large));
    peer->ReadUntil("100 Continue\r\n\r\n");
  }
  ASSERT_TRUE(peer_.Send(large));
  const HttpAnswer refused = peer_.ReadAnswer();
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.Json()["error"], "other files are on their way; try again");
  ASSERT_TRUE(one.Send(body));
  EXPECT_THAT(one.ReadUntil("200 OK"), HasSubstr("200 OK"));
  HttpPeer next(port_);
  ASSERT_TRUE(next.Send(large));
  EXPECT_THAT(next.ReadUntil("\r\n\r\n"), HasSubstr("100 Continue"));
}

TEST_F(ConnectionTest, BecomesAStreamOfEvents) {
  ASSERT_TRUE(peer_.Send(Head("GET", "/api/events")));
  handler_.WaitFor("stream");
  EXPECT_THAT(peer_.ReadUntil("\r\n\r\n"), HasSubstr("Content-Type: text/event-stream\r\n"));
  handler_.streams_[0]->Send("event: page\n\n");
  EXPECT_THAT(peer_.ReadUntil("event: page\n\n"), HasSubstr("event: page\n\n"));
}

TEST_F(ConnectionTest, AStreamEndsWithItsPeer) {
  {
    HttpPeer leaving(port_);
    ASSERT_TRUE(leaving.Send(Head("GET", "/api/events")));
    handler_.WaitFor("stream");
  }
  handler_.WaitFor("end");
  handler_.streams_[0]->Send("event: page\n\n");  // to nobody
}

// A reader that does not read loses its connection, and takes nobody's memory.
TEST_F(ConnectionTest, AStreamThatLagsFarBehindIsEnded) {
  ASSERT_TRUE(peer_.Send(Head("GET", "/api/events")));
  handler_.WaitFor("stream");
  const std::string event = "data: " + std::string(64 * 1024, 'x') + "\n\n";
  for (int i = 0; i < 1000; ++i) handler_.streams_[0]->Send(event);
  handler_.WaitFor("end");
}
