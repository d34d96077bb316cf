#include "service/ServiceLink.h"

#include <Talvo/Logger.h>
#include <TalvoQuillpost/Protocol.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

#include "Files.h"

namespace Inbox {

using namespace IPC::Protocol;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr milliseconds kFirstPatience(100);
constexpr milliseconds kLongestPatience(5000);

// Before ink that could not be kept, or a refused application, is tried again.
constexpr seconds kRetryPatience(5);

void Log(int level, const std::string& message) {
  if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Inbox")) {
    logger->Log(level, "%s", message.c_str());
  }
}

std::string ReadString(const Json::Value& params, const char* key) {
  return params.isObject() && params[key].isString() ? params[key].asString() : std::string();
}

std::string ReadFirst(const Json::Value& params, const char* key) {
  const bool is_list = params.isObject() && params[key].isArray() && !params[key].empty();
  return is_list && params[key][0].isString() ? params[key][0].asString() : std::string();
}

std::string ReasonOf(std::exception_ptr failure) {
  if (!failure) return {};
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

ServiceLink::ServiceLink(Writer& writer, std::function<void(const State&)> on_state)
    : writer_(writer),
      on_state_(std::move(on_state)),
      work_(queue_.get_executor()),
      patience_(kFirstPatience),
      thread_([this] {
        Connect();
        queue_.run();
      }) {}

ServiceLink::~ServiceLink() {
  boost::asio::post(queue_, [this] {
    ++number_;
    client_.reset();
    queue_.stop();
  });
  thread_.join();
  // What the writer still has of ours reports to the queue: nothing of it is left after this.
  writer_.Run([](Keeper&) {});
}

ServiceLink::State ServiceLink::state() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return state_;
}

void ServiceLink::SetState(bool is_connected, const std::string& hindrance) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (state_.is_connected == is_connected && state_.hindrance == hindrance) return;
    state_ = {is_connected, hindrance};
  }
  if (!hindrance.empty()) Log(Talvo::kLogWarning, hindrance);
  on_state_({is_connected, hindrance});
}

void ServiceLink::After(milliseconds time, std::function<void()> job) {
  const auto timer = std::make_shared<boost::asio::steady_timer>(queue_, time);
  timer->async_wait([this, timer, number = number_,
                     job = std::move(job)](const boost::system::error_code& error) {
    if (!error && number == number_) job();
  });
}

void ServiceLink::Connect() {
  ++number_;
  IPC::Client::Options options;
  options.callback_queue = &queue_;
  options.log_tag = "Inbox";
  options.on_notification = [this, number = number_](const std::string& name,
                                                     const Json::Value& params) {
    if (number == number_ && name == Quillpost::Notification::NewInkPackage) OnPackage(params);
  };
  options.on_disconnected = [this, number = number_](const IPC::Client::Outcome& reason) {
    if (number == number_) Lose(reason.message);
  };
  client_ = std::make_unique<IPC::Client>(options);
  const IPC::Client::Outcome outcome = client_->Connect(Quillpost::GetEndpoint());
  if (!outcome) return Lose(outcome.message);
  patience_ = kFirstPatience;
  OnConnected();
}

void ServiceLink::Lose(const std::string& reason) {
  if (state().is_connected) Log(Talvo::kLogInformation, "The service has gone: " + reason);
  client_.reset();
  ++number_;
  SetState(false, "");
  After(patience_, [this] { Connect(); });
  patience_ = std::min(patience_ * 2, kLongestPatience);
}

void ServiceLink::OnConnected() {
  Log(Talvo::kLogInformation, "The service is there.");
  SetState(true, "");
  Enable();
}

void ServiceLink::Enable() {
  Json::Value params;
  params[Quillpost::Argument::ApplicationID] = kApplicationId;
  client_->RequestAsync(Quillpost::Command::EnableNotifications, params,
                        [this, number = number_](const IPC::Client::Reply& reply) {
                          if (number == number_) OnEnabled(reply);
                        });
}

void ServiceLink::OnEnabled(const IPC::Client::Reply& reply) {
  if (!reply) return Lose(reply.message);
  if (reply.status == Core::Status::Success) return SetState(true, "");
  if (reply.status == Quillpost::Status::NotRegistered) {
    SetState(true,
             "the inbox gets no ink: it has no subscription; 'quillpost subscriptions add Inbox' "
             "makes one");
  } else if (reply.status == Quillpost::Status::AlreadyConnected) {
    SetState(true, "the inbox gets no ink: another program receives it");
  } else {
    SetState(true, "the inbox gets no ink: the service answered " + reply.status);
  }
  After(kRetryPatience, [this] { Enable(); });
}

void ServiceLink::OnPackage(const Json::Value& params) {
  Package envelope;
  envelope.pen = ReadString(params, Quillpost::Argument::InkPackagePen);
  envelope.page = ReadFirst(params, Quillpost::Argument::InkPackagePages);
  Keep(ReadString(params, Quillpost::Argument::InkPackagePath), envelope);
}

// The bytes are read when their turn has come: what waits takes no memory.
void ServiceLink::Keep(const std::string& file, const Package& envelope) {
  writer_.Post(
      [file, envelope](Keeper& keeper) {
        Package package = envelope;
        package.bytes = InkTool::ReadInput(file);
        keeper.Keep(package, NowMs());
      },
      [this, file, envelope, number = number_](std::exception_ptr failure) {
        boost::asio::post(queue_, [this, file, envelope, number, reason = ReasonOf(failure)] {
          if (number == number_) OnKept(file, envelope, reason);
        });
      });
}

void ServiceLink::OnKept(const std::string& file, const Package& envelope,
                         const std::string& failure) {
  if (failure.empty()) {
    SetState(true, "");
    return Confirm(envelope.pen);
  }
  SetState(true, "ink stays with the service: " + failure);
  After(kRetryPatience, [this, file, envelope] { Keep(file, envelope); });
}

void ServiceLink::Confirm(const std::string& pen) {
  Json::Value params;
  params[Quillpost::Argument::InkPackagePen] = pen;
  params[Quillpost::Argument::InkPackageDelivered] = true;
  params[Quillpost::Argument::IgnoredPageAddresses] = Json::Value(Json::arrayValue);
  client_->RequestAsync(Quillpost::Command::ConfirmInkPackageDelivery, params, nullptr);
}

void ServiceLink::Import(const std::string& file, std::function<void(ImportResult)> done) {
  boost::asio::post(queue_, [this, file, done = std::move(done)] {
    if (!client_) return done(ImportResult::kAway);
    Json::Value params;
    params[Quillpost::Argument::InkPackagePath] = file;
    client_->RequestAsync(
        Quillpost::Command::ImportSTF2File, params,
        [done](const IPC::Client::Reply& reply) {
          const bool is_taken = reply && reply.status == Core::Status::Success;
          done(is_taken ? ImportResult::kSuccess
               : reply  ? ImportResult::kRefused
                        : ImportResult::kUnanswered);
        },
        IPC::Client::Milliseconds(0));
  });
}

}  // namespace Inbox
