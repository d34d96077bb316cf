// The socket file: who gets it, whom it lets in, what it leaves alone.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem.hpp>
#include <future>
#include <set>

#include "ServerUnderTest.h"
#include "support/Machine.h"
#include "support/WireClient.h"

namespace {

namespace fs = boost::filesystem;

// A server that nothing runs: enough to hold an endpoint.
class Holder {
 public:
  explicit Holder(const std::string& endpoint)
      : server_(IPC::Server::CreateEx(queue_, {}, {}, {}, "Quillpost:Test")),
        is_listening_(server_->Listen(endpoint)) {}

  bool is_listening() const { return is_listening_; }

 private:
  boost::asio::io_service queue_;
  boost::shared_ptr<IPC::Server> server_;
  const bool is_listening_;
};

sockaddr_un Address(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// A socket file as another program would make it; the caller closes the socket.
int Bind(const std::string& path, int type = SOCK_STREAM) {
  const int fd = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  const sockaddr_un address = Address(path);
  EXPECT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return fd;
}

void MakeDeadSocket(const std::string& path) {
  ::close(Bind(path));
}

int ModeOf(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : -1;
}

class Endpoint : public testing::Test {
 protected:
  std::string path() const { return (root_.path() / "ipc.sock").string(); }

  void ExpectRefused(const std::string& endpoint, const std::string& reason) {
    log_.Clear();
    EXPECT_FALSE(Holder(endpoint).is_listening());
    EXPECT_EQ(log_.lines(), std::vector<LogCapture::Line>(1, {1, "Quillpost:Test can't listen on " +
                                                                     endpoint + ": " + reason}));
  }

  void ExpectRefused(const std::string& reason) { ExpectRefused(path(), reason); }

  TestRoot root_;
  LogCapture log_;
};

// ---- Whom it lets in

TEST_F(Endpoint, IsForItsUserAloneWhateverTheUmask) {
  for (mode_t mask : {0000, 0022, 0277, 0777}) {
    const mode_t before = ::umask(mask);
    const Holder holder(path());
    ::umask(before);
    ASSERT_TRUE(holder.is_listening());
    EXPECT_EQ(ModeOf(path()), 0600) << mask;
  }
}

TEST_F(Endpoint, WasNeverForOthersBefore) {
  const mode_t before = ::umask(0);
  std::atomic<bool> done{false};
  std::set<int> modes;
  std::thread watcher([&] {
    while (!done) modes.insert(ModeOf(path()));
  });
  for (int i = 0; i < 300; ++i) EXPECT_TRUE(Holder(path()).is_listening());
  done = true;
  watcher.join();
  ::umask(before);
  modes.erase(-1);
  modes.erase(0600);
  EXPECT_EQ(modes, std::set<int>());
}

TEST_F(Endpoint, AStrangersConnectionIsClosedWithNothingSent) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  ASSERT_EQ(::chmod(server.endpoint().c_str(), 0666), 0);
  ASSERT_EQ(::chmod(server.directory().c_str(), 0755), 0);
  // A process of its own: the rights of a user are those of a whole process.
  const pid_t stranger = ::fork();
  if (stranger == 0) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = Address(server.endpoint());
    char byte;
    const bool closed =
        ::setuid(65534) == 0 &&
        ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::recv(fd, &byte, 1, 0) == 0;
    ::_exit(closed ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(stranger, &status, 0), stranger);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(server.connected(), 0u);
  EXPECT_TRUE(server.log().Has(2, "Quillpost:Test closed a connection of another user"));
  EXPECT_EQ(WireClient(server.endpoint()).Request("Echo"), "Success");
}

// ---- What it leaves alone

TEST_F(Endpoint, ALiveOneIsRefusedAndGoesOn) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  WireClient client(server.endpoint());
  ASSERT_EQ(client.Request("Echo"), "Success");
  EXPECT_FALSE(Holder(server.endpoint()).is_listening());
  EXPECT_TRUE(server.log().Has(1, "Quillpost:Test can't listen on " + server.endpoint() +
                                      ": another server is listening there"));
  EXPECT_EQ(client.Request("Echo"), "Success");
  EXPECT_EQ(WireClient(server.endpoint()).Request("Echo"), "Success");
}

TEST_F(Endpoint, AFileIsRefusedAndLeftAlone) {
  WriteFile(path(), "ink");
  ExpectRefused("the path is taken by something that is not a socket");
  EXPECT_EQ(ReadFile(path()), "ink");
}

TEST_F(Endpoint, ADirectoryIsRefusedAndLeftAlone) {
  fs::create_directory(path());
  ExpectRefused("the path is taken by something that is not a socket");
  EXPECT_TRUE(fs::is_directory(path()));
}

