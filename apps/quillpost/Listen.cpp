#include <TalvoQuillpost/Protocol.h>
#include <signal.h>

#include <algorithm>
#include <boost/asio/io_service.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <iterator>
#include <map>
#include <set>

#include "Commands.h"
#include "Output.h"
#include "SavedPackage.h"
#include "Session.h"
#include "common/Common.h"

namespace fs = boost::filesystem;
namespace asio = boost::asio;
using namespace IPC::Protocol;

namespace {

struct Package {
  fs::path path;
  std::string pen;
  std::string type;
  std::vector<std::string> pages;
};

std::string ReadString(const Json::Value& params, const char* key) {
  return params.isObject() && params[key].isString() ? params[key].asString() : std::string();
}

Package ReadPackage(const Json::Value& params) {
  Package package;
  package.path = ReadString(params, Quillpost::Argument::InkPackagePath);
  package.pen = ReadString(params, Quillpost::Argument::InkPackagePen);
  package.type = ReadString(params, Quillpost::Argument::InkPackageType);
  if (!params.isObject()) return package;
  const Json::Value& pages = params[Quillpost::Argument::InkPackagePages];
  if (!pages.isArray()) return package;
  for (const Json::Value& page : pages) {
    if (page.isString()) package.pages.push_back(page.asString());
  }
  return package;
}

std::string Join(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

Json::Value ToJson(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) array.append(text);
  return array;
}

// One application's stay with the service. Everything but the client's socket lives on the thread
// of Run, which is also the one that runs the queue.
class Listener {
 public:
  explicit Listener(const ListenOptions& options)
      : options_(options),
        idle_(queue_),
        signals_(queue_, SIGINT, SIGTERM),
        client_(MakeClient()) {}

  int Run() {
    signals_.async_wait([this](const boost::system::error_code& error, int) {
      if (!error) End(kDone);
    });
    if (const int status = ConnectToService(client_)) return status;
    if (const int status = Enable()) return status;
    RestartIdleTime();
    queue_.run();
    if (orderly_) Leave();
    client_.Close();
    return status_;
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

  void OnPackage(const Package& package) {
    if (ended_) {
      unanswered_.insert(package.path);
      return;
    }
    fs::path saved;
    if (!options_.save.empty() && !Save(package, saved)) return EndWithoutGoodbye(kRefused);
    const std::vector<std::string> ignored = IgnoredPages(package);
    if (!Confirm(package, ignored)) return;
    Print(package, ignored, saved);
    ++answered_;
    if (options_.count && answered_ >= *options_.count) return End(kDone);
    RestartIdleTime();
  }

  bool Save(const Package& package, fs::path& saved) {
    using namespace TalvoQuillpost;
    if (!Common::IsPenSerialValid(package.pen) || package.pages.empty() ||
        !Common::IsPageAddressValid(package.pages[0])) {
      Complain("a package without pen or page can't be saved");
      return false;
    }
    std::string reason;
    if (SavePackage(package.path, options_.save, package.pen + "_" + package.pages[0], saved,
                    reason)) {
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

  void Print(const Package& package, const std::vector<std::string>& ignored,
             const fs::path& saved) const {
    if (options_.json) {
      Json::Value line;
      line["path"] = package.path.string();
      line["pen"] = package.pen;
      line["type"] = package.type;
      line["pages"] = ToJson(package.pages);
      line["ignored"] = ToJson(ignored);
      line["delivered"] = !options_.reject;
      if (!saved.empty()) line["saved"] = saved.string();
      PrintJsonLine(line);
      return;
    }
    std::string line = package.type + " from pen " + package.pen + ", page " + Join(package.pages) +
                       ": " + package.path.string();
    if (!saved.empty()) line += ", saved as " + saved.string();
    line += options_.reject ? ", rejected" : ", confirmed";
    if (!ignored.empty()) line += " (ignored)";
    PrintLine(Printable(line));
  }

  // Says goodbye, so that the service does not take the end for a crash. It drops confirmations
  // that it has not carried out by then, so these are waited for; and it leaves the file of a
  // package that was offered meanwhile to this application.
  void Leave() {
    std::set<fs::path> files;
    for (const auto& package : confirmed_) files.insert(package.second);
    WaitUntilGone(files, std::chrono::seconds(10));
    if (!client_.Request(Quillpost::Command::DisableNotifications, ApplicationParams())) return;
    queue_.restart();
    queue_.poll();
    for (const fs::path& file : unanswered_) {
      boost::system::error_code ignored;
      fs::remove(file, ignored);
    }
  }

  const ListenOptions& options_;
  asio::io_service queue_;
  asio::io_service::work work_{queue_};
  asio::steady_timer idle_;
  asio::signal_set signals_;
  int status_ = kDone;
  bool ended_ = false;
  bool orderly_ = true;
  unsigned long answered_ = 0;
  std::map<std::string, fs::path> confirmed_;  // by pen, the last package that was confirmed
  std::set<fs::path> unanswered_;              // offered after the end
  IPC::Client client_;                         // last: its callbacks use the other members
};

}  // namespace

int Listen(const ListenOptions& options) {
  return Listener(options).Run();
}
