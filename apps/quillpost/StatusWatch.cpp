#include <TalvoQuillpost/Protocol.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/exception.hpp>
#include <cerrno>
#include <deque>

#include "Commands.h"
#include "Output.h"
#include "Session.h"
#include "StoreView.h"
#include "StoreWatch.h"
#include "common/Directories.h"
#include "common/Identifiers.h"
#include "config/FilesConfig.h"
#include "storage/StrokeFiles.h"

using namespace TalvoQuillpost;

namespace {

// Seconds since 1970 as "2026-01-31T12:34:56Z".
std::string ToUtc(std::time_t time) {
  std::tm parts = {};
  char text[40];
  ::gmtime_r(&time, &parts);
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string ToLocal(std::time_t time) {
  std::tm parts = {};
  char text[40];
  ::localtime_r(&time, &parts);
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return text;
}

const char* ToText(StoreChange::Kind kind) {
  switch (kind) {
    case StoreChange::kArrived:
      return "arrived";
    case StoreChange::kConfirmed:
      return "confirmed";
    default:
      return "left";
  }
}

// Keys as they are typed, and the terminal as it was afterwards.
class Keyboard {
 public:
  Keyboard() : is_terminal_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (!is_terminal_) return;
    termios raw = before_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  }
  ~Keyboard() {
    if (is_terminal_) ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
  }
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;

  int descriptor() const { return is_terminal_ ? STDIN_FILENO : -1; }

  // Whether what was typed asks for the end.
  bool AsksForEnd() const {
    char typed[64];
    const ssize_t n = ::read(STDIN_FILENO, typed, sizeof typed);
    return n <= 0 || std::find(typed, typed + n, 'q') != typed + n;
  }

 private:
  termios before_ = {};
  const bool is_terminal_;  // set with before_
};

// SIGINT, SIGTERM and the change of the window's size, as something that can be waited for.
class Signals {
 public:
  Signals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) ::sigaddset(&signals, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    descriptor_.Reset(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  }

  int descriptor() const { return descriptor_.get(); }

  bool AskForEnd() const {
    signalfd_siginfo signal;
    while (::read(descriptor_.get(), &signal, sizeof signal) == sizeof signal) {
      if (signal.ssi_signo != SIGWINCH) return true;
    }
    return false;
  }

 private:
  TalvoCppUtils::Descriptor descriptor_;
};

// All that is shown.
struct Scene {
  bool is_up = false;
  StoreState store;
  std::set<Config::App> applications;
  std::deque<std::pair<std::time_t, StoreChange>> changes;  // the newest first
};

// One JSON document a line; only what differs from the last time.
class Lines {
 public:
  bool Show(const Scene& scene, const std::vector<StoreChange>& changes) {
    bool is_good = true;
    for (const StoreChange& change : changes) is_good = is_good && Print(change);
    if (is_good && (is_first_ || scene.is_up != is_up_)) {
      Json::Value line;
      line["event"] = "service";
      line["up"] = is_up_ = scene.is_up;
      is_good = PrintAt(std::time(nullptr), line);
    }
    std::set<std::string> names;
    for (const Config::App& application : scene.applications) names.insert(application.id);
    for (const auto& [application, ink] : WaitingFor(scene.store, names)) {
      is_good = is_good && PrintWaiting("waiting", application, ink);
    }
    is_good = is_good && PrintWaiting("unclaimed", "", Unclaimed(scene.store));
    is_first_ = false;
    return is_good;
  }

 private:
  static bool PrintAt(std::time_t time, Json::Value& line) {
    line["time"] = ToUtc(time);
    return PrintJsonLine(line);
  }

  static bool Print(const StoreChange& change) {
    Json::Value line;
    line["event"] = ToText(change.kind);
    line["pen"] = change.pen;
    line["page"] = change.stroke.substr(0, change.stroke.find('/'));
    line["file"] = change.pen + "/" + change.stroke;
    if (!change.application.empty()) line["application"] = change.application;
    return PrintAt(std::time(nullptr), line);
  }

