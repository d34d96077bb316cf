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
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
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

int main() {
  ::umask(077);  // ink is private; programs that are launched have the umask from before
  ::signal(SIGPIPE, SIG_IGN);
  // The service's threads inherit the mask of the one that calls Start: block first what the loop
  // waits for.
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  const int signal_events = ::signalfd(-1, &signals, SFD_CLOEXEC);

  Mailbox mailbox;
  Talvo::Logger::Open("Quillpost", Talvo::kLogWarning,
                      Talvo::LogSink::Callback([&](int, const std::string& message) {
                        mailbox.Post([message] { std::cout << "log: " << message << std::endl; });
                      }));
  auto service = TalvoQuillpost::CreateQuillpostService();
  enum { kStarting, kServing, kStopping, kOver } state = kStarting;
  bool is_to_end = false;
  int status = 0;
  std::thread worker;
  const auto stop = [&] {
    state = kStopping;
    worker.join();  // Start has returned: the two are never called at the same time
    worker = std::thread([&] {
      service->Stop();
      mailbox.Post([&] { state = kOver; });
    });
  };
  worker = std::thread([&] {
    std::string fault;
    try {
      if (!service->Start()) fault = "the service did not start";
    } catch (const std::exception& error) {
      fault = error.what();  // the store can't be read
    }
    mailbox.Post([&, fault] {
      std::cout << (fault.empty() ? "serving" : fault) << std::endl;
      status = fault.empty() ? 0 : 1;
      state = fault.empty() ? kServing : kOver;
      if (state == kServing && is_to_end) stop();
    });
  });

  // The program's other work: something each tenth of a second.
  const int timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const itimerspec tenth = {{0, 100'000'000}, {0, 100'000'000}};
  ::timerfd_settime(timer, 0, &tenth, nullptr);
  unsigned long ticks = 0;

  while (state != kOver) {
    pollfd sources[] = {
        {mailbox.descriptor(), POLLIN, 0}, {signal_events, POLLIN, 0}, {timer, POLLIN, 0}};
    if (::poll(sources, 3, -1) < 0) continue;
    std::uint64_t expirations;
    if (sources[2].revents != 0 && ::read(timer, &expirations, sizeof expirations) > 0) ++ticks;
    if (sources[0].revents != 0) mailbox.RunAll();
    signalfd_siginfo signal;
    if (sources[1].revents == 0 || ::read(signal_events, &signal, sizeof signal) < 0) continue;
    is_to_end = true;
    if (state == kServing) stop();
  }
  worker.join();
  service.reset();
  Talvo::Logger::Close("Quillpost");  // before what its callback uses goes
  std::cout << "ended after " << ticks << " ticks" << std::endl;
  return status;
}