TEST_F(Endpoint, ALinkIsRefusedAndLeftAlone) {
  const std::string target = (root_.path() / "target").string();
  MakeDeadSocket(target);
  fs::create_symlink(target, path());
  ExpectRefused("the path is taken by something that is not a socket");
  EXPECT_TRUE(fs::is_symlink(path()));
  EXPECT_TRUE(fs::exists(target));
  fs::remove(target);
  ExpectRefused("the path is taken by something that is not a socket");
  EXPECT_TRUE(fs::is_symlink(path()));
}

TEST_F(Endpoint, AFifoIsRefusedAndLeftAlone) {
  ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
  ExpectRefused("the path is taken by something that is not a socket");
  EXPECT_TRUE(fs::exists(path()));
}

TEST_F(Endpoint, ASocketOfAnotherKindIsRefusedAndLeftAlone) {
  const int fd = Bind(path(), SOCK_DGRAM);
  ExpectRefused(
      "the path is taken by a socket that can't be connected to: "
      "Protocol wrong type for socket");
  EXPECT_TRUE(fs::exists(path()));
  ::close(fd);
}

TEST_F(Endpoint, AnotherUsersSocketIsRefusedAndLeftAloneDeadOrAlive) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const int fd = Bind(path());
  ASSERT_EQ(::listen(fd, 1), 0);
  ASSERT_EQ(::chown(path().c_str(), 65534, 65534), 0);
  ExpectRefused("the path is taken by a socket of another user");
  ::close(fd);
  ExpectRefused("the path is taken by a socket of another user");
  EXPECT_TRUE(fs::exists(path()));
}

TEST_F(Endpoint, APathTooLongForASocketIsRefusedByName) {
  const std::string longest =
      root_.path().string() + "/" + std::string(107 - root_.path().size() - 1, 'x');
  EXPECT_TRUE(Holder(longest).is_listening());
  ExpectRefused(longest + "x", "the path has 108 bytes, more than the 107 of a socket's");
}

TEST_F(Endpoint, WithoutItsDirectoryIsRefusedAndTheDirectoryNotMade) {
  ExpectRefused((root_.path() / "none/ipc.sock").string(), "its directory does not exist");
  EXPECT_FALSE(fs::exists(root_.path() / "none"));
}

TEST_F(Endpoint, AnEmptyPathIsRefused) {
  ExpectRefused("", "the path is empty or holds a zero byte");
}

TEST_F(Endpoint, InADirectoryWithoutRightsIsRefusedWithTheReason) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a directory of another user";
  const PlainUser user;
  ExpectRefused("can't lock " + path() + ".lock: Permission denied");
}

// ---- Who gets it

TEST_F(Endpoint, ADeadOneIsTakenOver) {
  MakeDeadSocket(path());
  EXPECT_TRUE(Holder(path()).is_listening());
}

TEST_F(Endpoint, OfAKilledProcessIsTakenOver) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const Holder holder(path());
    const char result = holder.is_listening() ? '1' : '0';
    (void)!::write(ready[1], &result, 1);
    for (;;) ::pause();
  }
  char result = 0;
  ASSERT_EQ(::read(ready[0], &result, 1), 1);
  ASSERT_EQ(result, '1');
  EXPECT_FALSE(Holder(path()).is_listening());
  ASSERT_EQ(::kill(child, SIGKILL), 0);
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);
  ASSERT_TRUE(fs::exists(path()));
  EXPECT_TRUE(Holder(path()).is_listening());
  ::close(ready[0]);
  ::close(ready[1]);
}

// A server killed while it starts a program: the child of the fork still has its sockets.
TEST_F(Endpoint, OfAKilledProcessIsTakenOverThoughAChildStillHoldsItsSocket) {
  int life[2];
  ASSERT_EQ(::pipe(life), 0);
  const pid_t server = ::fork();
  if (server == 0) {
    const Holder holder(path());
    if (!holder.is_listening()) ::_exit(1);
    ::close(life[1]);
    char end;
    if (::fork() == 0) ::_exit(static_cast<int>(::read(life[0], &end, 1)));
    ::raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(server, &status, 0), server);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_NO_THROW(WireClient{path()}) << "the socket is there and open";
  EXPECT_TRUE(Holder(path()).is_listening());
  ::close(life[0]);
  ::close(life[1]);
}

