#include "http/Server.h"

#include <boost/system/system_error.hpp>

#include "HttpWorld.h"

using namespace Inbox;

namespace {

class ServerTest : public HttpWorld {};

HttpLimits ThreeConnections() {
  HttpLimits limits;
  limits.connections = 3;
  limits.head = std::chrono::hours(1);  // none ends for another reason
  return limits;
}

class SmallServerTest : public HttpWorld {
 protected:
  SmallServerTest() : HttpWorld(ThreeConnections()) {}
};

}  // namespace

TEST_F(ServerTest, ListensOnTheLoopbackAddresses) {
  EXPECT_EQ(HttpPeer(port_).Ask("GET", "/", Ours()).body, "GET ");
  try {
    HttpPeer sixth(port_, true);
    EXPECT_EQ(sixth.Ask("GET", "/", Ours()).body, "GET ");
  } catch (const std::runtime_error&) {
    GTEST_SKIP() << "this machine has no ::1";
  }
}

TEST_F(ServerTest, APortThatIsTakenIsRefused) {
  HttpServer other(queue_, handler_);
  EXPECT_THROW(other.Bind(port_), boost::system::system_error);
}

TEST_F(ServerTest, AnyFreePortWillDo) {
  HttpServer other(queue_, handler_);
  const unsigned short port = other.Bind(0);
  EXPECT_NE(port, 0);
  EXPECT_NE(port, port_);
}

TEST_F(ServerTest, TheGuardJudgesBeforeTheHandler) {
  HttpHeaders strangers = Ours();
  strangers.erase("Cookie");
  EXPECT_EQ(HttpPeer(port_).Ask("GET", "/api/pages", strangers).status, 401);
}

TEST_F(ServerTest, AReplyMayComeFromAnotherThread) {
  HttpPeer peer(port_);
  ASSERT_TRUE(peer.Send(Head("GET", "/api/later")));
  handler_.WaitFor("later");
  Response response;
  response.body = "at last";
  std::thread([&] { handler_.later_(response); }).join();
  EXPECT_EQ(peer.ReadAnswer().body, "at last");
}

TEST_F(ServerTest, StopEndsEveryConnection) {
  HttpPeer idle(port_), asking(port_), listening(port_);
  EXPECT_EQ(idle.Ask("GET", "/", Ours()).status, 200);
  ASSERT_TRUE(asking.Send(Head("GET", "/api/later")));
  ASSERT_TRUE(listening.Send(Head("GET", "/api/events")));
  handler_.WaitFor("later");
  handler_.WaitFor("stream");
  StopServer();
  handler_.WaitFor("end");
  for (HttpPeer* peer : {&idle, &asking, &listening}) peer->WaitForEnd();
  EXPECT_THROW(HttpPeer{port_}, std::runtime_error);
  handler_.later_(Response());  // to nobody
}

// Any user of the machine can hold connections. Those of browsers that were let in stay.
TEST_F(SmallServerTest, TheOldestStrangerMakesWay) {
  HttpPeer browser(port_);
  EXPECT_EQ(browser.Ask("GET", "/", Ours()).status, 200);
  HttpPeer first(port_), second(port_);
  HttpPeer late(port_);
  first.WaitForEnd();
  EXPECT_EQ(late.Ask("GET", "/", Ours()).status, 200);
  EXPECT_EQ(second.Ask("GET", "/", Ours()).status, 200);
  EXPECT_EQ(browser.Ask("GET", "/", Ours()).status, 200);
}

TEST_F(SmallServerTest, IfAllAreKnownTheNextIsClosed) {
  HttpPeer one(port_), two(port_), three(port_);
  for (HttpPeer* peer : {&one, &two, &three}) EXPECT_EQ(peer->Ask("GET", "/", Ours()).status, 200);
  HttpPeer(port_).WaitForEnd();
  EXPECT_EQ(one.Ask("GET", "/", Ours()).status, 200);
}
