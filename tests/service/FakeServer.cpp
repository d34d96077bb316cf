#include "service/FakeServer.h"

#include <TalvoOS/Actions.h>
#include <TalvoOS/Root.h>
#include <dlfcn.h>

#include <boost/thread/future.hpp>

boost::shared_ptr<FakeServer> FakeServer::latest;
bool FakeServer::makes_none = false;
bool FakeServer::listens = true;
std::function<void(const std::string&)> FakeServer::on_launch;
std::function<void()> FakeServer::on_subscriptions;

namespace IPC {

boost::shared_ptr<Server> Server::CreateEx(boost::asio::io_service& queue, OnConnected on_connected,
                                           OnDisconnected on_disconnected, OnRequest on_request,
                                           const std::string& name) {
  if (FakeServer::makes_none) return nullptr;
  const auto server = boost::make_shared<FakeServer>();
  server->queue = &queue;
  server->on_connected = on_connected;
  server->on_disconnected = on_disconnected;
  server->on_request = on_request;
  server->name = name;
  FakeServer::latest = server;
  return server;
}

}  // namespace IPC

namespace TalvoOS {

boost::filesystem::path UnderRoot(const boost::filesystem::path& path) {
  typedef boost::filesystem::path Function(const boost::filesystem::path&);
  static const auto library = reinterpret_cast<Function*>(
      ::dlsym(RTLD_NEXT, "_ZN7TalvoOS9UnderRootERKN5boost10filesystem4pathE"));
  if (FakeServer::on_subscriptions && path.filename() == "Subscriptions") {
    FakeServer::on_subscriptions();
  }
  return library(path);
}

namespace Actions {

Program StartApplication(const std::string& program) {
  if (FakeServer::on_launch) FakeServer::on_launch(program);
  return Program();
}

}  // namespace Actions
}  // namespace TalvoOS

void ServiceOverAFakeServer::OnServerThread(const std::function<void()>& job) {
  boost::promise<void> done;
  FakeServer::latest->queue->post([&] {
    job();
    done.set_value();
  });
  done.get_future().get();
}

std::string ServiceOverAFakeServer::Ask(const boost::shared_ptr<Peer>& from,
                                        const std::string& name, const Json::Value& params) {
  std::string answer;
  int answers = 0;
  OnServerThread([&] {
    FakeServer::latest->on_request(from, name, params,
                                   [&](const std::string& status, const Json::Value&) {
                                     answer = status;
                                     ++answers;
                                   });
  });
  EXPECT_EQ(answers, 1) << name;
  return answer;
}
