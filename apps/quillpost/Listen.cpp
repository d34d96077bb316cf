#include <TalvoQuillpost/Protocol.h>
#include <signal.h>

#include <algorithm>
#include <boost/asio/io_service.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <chrono>
#include <deque>
#include <iterator>
#include <map>
#include <set>

#include "Commands.h"
#include "Output.h"
#include "Package.h"
#include "PackageCommand.h"
#include "SavedPackage.h"
#include "Session.h"
#include "common/Identifiers.h"

namespace fs = boost::filesystem;
namespace asio = boost::asio;
using namespace IPC::Protocol;

namespace {

// One application's stay with the service. Everything but the client's socket lives on the thread
// of Run, which is also the one that runs the queue.
//
// Packages are taken one at a time through the same steps: look, keep, run the command, print, wait
// until the reader of a pipe has taken the line, and only then confirm. So ink whose line nobody
// has seen is never consumed: of "listen APP | head -1" exactly one package is.
class Listener {
 public:
  explicit Listener(const ListenOptions& options)
      : options_(options),
        idle_(queue_),
        reader_(queue_),
        signals_(queue_, SIGINT, SIGTERM),
        command_(queue_),
        client_(MakeClient()) {}

  int Run() {
    AwaitSignal();
    if (const int status = ConnectToService(client_)) return status;
    if (const int status = Enable()) return status;
    if (options_.save.empty() && options_.command.empty() && !options_.peek && !options_.reject) {
      Complain(
          "note: packages are confirmed and not kept; --save keeps them, --peek only shows them");
    }
    RestartIdleTime();
    queue_.run();
    if (orderly_) Leave();
    client_.Close();
    return status_ == kDone && is_ink_left_ ? kRefused : status_;
  }

 private:
  IPC::Client::Options MakeClient() {
    IPC::Client::Options options;
    options.callback_queue = &queue_;
    options.on_notification = [this](const std::string& name, const Json::Value& params) {
      if (name == Quillpost::Notification::NewInkPackage) OnPackage(ReadPackage(params));
    };
    options.on_disconnected = [this](const IPC::Client::Outcome& reason) {
      if (ended_) return;
      Complain(reason.message);
      EndWithoutGoodbye(kNoService);
    };
    return options;
  }

  Json::Value ApplicationParams() const {
    Json::Value params;
    params[Quillpost::Argument::ApplicationID] = options_.application;
    return params;
  }

  int Enable() {
    const IPC::Client::Reply reply =
        client_.Request(Quillpost::Command::EnableNotifications, ApplicationParams());
    if (!reply) return ComplainOf(reply);
    if (reply.status == Core::Status::Success) return kDone;
    const std::string name = "'" + Printable(options_.application) + "'";
    if (reply.status == Quillpost::Status::NotRegistered) {
      Complain("the application " + name +
               " has no subscription; add one with quillpost subscriptions add");
    } else if (reply.status == Quillpost::Status::AlreadyConnected) {
      Complain("another program is receiving the ink of the application " + name);
    } else {
      Complain("the service answered '" + Printable(reply.status) + "' for " + name);
    }
    return kRefused;
  }

  void End(int status) {
    status_ = status;
    ended_ = true;
    queue_.stop();
  }

  // For an end that leaves packages unanswered: the service notices that the connection is gone,
  // takes them back and will offer them again.
  void EndWithoutGoodbye(int status) {
    orderly_ = false;
    End(status);
  }

