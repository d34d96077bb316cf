// From Listen to the end of Stop, as the owner sees it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <boost/asio/error.hpp>
#include <boost/filesystem/operations.hpp>
#include <future>

#include "ServerUnderTest.h"
#include "support/Machine.h"
#include "support/WireClient.h"

namespace {

namespace fs = boost::filesystem;

TEST(Stop, ReportsEveryOpenConnectionAndRemovesTheEndpoint) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  WireClient first(server.endpoint());
  WireClient second(server.endpoint());
  ASSERT_EQ(first.Request("Echo"), "Success");
  ASSERT_EQ(second.Request("Echo"), "Success");
  server.Stop();
  EXPECT_EQ(server.ends(),
            (std::vector<boost::system::error_code>(2, boost::asio::error::operation_aborted)));
  EXPECT_FALSE(fs::exists(server.endpoint()));
  EXPECT_EQ(first.WaitForLine(), "");
  EXPECT_EQ(second.WaitForLine(), "");
}

TEST(Stop, LeavesNothingInTheDirectory) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  server.Stop();
  EXPECT_EQ(std::distance(fs::directory_iterator(server.directory()), {}), 1);  // var
}

TEST(Stop, RunsNoCallbackAfterwards) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  WireClient client(server.endpoint());
  for (int i = 0; i < 1000; ++i) client.Send("Request");
  server.Stop();
  const std::size_t requests = server.requests().size();
  const std::size_t ends = server.ends().size();
  // Whatever was left on the queue has had its turn when this has.
  std::promise<void> turn;
  server.queue().post([&] { server.queue().post([&] { turn.set_value(); }); });
  turn.get_future().wait();
  EXPECT_EQ(server.requests().size(), requests);
  EXPECT_EQ(server.ends().size(), ends);
}

TEST(Stop, RepeatsTheReportForAnOwnerThatDropsAReference) {
  ServerUnderTest server;
  std::vector<ServerUnderTest::Connection> filed;
  server.on_end = [&](const ServerUnderTest::Connection&) {
    if (!filed.empty()) filed.pop_back();
  };
  ASSERT_TRUE(server.Listen());
  WireClient client(server.endpoint());
  ASSERT_EQ(client.Request("Echo"), "Success");
  filed.assign(2, server.connections().at(0));
  server.Stop();
  EXPECT_EQ(server.ends().size(), 3u);
}

TEST(Stop, WithoutListenReturnsAlthoughNothingRunsTheQueue) {
  const TestRoot root;
  boost::asio::io_service queue;
  const auto server = IPC::Server::CreateEx(queue, {}, {}, {}, "Quillpost:Test");
  server->Stop();
  server->Stop();
  EXPECT_FALSE(server->Listen((root.path() / "none/ipc.sock").string()));
  server->Stop();
}

TEST(Stop, ASecondTimeReturnsAlthoughTheQueueHasStopped) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  server.Stop();
  server.queue().stop();
  server.Stop();
}

TEST(Stop, RepliesAndNotificationsAfterwardsDoNothing) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  WireClient client(server.endpoint());
  client.Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server.held() == 1; }));
  const auto connection = server.connections().at(0);
  server.Stop();
  server.Release();
  EXPECT_FALSE(connection->SendNotification("Note", Json::Value()));
}

TEST(Connections, MayBeKeptLongerThanServerAndQueue) {
  ServerUnderTest::Connection kept;
  {
    ServerUnderTest server;
    ASSERT_TRUE(server.Listen());
    WireClient client(server.endpoint());
    ASSERT_EQ(client.Request("Echo"), "Success");
    kept = server.connections().at(0);
    server.Stop();
  }
  EXPECT_FALSE(kept->SendNotification("Note", Json::Value()));
}

