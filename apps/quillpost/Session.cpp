#include "Session.h"

#include <TalvoQuillpost/Protocol.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/path.hpp>

#include "Commands.h"
#include "Output.h"
#include "common/File.h"

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// Tells when something happens in the directory of the endpoint: a service that has begun to listen
// removes its lock there.
class EndpointWatch {
 public:
  explicit EndpointWatch(const std::string& endpoint)
      : directory_(boost::filesystem::path(endpoint).parent_path().string()),
        events_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

  // Waits for news, at most until `end`. A directory that is not there yet can't be watched, and is
  // looked for again every second.
  void Wait(steady_clock::time_point end) {
    ::inotify_add_watch(events_.get(), directory_.c_str(), IN_CREATE | IN_DELETE | IN_MOVED_TO);
    const auto left = duration_cast<milliseconds>(end - steady_clock::now()) + milliseconds(1);
    const auto bound = std::clamp(left, milliseconds(0), milliseconds(1000));
    pollfd readable = {events_.get(), POLLIN, 0};
    ::poll(&readable, 1, static_cast<int>(bound.count()));
    char buffer[4096];
    while (::read(events_.get(), buffer, sizeof buffer) > 0) {
    }
  }

 private:
  const std::string directory_;
  const TalvoCppUtils::Descriptor events_;
};

}  // namespace

int ConnectToService(IPC::Client& client, milliseconds wait) {
  const std::string endpoint = IPC::Protocol::Quillpost::GetEndpoint();
  const auto end = steady_clock::now() + wait;
  IPC::Client::Outcome outcome = client.Connect(endpoint);
  if (outcome.error == IPC::Client::Error::kNoService && wait.count() > 0) {
    EndpointWatch watch(endpoint);
    watch.Wait(steady_clock::now());  // watch first and look then, so that nothing is missed
    while (!(outcome = client.Connect(endpoint)) &&
           outcome.error == IPC::Client::Error::kNoService && steady_clock::now() < end) {
      watch.Wait(end);
    }
  }
  return outcome ? kDone : ComplainOf(outcome);
}

IPC::Client::Reply SayHello() {
  const auto end = steady_clock::now() + kAnswerPatience;
  IPC::Client client;
  IPC::Client::Reply reply;
  static_cast<IPC::Client::Outcome&>(reply) =
      client.Connect(IPC::Protocol::Quillpost::GetEndpoint(), kAnswerPatience);
  if (!reply) return reply;
  const auto left = duration_cast<milliseconds>(end - steady_clock::now());
  reply = client.Request(IPC::Protocol::Quillpost::Command::Hello, Json::Value(),
                         std::max(left, milliseconds(1)));
  client.Close(milliseconds(0));
  return reply;
}

int ComplainOf(const IPC::Client::Outcome& outcome) {
  if (outcome.error == IPC::Client::Error::kNoService) {
    Complain("no service is listening at " + IPC::Protocol::Quillpost::GetEndpoint() +
             "; start it with quillpostd");
    return kNoService;
  }
  Complain(outcome.message);
  return outcome.error == IPC::Client::Error::kClosed ? kNoService : kRefused;
}