  void RestartIdleTime() {
    if (!options_.idle) return;
    idle_.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(*options_.idle)));
    idle_.async_wait([this](const boost::system::error_code& error) {
      if (!error) End(kDone);
    });
  }

  // The first signal ends after the package under way, if that only needs its command to end or its
  // confirmation to be sent; the second does not wait.
  void AwaitSignal() {
    signals_.async_wait([this](const boost::system::error_code& error, int) {
      if (error) return;
      const bool is_moving = command_.is_running() || LookAtReader() == ReaderState::kHasRead;
      if (!is_busy_ || !is_moving || is_to_end_) return End(kDone);
      is_to_end_ = true;
      AwaitSignal();
    });
  }

  void OnPackage(const Package& package) {
    waiting_.push_back(package);
    if (!is_busy_) TakeNext();
  }

  void TakeNext() {
    is_busy_ = false;
    if (is_to_end_) return End(kDone);
    while (!is_busy_ && !ended_ && !waiting_.empty()) {
      current_ = waiting_.front();
      waiting_.pop_front();
      unanswered_.insert(current_.path);
      idle_.cancel();
      is_busy_ = true;
      Take();
    }
  }

  void Take() {
    current_.ignored = IgnoredPages(current_);
    if (options_.reject) current_.answer = "rejected";
    if (options_.peek) current_.answer = "none";
    const std::string fault = FaultOf(current_);
    if (!fault.empty() && current_.ignored.empty()) return LeaveInStore(fault);
    if (!options_.save.empty() && !Save()) return EndWithoutGoodbye(kRefused);
    if (options_.command.empty()) return Show();
    std::string reason;
    if (!command_.Start(
            options_.command, ToVariables(current_), [this](int status) { OnCommandEnd(status); },
            reason)) {
      Complain("can't run the command: " + reason);
      EndWithoutGoodbye(kRefused);
    }
  }

  // What is not ink is not confirmed, and the ink of other pens goes on.
  void LeaveInStore(const std::string& fault) {
    Complain(Printable("a package of pen " + current_.pen + ", " + current_.path.string() + ": " +
                       fault + "; it stays in the store, and that pen's ink behind it"));
    is_ink_left_ = true;
    RestartIdleTime();
    is_busy_ = false;
  }

  void OnCommandEnd(int status) {
    if (status == 0) return Show();
    Complain(Printable("the command ended with status " + std::to_string(status) +
                       ": the package " + current_.path.string() + " is not confirmed"));
    EndWithoutGoodbye(kRefused);
  }

  void Show() {
    const bool is_printed =
        options_.json ? PrintJsonLine(ToJson(current_)) : PrintLine(Printable(ToText(current_)));
    if (is_printed) return AwaitReader(std::chrono::milliseconds(1));
    if (errno != EPIPE) return EndWithoutGoodbye(kRefused);
    EndForWantOfReader();
  }

  void EndForWantOfReader() {
    ForgetFailedOutput();
    End(kDone);
  }

  // Nothing tells that a pipe has been read, so it is asked, at growing intervals.
  void AwaitReader(std::chrono::milliseconds interval) {
    switch (LookAtReader()) {
      case ReaderState::kHasRead:
        return Answer();
      case ReaderState::kGone:
        return EndForWantOfReader();
      case ReaderState::kHasNotRead:
        break;
    }
    reader_.expires_after(interval);
    reader_.async_wait([this, interval](const boost::system::error_code& error) {
      constexpr std::chrono::milliseconds kLongest(100);
      if (!error && !ended_) AwaitReader(std::min(interval * 2, kLongest));
    });
  }

  void Answer() {
    if (!options_.peek && !Confirm(current_, current_.ignored)) return;
    ++answered_;
    if (is_to_end_ || (options_.count && answered_ >= *options_.count)) return End(kDone);
    RestartIdleTime();
    // From the queue, and not deeper and deeper from here.
    queue_.post([this] { TakeNext(); });
  }

  bool Save() {
    using namespace TalvoQuillpost;
    if (!Common::IsPenSerialValid(current_.pen) || current_.pages.empty() ||
        !Common::IsPageAddressValid(current_.pages[0])) {
      Complain("a package without pen or page can't be saved");
      return false;
    }
    std::string reason;
    if (SavePackage(current_.path, options_.save, current_.pen + "_" + current_.pages[0],
                    current_.saved, reason)) {
      return true;
    }
    Complain(reason);
    return false;
  }

  std::vector<std::string> IgnoredPages(const Package& package) const {
    std::vector<std::string> ignored;
    const auto& wanted = options_.ignored_pages;
    std::copy_if(package.pages.begin(), package.pages.end(), std::back_inserter(ignored),
                 [&wanted](const std::string& page) {
                   return std::find(wanted.begin(), wanted.end(), page) != wanted.end();
                 });
    return ignored;
  }

  bool Confirm(const Package& package, const std::vector<std::string>& ignored) {
    Json::Value params;
    params[Quillpost::Argument::InkPackagePen] = package.pen;
    params[Quillpost::Argument::InkPackageDelivered] = !options_.reject;
    params[Quillpost::Argument::IgnoredPageAddresses] = ToJson(ignored);
    const IPC::Client::Reply reply =
        client_.Request(Quillpost::Command::ConfirmInkPackageDelivery, params);
    if (reply && reply.status == Core::Status::Success) {
      confirmed_[package.pen] = package.path;
      unanswered_.erase(package.path);
      return true;
    }
    if (!reply) {
      EndWithoutGoodbye(ComplainOf(reply));
    } else {
      Complain("the service answered '" + Printable(reply.status) + "' to a confirmation");
      EndWithoutGoodbye(kRefused);
    }
    return false;
  }

  // Says goodbye, so that the service does not take the end for a crash. It drops confirmations
  // that it has not carried out by then, so these are waited for; and it leaves the file of a
  // package that was offered to this application in the meantime.
  void Leave() {
    std::set<fs::path> files;
    for (const auto& package : confirmed_) files.insert(package.second);
    WaitUntilGone(files, std::chrono::seconds(10));
    if (!client_.Request(Quillpost::Command::DisableNotifications, ApplicationParams())) return;
    queue_.restart();
    queue_.poll();
    for (const Package& package : waiting_) unanswered_.insert(package.path);
    for (const fs::path& file : unanswered_) {
      boost::system::error_code ignored;
      fs::remove(file, ignored);
    }
  }

  const ListenOptions& options_;
  asio::io_service queue_;
  asio::io_service::work work_{queue_};
  asio::steady_timer idle_;
  asio::steady_timer reader_;
  asio::signal_set signals_;
  PackageCommand command_;
  int status_ = kDone;
  bool ended_ = false;
  bool orderly_ = true;
  bool is_to_end_ = false;    // after the package under way
  bool is_ink_left_ = false;  // a package was no ink
  bool is_busy_ = false;      // with current_
  Package current_;
  std::deque<Package> waiting_;
  unsigned long answered_ = 0;
  std::map<std::string, fs::path> confirmed_;  // by pen, the last package that was confirmed
  std::set<fs::path> unanswered_;              // offered, and not confirmed
  IPC::Client client_;                         // last: its callbacks use the other members
};

}  // namespace

int Listen(const ListenOptions& options) {
  return Listener(options).Run();
}