// An owner that is bound into its own callbacks is freed when the server has stopped, and one whose
// queue ends without Stop is freed with the queue. The leak checker sees the rest.
TEST(Owner, BoundIntoTheCallbacksIsFreedAfterStop) {
  const auto owner = std::make_shared<int>(1);
  TestRoot root;
  boost::asio::io_service queue;
  auto work = std::make_unique<boost::asio::io_service::work>(queue);
  std::thread thread([&] { queue.run(); });
  auto server = IPC::Server::CreateEx(
      queue, [owner](ServerUnderTest::Connection) {},
      [owner](ServerUnderTest::Connection, const boost::system::error_code&) {},
      [owner](ServerUnderTest::Connection, const std::string&, const Json::Value&,
              IPC::Server::Reply) {},
      "Quillpost:Test");
  ASSERT_TRUE(server->Listen((root.path() / "ipc.sock").string()));
  server->Stop();
  EXPECT_EQ(owner.use_count(), 1);
  work.reset();
  thread.join();
}

TEST(Owner, MayDropTheQueueWithoutStop) {
  TestRoot root;
  const std::string endpoint = (root.path() / "ipc.sock").string();
  ServerUnderTest::Connection kept;
  {
    boost::asio::io_service queue;
    const auto server = IPC::Server::CreateEx(
        queue, [&](ServerUnderTest::Connection connection) { kept = connection; }, {}, {},
        "Quillpost:Test");
    ASSERT_TRUE(server->Listen(endpoint));
    WireClient client(endpoint);
    while (!kept) queue.run_one();
    client.Send("Echo");
    queue.run_one();
  }
  EXPECT_FALSE(kept->SendNotification("Note", Json::Value()));
  EXPECT_FALSE(fs::exists(endpoint));
}

TEST(Listen, IsToBeCalledOnce) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  EXPECT_FALSE(server.Listen());
  EXPECT_EQ(WireClient(server.endpoint()).Request("Echo"), "Success");
}

// The caller may hold what the callbacks need, and the queue may be busy or not run yet.
TEST(Listen, DoesNotWaitForTheQueue) {
  TestRoot root;
  boost::asio::io_service queue;
  const auto server = IPC::Server::CreateEx(queue, {}, {}, {}, "Quillpost:Test");
  EXPECT_TRUE(server->Listen((root.path() / "ipc.sock").string()));
  WireClient client((root.path() / "ipc.sock").string());
  client.Send("Echo");
  std::thread thread([&] { queue.run(); });
  EXPECT_EQ(client.WaitForLine(),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
  server->Stop();
  thread.join();
}

TEST(Host, KeepsItsUmaskAndSignalDispositions) {
  // Not the owner's rights: an ordinary user's test must get at its own files.
  const mode_t umask_before = ::umask(0023);
  struct sigaction pipe_before, pipe_after;
  ASSERT_EQ(::sigaction(SIGPIPE, nullptr, &pipe_before), 0);
  ASSERT_EQ(pipe_before.sa_handler, SIG_DFL);
  {
    ServerUnderTest server;
    ASSERT_TRUE(server.Listen());
    WireClient client(server.endpoint());
    client.Send("Hold");
    ASSERT_TRUE(Eventually([&] { return server.held() == 1; }));
    const auto connection = server.connections().at(0);
    client.Die();
    // SIGPIPE would end the test here.
    while (connection->SendNotification("Note", Json::Value())) {
    }
    ASSERT_EQ(::sigaction(SIGPIPE, nullptr, &pipe_after), 0);
    EXPECT_EQ(pipe_after.sa_handler, SIG_DFL);
  }
  EXPECT_EQ(::umask(umask_before), static_cast<mode_t>(0023));
}

TEST(Host, StartedProgramsInheritNoDescriptor) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  WireClient client(server.endpoint());
  ASSERT_EQ(client.Request("Echo"), "Success");
  std::vector<std::string> inherited;
  for (int fd = 3; fd < 1024; ++fd) {
    const int flags = ::fcntl(fd, F_GETFD);
    if (flags < 0 || (flags & FD_CLOEXEC)) continue;
    boost::system::error_code ignored;
    const std::string name =
        fs::read_symlink("/proc/self/fd/" + std::to_string(fd), ignored).string();
    if (name.compare(0, 7, "socket:") == 0 || name.compare(0, 5, "anon_") == 0)
      inherited.push_back(name);
  }
  EXPECT_EQ(inherited, std::vector<std::string>());
}

}  // namespace
