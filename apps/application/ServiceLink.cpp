#include "ServiceLink.h"

#include <Talvo/Logger.h>
#include <TalvoQuillpost/Protocol.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <utility>

namespace Application {

using namespace IPC::Protocol;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr milliseconds kFirstPatience(100);
constexpr milliseconds kLongestPatience(5000);

// Before a refused application asks again.
constexpr seconds kEnablePatience(5);

std::string ReadString(const Json::Value& params, const char* key) {
  return params.isObject() && params[key].isString() ? params[key].asString() : std::string();
}

std::string ReadFirst(const Json::Value& params, const char* key) {
  const bool is_list = params.isObject() && params[key].isArray() && !params[key].empty();
  return is_list && params[key][0].isString() ? params[key][0].asString() : std::string();
}

bool HasBytes(const std::string& file) {
  struct stat status;
  return ::stat(file.c_str(), &status) == 0 ? status.st_size > 0 : errno != ENOENT;
}

}  // namespace

ServiceLink::ServiceLink(Options options)
    : options_(std::move(options)),
      queue_(std::make_shared<boost::asio::io_context>()),
      work_(queue_->get_executor()),
      has_waiting_(std::make_shared<std::atomic<bool>>(false)),
      patience_(kFirstPatience),
      thread_([this] {
        Connect();
        queue_->run();
      }) {}

ServiceLink::~ServiceLink() {
  boost::asio::post(*queue_, [this] {
    ++number_;
    client_.reset();
    queue_->stop();
  });
  thread_.join();
}

void ServiceLink::Log(int level, const std::string& message) const {
  if (Talvo::Logger* logger = Talvo::Logger::GetLogger(options_.log_tag.c_str())) {
    logger->Log(level, "%s", message.c_str());
  }
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
  options_.on_state({is_connected, hindrance});
}

void ServiceLink::After(milliseconds time, std::function<void()> job) {
  const auto timer = std::make_shared<boost::asio::steady_timer>(*queue_, time);
  timer->async_wait([this, timer, number = number_,
                     job = std::move(job)](const boost::system::error_code& error) {
    if (!error && number == number_) job();
  });
}

void ServiceLink::Connect() {
  ++number_;
  IPC::Client::Options options;
  options.callback_queue = queue_.get();
  options.log_tag = options_.log_tag;
  options.on_notification = [this, number = number_](const std::string& name,
                                                     const Json::Value& params) {
    if (number == number_ && name == Quillpost::Notification::NewInkPackage) OnPackage(params);
  };
  options.on_disconnected = [this, number = number_](const IPC::Client::Outcome& reason) {
    if (number == number_) Lose(reason.message);
  };
  client_ = std::make_shared<IPC::Client>(options);
  const IPC::Client::Outcome outcome = client_->Connect(Quillpost::GetEndpoint());
  if (!outcome) return Lose(outcome.message);
  patience_ = kFirstPatience;
  OnConnected();
}

void ServiceLink::Lose(const std::string& reason) {
  if (state().is_connected) Log(Talvo::kLogInformation, "The service has gone: " + reason);
  client_.reset();
  ++number_;
  waiting_.clear();
  *has_waiting_ = false;
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
  params[Quillpost::Argument::ApplicationID] = options_.application_id;
  client_->RequestAsync(Quillpost::Command::EnableNotifications, params,
                        [this, number = number_](const IPC::Client::Reply& reply) {
                          if (number == number_) OnEnabled(reply);
                        });
}

void ServiceLink::OnEnabled(const IPC::Client::Reply& reply) {
  if (!reply) return Lose(reply.message);
  if (reply.status == Core::Status::Success) return SetState(true, "");
  std::string hindrance = options_.name + " gets no ink: ";
  if (reply.status == Quillpost::Status::NotRegistered) {
    hindrance += "it has no subscription; 'quillpost subscriptions add " + options_.application_id +
                 "' makes one";
  } else if (reply.status == Quillpost::Status::AlreadyConnected) {
    hindrance += "another program receives it";
  } else {
    hindrance += "the service answered " + reply.status;
  }
  if (state().hindrance != hindrance) Log(Talvo::kLogWarning, hindrance);
  SetState(true, hindrance);
  After(kEnablePatience, [this] { Enable(); });
}

