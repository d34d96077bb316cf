#include "PdfPage.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <system_error>
#include <utility>
#include <vector>

#include "Files.h"
#include "Refusal.h"
#include "ink/Units.h"

namespace InkTool {

using TalvoInk::Backdrop;

namespace {

constexpr rlim_t kMostMemory = rlim_t{2} << 30;
constexpr rlim_t kMostSeconds = 30;
constexpr std::size_t kMostPixels = 100000000;
constexpr int kPatienceMs = 60000;  // without a byte
constexpr int kMissing = 127;       // the exit status if there is no such program

void Limit(int resource, rlim_t most) {
  const struct rlimit limit = {most, most};
  ::setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
}

// A program whose output is read. It is ended, if it has not ended by itself, with the object.
class Reading {
 public:
  explicit Reading(std::vector<std::string> command) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) Fail();
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) Become(arguments.data(), ends[1]);
    ::close(ends[1]);
    fd_ = ends[0];
    if (pid_ < 0) {
      ::close(fd_);
      Fail();
    }
  }
  ~Reading() {
    ::close(fd_);
    if (pid_ < 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  // Appends what comes next; false at the end, or if nothing comes for too long.
  bool More(std::string& bytes) {
    struct pollfd readable = {fd_, POLLIN, 0};
    int ready = ::poll(&readable, 1, kPatienceMs);
    while (ready < 0 && errno == EINTR) ready = ::poll(&readable, 1, kPatienceMs);
    if (ready <= 0) return false;
    char piece[65536];
    const ssize_t count = ::read(fd_, piece, sizeof piece);
    if (count <= 0) return count < 0 && errno == EINTR;
    bytes.append(piece, static_cast<std::size_t>(count));
    return true;
  }

  // Waits for the end after More said that there is no more: its exit status, -1 if a signal, or
  // the lack of patience, ended it.
  int End() {
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT | WNOHANG) != 0 ||
        info.si_pid == 0) {
      // It closed its output and is about to end, or it stalls: a second decides.
      for (int i = 0; i < 100 && info.si_pid == 0; ++i) {
        ::poll(nullptr, 0, 10);
        ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT | WNOHANG);
      }
      if (info.si_pid == 0) return -1;
    }
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  [[noreturn]] static void Fail() {
    throw Refusal("can't run pdftoppm: " + std::generic_category().message(errno));
  }

  // In the new process: nothing here but what is safe after fork.
  [[noreturn]] static void Become(char* const* arguments, int output) {
    Limit(RLIMIT_AS, kMostMemory);
    Limit(RLIMIT_CPU, kMostSeconds);
    Limit(RLIMIT_FSIZE, 0);
    Limit(RLIMIT_CORE, 0);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (::dup2(nothing, STDIN_FILENO) >= 0 && ::dup2(output, STDOUT_FILENO) >= 0 &&
        ::dup2(nothing, STDERR_FILENO) >= 0) {
      ::execvp(arguments[0], arguments);
    }
    ::_exit(kMissing);
  }

  pid_t pid_ = -1;
  int fd_ = -1;
};

// The header of a PPM with a byte a colour: "P6 1654 2339 255". Answers where the pixels begin, 0
// if it is not whole.
std::size_t ReadHeader(const std::string& bytes, Backdrop& page) {
  int numbers[3] = {};
  std::size_t at = 2;
  for (int& number : numbers) {
    at = bytes.find_first_not_of(" \t\n", at);
    if (at == std::string::npos) return 0;
    const auto [end, error] =
        std::from_chars(bytes.data() + at, bytes.data() + bytes.size(), number);
    at = static_cast<std::size_t>(end - bytes.data());
    if (error != std::errc() || at == bytes.size()) return 0;
  }
  if (bytes.compare(0, 2, "P6") != 0 || numbers[0] <= 0 || numbers[1] <= 0 || numbers[2] != 255) {
    return 0;
  }
  page.width = numbers[0];
  page.height = numbers[1];
  return at + 1;
}

void CheckThatItIsPdf(const std::string& path) {
  if (!IsRegularFile(path)) throw Refusal("can't open: not a regular file");
  const std::size_t begin = ReadInput(path).substr(0, 1024).find("%PDF-");
  if (begin == std::string::npos) throw Refusal("not a PDF");
}

}  // namespace

Backdrop ReadPdfPage(const std::string& path, int page, double dpi) {
  CheckThatItIsPdf(path);
  const std::string number = std::to_string(page);
  const std::string safe_path = path[0] == '/' ? path : "./" + path;  // never an option
  Reading program({"pdftoppm", "-q", "-cropbox", "-f", number, "-l", number, "-r",
                   TalvoInk::FormatNumber(dpi, 3), safe_path});
  Backdrop backdrop;
  std::string& bytes = backdrop.pixels;
  std::size_t begin = 0, all = 0;
  while (program.More(bytes)) {
    if (begin == 0) begin = ReadHeader(bytes, backdrop);
    all = begin + std::size_t{3} * static_cast<std::size_t>(backdrop.width) *
                      static_cast<std::size_t>(backdrop.height);
    if (all > 3 * kMostPixels) {
      throw Refusal("page " + number + " would be " + std::to_string(backdrop.width) + " x " +
                    std::to_string(backdrop.height) + " pixels; give a smaller --dpi");
    }
    if (begin != 0 && bytes.size() > all) break;
  }
  const int status = program.End();
  if (status == kMissing) {
    throw Refusal("drawing on a PDF needs pdftoppm, of the package poppler-utils");
  }
  // For a page that is too large for its memory, it draws one pixel and says that all is well.
  const bool is_page = backdrop.width > 1 || backdrop.height > 1;
  if (status != 0 || begin == 0 || bytes.size() != all || !is_page) {
    throw Refusal("page " + number +
                  " can't be drawn: no such page, a damaged PDF, or one too large");
  }
  bytes.erase(0, begin);
  backdrop.size = {backdrop.width * 25.4 / dpi, backdrop.height * 25.4 / dpi};
  return backdrop;
}

}  // namespace InkTool
