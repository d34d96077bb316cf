// Threads:
//
//   main     signals
//   link     the connection to the ink service             application/ServiceLink.h
//   writer   the connection to the stream, one that        StreamWriter.h
//            publishes, and a few that ask the stream
//
// None of them waits for another.

#include "Forwarder.h"

#include <Talvo/Logger.h>

#include <cstdio>
#include <optional>

#include "Files.h"
#include "StreamWriter.h"
#include "application/EndSignals.h"
#include "stream/InkMessage.h"

namespace Forward {
namespace {

using Application::Offer;
using Application::ServiceLink;

ServiceLink::Options LinkOptions(const Options& options) {
  ServiceLink::Options link;
  link.application_id = options.application;
  link.name = "the application " + options.application;
  link.log_tag = "Forward";
  link.first_retry = std::chrono::seconds(1);
  link.longest_retry = std::chrono::minutes(1);
  link.on_state = [](const ServiceLink::State&) {};
  return link;
}

// What would be handed on. A package that can't be read is told of, too.
void Show(const Offer& offer) {
  try {
    const std::string bytes = InkTool::ReadInput(offer.file);
    std::printf("%s %zu bytes %s\n", Stream::SubjectOf(offer.pen, offer.page).c_str(), bytes.size(),
                Stream::IdentityOf(offer.pen, offer.page, bytes).c_str());
    std::fflush(stdout);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpost-forward: %s: %s\n", offer.file.c_str(), error.what());
  }
}

// The link and the writer need each other: the link has its packages put, and the writer says when
// to try those again that wait.
class Forwarder {
 public:
  explicit Forwarder(const Options& options)
      : options_(options), writer_(options, [this] { OnReady(); }) {
    ServiceLink::Options link = LinkOptions(options_);
    link.keep = [this](const Offer& offer, const ServiceLink::Done& done) {
      writer_.Put(offer, done);
    };
    const std::lock_guard<std::mutex> lock(mutex_);
    link_.emplace(std::move(link));
  }

  ~Forwarder() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      is_ending_ = true;
    }
    link_.reset();
  }

 private:
  void OnReady() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_ending_ && link_) link_->RetryNow();
  }

  const Options& options_;
  std::mutex mutex_;  // of the existence of link_, and of is_ending_
  bool is_ending_ = false;
  std::optional<ServiceLink> link_;
  StreamWriter writer_;
};

}  // namespace

int Run(const Options& options) {
  const auto sink = options.log_file.empty() ? Talvo::LogSink::Stderr()
                                             : Talvo::LogSink::RotatingFile(options.log_file);
  Talvo::Logger::Open("Forward", options.log_level, sink);
  const TalvoCppUtils::Descriptor signals = Application::HoldEndSignals();
  if (options.is_dry_run) {
    ServiceLink::Options link = LinkOptions(options);
    link.keep = [](const Offer& offer, const ServiceLink::Done&) { Show(offer); };
    const ServiceLink shown(std::move(link));
    Application::WaitForEndSignal(signals);
    return kDone;
  }
  const Forwarder forwarder(options);
  Application::WaitForEndSignal(signals);
  return kDone;
}

}  // namespace Forward