void ServiceLink::OnPackage(const Json::Value& params) {
  Offer offer;
  offer.file = ReadString(params, Quillpost::Argument::InkPackagePath);
  offer.pen = ReadString(params, Quillpost::Argument::InkPackagePen);
  offer.page = ReadFirst(params, Quillpost::Argument::InkPackagePages);
  offer.type = ReadString(params, Quillpost::Argument::InkPackageType);
  Keep(offer);
}

void ServiceLink::Keep(const Offer& offer) {
  options_.keep(offer, [this, queue = queue_, has_waiting = has_waiting_,
                        client = std::weak_ptr<IPC::Client>(client_), offer,
                        number = number_](const std::string& failure) {
    const auto connection = client.lock();  // null after the connection's end, and the link's
    if (!connection) return;
    if (!failure.empty() || *has_waiting) {
      // After the link's end the queue has stopped: the job, which names the link, never runs.
      boost::asio::post(*queue, [this, offer, number, failure] {
        if (number == number_) OnKept(offer, failure);
      });
    }
    // Here, since the pen's next package waits for it. The job comes before that package's.
    if (failure.empty()) Confirm(*connection, offer.pen, true);
  });
}

void ServiceLink::OnKept(const Offer& offer, const std::string& failure) {
  if (failure.empty()) {
    waiting_.erase(offer.pen);
    *has_waiting_ = !waiting_.empty();
    return TellWaiting();
  }
  Waiting& waiting = waiting_[offer.pen];
  *has_waiting_ = true;
  if (waiting.reason != failure) {
    Log(Talvo::kLogWarning, "ink of pen " + offer.pen + " stays with the service: " + failure);
  }
  waiting.offer = offer;
  waiting.reason = failure;
  waiting.patience = waiting.patience.count() == 0
                         ? options_.first_retry
                         : std::min(waiting.patience * 2, options_.longest_retry);
  waiting.is_due = false;
  After(waiting.patience, [this, pen = offer.pen, attempt = ++waiting.attempt] {
    const auto due = waiting_.find(pen);
    if (due == waiting_.end() || due->second.is_due || due->second.attempt != attempt) return;
    Retry(due->second);
  });
  TellWaiting();
}

// A file that has gone or was emptied in the meantime, by a cleaner of old files for instance,
// never comes back by itself. The service makes a refused package anew.
void ServiceLink::Retry(Waiting& waiting) {
  waiting.is_due = true;
  if (HasBytes(waiting.offer.file)) return Keep(waiting.offer);
  Log(Talvo::kLogWarning, "the package of pen " + waiting.offer.pen +
                              " has gone from its place; the service is asked for it again");
  Confirm(*client_, waiting.offer.pen, false);
}

void ServiceLink::TellWaiting() {
  SetState(true, waiting_.empty()
                     ? ""
                     : "ink stays with the service: " + waiting_.begin()->second.reason);
}

void ServiceLink::RetryNow() {
  boost::asio::post(*queue_, [this] {
    for (auto& [pen, waiting] : waiting_) {
      if (waiting.is_due) continue;
      waiting.patience = milliseconds(0);
      Retry(waiting);
    }
  });
}

void ServiceLink::Confirm(IPC::Client& client, const std::string& pen, bool is_delivered) {
  Json::Value params;
  params[Quillpost::Argument::InkPackagePen] = pen;
  params[Quillpost::Argument::InkPackageDelivered] = is_delivered;
  params[Quillpost::Argument::IgnoredPageAddresses] = Json::Value(Json::arrayValue);
  // Without a timeout: nobody waits for the answer.
  client.RequestAsync(Quillpost::Command::ConfirmInkPackageDelivery, params, nullptr,
                      milliseconds(0));
}

void ServiceLink::Import(const std::string& file, std::function<void(ImportResult)> done) {
  boost::asio::post(*queue_, [this, file, done = std::move(done)] {
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

}  // namespace Application
