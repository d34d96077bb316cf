// A program with an event loop of its own that hosts the ink service beside its other work.
//
// Start and Stop block: Start while it reads the store, Stop until the work under way has come to a
// point where it can end. So each runs on a thread of its own, and tells the loop when it is done.
// The service logs on threads of its own, too: what the program shows of it goes through the loop.
#include <Talvo/Logger.h>
#include <TalvoQuillpost/IService.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Jobs that other threads leave for the thread of the loop.
class Mailbox {
 public:
  void Post(std::function<void()> job) {
    const std::lock_guard<std::mutex> lock(mutex_);
    jobs_.push_back(std::move(job));
    ::eventfd_write(event_, 1);
  }
  void RunAll() {
    eventfd_t ignored;
    ::eventfd_read(event_, &ignored);
    std::vector<std::function<void()>> jobs;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      jobs.swap(jobs_);
    }
    for (const auto& job : jobs) job();
  }
  int descriptor() const { return event_; }

 private:
  const int event_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  std::mutex mutex_;
  std::vector<std::function<void()>> jobs_;  // guarded by mutex_
};

// The service, started and stopped on a thread beside the loop that calls this.
class Host {
 public:
  explicit Host(Mailbox& mailbox) : mailbox_(mailbox) {
    worker_ = std::thread([this] {
      std::string fault;
      try {
        if (!service_->Start()) fault = "the service did not start";
      } catch (const std::exception& error) {
        fault = error.what();  // the store can't be read
      }
      mailbox_.Post([this, fault] { Started(fault); });
    });
  }
  ~Host() { worker_.join(); }

  void Stop() {
    is_to_stop_ = true;
    if (state_ != kServing) return;  // Started sees to it
    state_ = kStopping;
    worker_.join();  // Start has returned: the two are never called at the same time
    worker_ = std::thread([this] {
      service_->Stop();
      mailbox_.Post([this] { state_ = kOver; });
    });
  }
  bool IsOver() const { return state_ == kOver; }
  bool has_failed() const { return has_failed_; }

 private:
  void Started(const std::string& fault) {
    std::cout << (fault.empty() ? "serving" : fault) << std::endl;
    has_failed_ = !fault.empty();
    state_ = has_failed_ ? kOver : kServing;
    if (is_to_stop_) Stop();
  }

  Mailbox& mailbox_;
  boost::shared_ptr<TalvoQuillpost::IService> service_ = TalvoQuillpost::CreateQuillpostService();
  enum { kStarting, kServing, kStopping, kOver } state_ = kStarting;
  bool is_to_stop_ = false, has_failed_ = false;
  std::thread worker_;
};

// SIGINT and SIGTERM as events. The service's threads inherit the mask of the one that makes them:
// block first what the loop waits for.
int SignalEvents() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

int main() {
  ::umask(077);  // ink is private; programs that are launched have the umask from before
  ::signal(SIGPIPE, SIG_IGN);
  const int signals = SignalEvents();
  Mailbox mailbox;
  Talvo::Logger::Open("Quillpost", Talvo::kLogWarning,
                      Talvo::LogSink::Callback([&](int, const std::string& message) {
                        mailbox.Post([message] { std::cout << "log: " << message << std::endl; });
                      }));
  auto host = std::make_unique<Host>(mailbox);
  unsigned long ticks = 0;
  while (!host->IsOver()) {
    pollfd sources[] = {{mailbox.descriptor(), POLLIN, 0}, {signals, POLLIN, 0}};
    const int events = ::poll(sources, 2, 100);
    if (events == 0) ++ticks;  // the program's other work: something each quiet tenth of a second
    if (events <= 0) continue;
    if (sources[0].revents != 0) mailbox.RunAll();
    signalfd_siginfo signal;
    if (sources[1].revents != 0 && ::read(signals, &signal, sizeof signal) > 0) host->Stop();
  }
  const bool has_failed = host->has_failed();
  host.reset();
  Talvo::Logger::Close("Quillpost");  // before what its callback uses goes
  std::cout << "ended after " << ticks << " ticks" << std::endl;
  return has_failed ? 1 : 0;
}