// What a service leaves that is killed while it starts: its lock, and a socket that never listened.
TEST_F(Endpoint, TheTracesOfAStartThatWasKilledHinderNobody) {
  ServerUnderTest server;
  ASSERT_EQ(::chmod(root_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(fs::path(path()).parent_path().c_str(), 0777), 0);
  const PlainUser user;  // no mode keeps root out
  WriteFile(path() + ".lock", "");
  ASSERT_EQ(::chmod((path() + ".lock").c_str(), 0), 0);
  MakeDeadSocket(path());
  EXPECT_TRUE(Holder(path()).is_listening());
  EXPECT_FALSE(fs::exists(path() + ".lock"));
}

TEST_F(Endpoint, AForeignThingInPlaceOfTheLockIsRefusedAndLeftAlone) {
  fs::create_symlink(root_.path() / "target", path() + ".lock");
  ExpectRefused("can't lock " + path() + ".lock: Too many levels of symbolic links");
  EXPECT_FALSE(fs::exists(root_.path() / "target"));
  EXPECT_TRUE(fs::is_symlink(path() + ".lock"));

  fs::remove(path() + ".lock");
  ASSERT_EQ(::mkfifo((path() + ".lock").c_str(), 0600), 0);
  ExpectRefused("can't lock " + path() + ".lock: Operation not permitted");
  EXPECT_TRUE(fs::exists(path() + ".lock"));
}

// Starts twenty processes that listen at the same moment and stay. How many of them got it.
int CountListenersOfTwentyProcesses(const std::string& path) {
  int start[2], results[2], end[2];
  EXPECT_EQ(::pipe(start) | ::pipe(results) | ::pipe(end), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < 20; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      char byte;
      ::close(start[1]);
      ::close(end[1]);
      (void)!::read(start[0], &byte, 1);  // ends when the parent closes its side
      const Holder holder(path);
      const char result = holder.is_listening() ? '1' : '0';
      (void)!::write(results[1], &result, 1);
      (void)!::read(end[0], &byte, 1);
      ::_exit(0);  // like a killed service: the socket stays
    }
    children.push_back(child);
  }
  ::close(start[1]);
  int listeners = 0;
  for (int i = 0; i < 20; ++i) {
    char result = 0;
    EXPECT_EQ(::read(results[0], &result, 1), 1);
    listeners += result == '1';
  }
  ::close(end[1]);
  for (pid_t child : children) EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  for (int fd : {start[0], results[0], results[1], end[0]}) ::close(fd);
  return listeners;
}

TEST_F(Endpoint, OfTwentyThatStartTogetherExactlyOneListens) {
  // From the second round on there is a dead socket to be taken over.
  for (int round = 0; round < 40; ++round) EXPECT_EQ(CountListenersOfTwentyProcesses(path()), 1);
}

TEST_F(Endpoint, OfTwentyThreadsOfOneProcessExactlyOneListens) {
  MakeDeadSocket(path());
  std::atomic<int> listeners{0};
  std::promise<void> end;
  const std::shared_future<void> has_ended(end.get_future());
  std::vector<std::thread> threads;
  std::atomic<int> tried{0};
  for (int i = 0; i < 20; ++i) {
    threads.emplace_back([&] {
      const Holder holder(path());
      listeners += holder.is_listening();
      ++tried;
      has_ended.wait();
    });
  }
  EXPECT_TRUE(Eventually([&] { return tried == 20; }));
  EXPECT_EQ(listeners, 1);
  end.set_value();
  for (std::thread& thread : threads) thread.join();
}

// ---- Its end

TEST_F(Endpoint, IsRemovedAtTheEnd) {
  EXPECT_TRUE(Holder(path()).is_listening());
  EXPECT_FALSE(fs::exists(path()));
}

TEST_F(Endpoint, IsNotRemovedIfSomethingElseHasTakenItsPlace) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  fs::remove(server.endpoint());
  MakeDeadSocket(server.endpoint());
  server.Stop();
  EXPECT_TRUE(fs::exists(server.endpoint()));
}

TEST_F(Endpoint, ThatIsGoneAlreadyDoesNotHinderTheEnd) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  fs::remove(server.endpoint());
  server.Stop();
  EXPECT_FALSE(fs::exists(server.endpoint()));
}

// Waiting for connections takes descriptors, too. A server that can't wait does not say it listens.
TEST(EndpointShortage, WithoutDescriptorsToWaitWithIsNotListenedOn) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer looks at memory through descriptors of its own";
#endif
  const TestRoot root;
  const LogCapture log;
  const std::string endpoint = (root.path() / "sock").string();
  const int next = ::dup(STDIN_FILENO);
  ::close(next);
  rlimit before;
  ::getrlimit(RLIMIT_NOFILE, &before);
  boost::asio::io_service queue;
  const auto server = IPC::Server::CreateEx(queue, {}, {}, {}, "Quillpost:Test");
  const rlimit enough_for_the_socket = {static_cast<rlim_t>(next) + 2, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &enough_for_the_socket);
  const bool listening = server->Listen(endpoint);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(listening);
  EXPECT_FALSE(fs::exists(endpoint));
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0].first, 1);
  EXPECT_EQ(log.lines()[0].second.find("Quillpost:Test can't listen on " + endpoint + ": "), 0u);
}

}  // namespace