  bool PrintWaiting(const char* event, const std::string& application, const WaitingInk& ink) {
    const std::pair<std::uint64_t, std::time_t> now = {ink.files, ink.since};
    // At the beginning, that no unclaimed ink waits is not worth a line.
    if (application.empty()) shown_.insert({application, {0, 0}});
    const auto shown = shown_.insert({application, now});
    if (!shown.second && shown.first->second == now) return true;
    shown.first->second = now;
    Json::Value line;
    line["event"] = event;
    if (!application.empty()) line["application"] = application;
    line["files"] = Json::UInt64(ink.files);
    if (ink.files > 0) line["since"] = ToUtc(ink.since);
    return PrintAt(std::time(nullptr), line);
  }

  bool is_first_ = true;
  bool is_up_ = false;
  std::map<std::string, std::pair<std::uint64_t, std::time_t>> shown_;  // "" for nobody
};

// A picture on a screen of its own.
class Picture {
 public:
  Picture() { PrintText("\033[?1049h\033[?25l"); }
  ~Picture() { PrintText("\033[?25h\033[?1049l"); }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  bool Show(const Scene& scene) {
    text_ = "\033[H";
    std::uint64_t files = 0;
    for (const auto& pen : scene.store) files += pen.second.size();
    Add(std::string("service  ") + (scene.is_up ? "up" : "not up") + "        q ends");
    Add("store    " + FormatCount(scene.store.size(), "pen") + ", " + FormatCount(files, "file"));
    Add("");
    Add("waiting for                 files  since");
    std::set<std::string> names;
    for (const Config::App& application : scene.applications) names.insert(application.id);
    for (const auto& [application, ink] : WaitingFor(scene.store, names))
      AddWaiting(application, ink);
    if (const WaitingInk ink = Unclaimed(scene.store); ink.files > 0) AddWaiting("(nobody)", ink);
    Add("");
    for (const auto& [time, change] : scene.changes) {
      std::string line = ToLocal(time).substr(11) + "  " + ToText(change.kind) + "  " + change.pen +
                         "/" + change.stroke;
      if (!change.application.empty()) line += "  by " + change.application;
      Add(line);
    }
    return PrintText(text_ + "\033[J");
  }

 private:
  void AddWaiting(const std::string& name, const WaitingInk& ink) {
    char line[120];
    std::snprintf(line, sizeof line, "%-24s %8llu  %s", Printable(name).c_str(),
                  static_cast<unsigned long long>(ink.files),
                  ink.files > 0 ? ToLocal(ink.since).c_str() : "");
    Add(line);
  }

  // One line of the screen, cut at its end.
  void Add(const std::string& line) {
    text_ += Printable(line).substr(0, TerminalWidth(STDOUT_FILENO) - 1) + "\033[K\r\n";
  }

  std::string text_;
};

class StatusWatcher {
 public:
  explicit StatusWatcher(bool json) : is_picture_(!json && CanRedraw(STDOUT_FILENO)) {}

  int Run() {
    if (!watch_.fault().empty()) {
      Complain(Printable(watch_.fault()));
      return kRefused;
    }
    const Keyboard keyboard;
    if (is_picture_) picture_ = std::make_unique<Picture>();
    LookAtAll();
    AskService();
    std::vector<StoreChange> changes;
    while (Show(changes)) {
      pollfd sources[] = {{watch_.descriptor(), POLLIN, 0},
                          {signals_.descriptor(), POLLIN, 0},
                          {keyboard.descriptor(), POLLIN, 0},
                          {STDOUT_FILENO, 0, 0}};
      if (::poll(sources, 4, -1) < 0 && errno != EINTR) return kRefused;
      if ((sources[1].revents != 0 && signals_.AskForEnd()) ||
          (sources[2].revents != 0 && keyboard.AsksForEnd()) || sources[3].revents != 0) {
        break;
      }
      changes = TakeNews();
    }
    if (errno == EPIPE) ForgetFailedOutput();
    return kDone;
  }

