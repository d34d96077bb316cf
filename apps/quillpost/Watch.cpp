#include <TalvoOS/NewFile.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <map>
#include <set>
#include <system_error>

#include "Commands.h"
#include "InkFileCheck.h"
#include "InkSender.h"
#include "Output.h"
#include "common/Directories.h"
#include "common/File.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

constexpr char kDoneFolder[] = "done";
constexpr char kRefusedFolder[] = "refused";

// Ink by its name. What is on its way often has another name, and gets this one when it is whole.
bool IsInk(const std::string& name) {
  const std::string extension = fs::path(name).extension().string();
  return name[0] != '.' && (extension == ".stf2" || InkConverter::HasConvertibleName(name));
}

// Directories whose ink goes to the service. A file is taken when its writer has closed it, or when
// it was moved here, and moves to "done" or "refused" after its answer: what still lies in the
// directory is still to be imported, also for the next one who watches.
class Watcher {
 public:
  explicit Watcher(const WatchOptions& options)
      : options_(options),
        // Who watches on waits for every service; who looks once needs one.
        sender_(options.once ? std::chrono::hours(0) : std::chrono::hours(24 * 365),
                &options.converter),
        events_(::inotify_init1(IN_CLOEXEC)),
        reason_(std::generic_category().message(errno)) {}

  int Run() {
    if (!events_.is_open()) {
      Complain("no more directories can be watched: " + reason_);
      return kRefused;
    }
    // Watched first and listed then: what comes between the two is seen twice and not missed.
    for (const std::string& directory : options_.directories) {
      if (!AddWatch(directory)) return kRefused;
    }
    List();
    int status = TakePending();
    while (status == kDone && !options_.once && !directories_.empty()) {
      if (!ReadEvents()) {
        Complain("can't watch on: " + std::generic_category().message(errno));
        return kRefused;
      }
      status = TakePending();
    }
    if (status == kDone && directories_.empty()) status = kRefused;
    return status == kDone && is_one_refused_ && options_.once ? kRefused : status;
  }

 private:
  bool AddWatch(const std::string& directory) {
    const int watch = ::inotify_add_watch(
        events_.get(), directory.c_str(),
        IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
    if (watch < 0) {
      Complain(Printable(directory + ": " + std::generic_category().message(errno)));
      return false;
    }
    directories_[watch] = directory;
    return true;
  }

  void List() {
    for (const auto& directory : directories_) {
      std::vector<std::string> names;
      if (!Common::ListFileNames(directory.second, names)) continue;
      for (const std::string& name : names) Consider(fs::path(directory.second) / name, false);
    }
  }

  // A file that is still being written is told again when its writer closes it. At that moment it
  // may still count as being written, and is taken all the same.
  void Consider(const fs::path& file, bool is_closed) {
    if (!IsInk(file.filename().string())) return;
    if (is_closed || !IsBeingWritten(file)) pending_.insert(file);
  }

  // Waits for news and takes it down. False if there will be none.
  bool ReadEvents() {
    alignas(inotify_event) char buffer[16384];
    const ssize_t n = ::read(events_.get(), buffer, sizeof buffer);
    if (n < 0) return errno == EINTR;
    for (ssize_t at = 0; at < n;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      at += static_cast<ssize_t>(sizeof *event) + event->len;
      TakeEvent(*event);
    }
    return true;
  }

  void TakeEvent(const inotify_event& event) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) return List();  // some were dropped
    const auto directory = directories_.find(event.wd);
    if (directory == directories_.end()) return;
    if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0) {
      Complain(Printable(directory->second + ": the directory has gone"));
      directories_.erase(directory);
    } else if (event.len > 0) {
      Consider(fs::path(directory->second) / event.name, (event.mask & IN_CLOSE_WRITE) != 0);
    }
  }

  // kDone, or the status to end with.
  int TakePending() {
    while (!pending_.empty()) {
      const fs::path file = *pending_.begin();
      pending_.erase(pending_.begin());
      boost::system::error_code error;
      if (!fs::is_regular_file(fs::status(file, error))) continue;  // taken, or removed again
      std::string reason;
      const SendResult result = sender_.Send(file, reason);
      if (result == SendResult::kUnsent) return kNoService;
      const bool is_answered = result != SendResult::kUnanswered;
      fs::path moved;
      if (is_answered && !MoveAside(file, result, moved)) return kRefused;
      Report(file, result, reason, moved);
      if (!is_answered) return kNoService;
    }
    return kDone;
  }

  // A file that stayed would be imported again and again.
  bool MoveAside(const fs::path& file, SendResult result, fs::path& moved) {
    const bool is_done = result == SendResult::kSuccess;
    if (!is_done) is_one_refused_ = true;
    const fs::path folder = file.parent_path() / (is_done ? kDoneFolder : kRefusedFolder);
    boost::system::error_code error;
    fs::create_directory(folder, error);
    for (unsigned number = 0; !error; ++number) {
      const std::string suffix = number == 0 ? "" : "-" + std::to_string(number);
      moved = folder / (file.stem().string() + suffix + file.extension().string());
      error = TalvoOS::RenameWithoutReplacing(file.string(), moved.string());
      if (error != boost::system::errc::file_exists) break;
      error.clear();
    }
    if (!error) return true;
    Complain(Printable(file.string() + ": " + ToText(result) +
                       ", but it can't be moved aside: " + error.message()));
    return false;
  }

  void Report(const fs::path& file, SendResult result, const std::string& reason,
              const fs::path& moved) const {
    if (!reason.empty()) Complain(Printable(file.string() + ": " + reason));
    if (!options_.json) {
      PrintLine(ToText(result) + (" " + Printable(file.string())));
      return;
    }
    Json::Value line;
    line["file"] = file.string();
    line["status"] = ToText(result);
    if (!moved.empty()) line["moved"] = moved.string();
    if (!reason.empty()) line["reason"] = reason;
    PrintJsonLine(line);
  }

  const WatchOptions& options_;
  InkSender sender_;
  const TalvoCppUtils::Descriptor events_;
  const std::string reason_;                // why events_ is not open
  std::map<int, std::string> directories_;  // by watch
  std::set<fs::path> pending_;
  bool is_one_refused_ = false;
};

}  // namespace

int Watch(const WatchOptions& options) {
  return Watcher(options).Run();
}