 private:
  bool Show(const std::vector<StoreChange>& changes) {
    constexpr std::size_t kMaxLines = 15;
    for (const StoreChange& change : changes) {
      scene_.changes.emplace_front(std::time(nullptr), change);
      if (scene_.changes.size() > kMaxLines) scene_.changes.pop_back();
    }
    return is_picture_ ? picture_->Show(scene_) : lines_.Show(scene_, changes);
  }

  void AskService() { scene_.is_up = static_cast<bool>(SayHello()); }

  void ReadSubscriptions() {
    try {
      Config::GetApplications(scene_.applications);
    } catch (const boost::filesystem::filesystem_error&) {
      scene_.applications.clear();
    }
  }

  std::set<std::string> ListPens() const {
    std::vector<std::string> names;
    std::set<std::string> pens;
    try {
      Common::ListDirectoryNames(Storage::GetStorageRoot(), names);
    } catch (const boost::filesystem::filesystem_error&) {
    }
    std::copy_if(names.begin(), names.end(), std::inserter(pens, pens.end()),
                 &Common::IsPenSerialValid);
    for (const auto& pen : scene_.store) pens.insert(pen.first);  // one that has gone
    return pens;
  }

  std::vector<StoreChange> LookAtAll() {
    ReadSubscriptions();
    std::vector<StoreChange> changes;
    for (const std::string& pen : ListPens()) LookAt(pen, changes);
    return changes;
  }

  void LookAt(const std::string& pen, std::vector<StoreChange>& changes) {
    PenState now = ReadPenState(pen);
    for (auto& stroke : now) {
      if (stroke.second.claims.empty()) Foresee(stroke.first, stroke.second);
    }
    const std::vector<StoreChange> news = Compare(pen, scene_.store[pen], now);
    changes.insert(changes.end(), news.begin(), news.end());
    if (now.empty()) {
      scene_.store.erase(pen);
    } else {
      scene_.store[pen] = std::move(now);
    }
  }

  // Ink that the service has not taken up yet is about to be claimed by who wants its page.
  void Foresee(const std::string& name, StrokeState& stroke) const {
    const std::string page = name.substr(0, name.find('/'));
    for (const Config::App& application : scene_.applications) {
      const auto& ranges = application.pageAddresses;
      if (std::any_of(ranges.begin(), ranges.end(), [&page](const std::string& range) {
            return Common::IsPageAddressInRange(page, range);
          })) {
        stroke.claims[application.id] = false;
      }
    }
  }

  // Ink may come and go between two looks: it is told all the same.
  void TakeFile(const StoreWatch::File& file, std::vector<StoreChange>& changes) {
    PenState& pen = scene_.store[file.pen];
    if (file.has_come) {
      if (pen.count(file.stroke) > 0) return;
      changes.push_back({StoreChange::kArrived, file.pen, file.stroke, ""});
      StrokeState& stroke = pen[file.stroke];
      stroke.arrived = std::time(nullptr);
      Foresee(file.stroke, stroke);
    } else if (pen.count(file.stroke) > 0) {
      const PenState gone = {{file.stroke, pen[file.stroke]}};
      const std::vector<StoreChange> news = Compare(file.pen, gone, PenState());
      changes.insert(changes.end(), news.begin(), news.end());
      pen.erase(file.stroke);
    }
  }

  std::vector<StoreChange> TakeNews() {
    const StoreWatch::News news = watch_.Take();
    std::vector<StoreChange> changes;
    if (news.are_subscriptions) ReadSubscriptions();
    for (const StoreWatch::File& file : news.files) TakeFile(file, changes);
    std::set<std::string> pens = news.pens;
    if (news.is_all) pens = ListPens();
    for (const std::string& pen : pens) LookAt(pen, changes);
    if (news.is_service) AskService();
    return changes;
  }

  const bool is_picture_;
  const Signals signals_;
  StoreWatch watch_;
  Scene scene_;
  Lines lines_;
  std::unique_ptr<Picture> picture_;
};

}  // namespace

int WatchStatus(bool json) {
  return StatusWatcher(json).Run();
}
