#include "DesktopEntry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sstream>

namespace TalvoOS {
namespace {

constexpr std::size_t kMaxFileBytes = 1u << 20;  // real ones have a few thousand

// The content of a regular file; a FIFO of that name must not hold the caller up.
bool ReadRegularFile(const std::string& path, std::string& content) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return false;
  struct stat status;
  bool good = ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  char buffer[4096];
  while (good) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n == 0) break;
    if (n < 0 && errno == EINTR) continue;
    good = n > 0 && content.size() + static_cast<std::size_t>(n) <= kMaxFileBytes;
    if (good) content.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return good;
}

std::string Trim(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string::npos) return std::string();
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

// The escapes that every string of a desktop entry has, beside the quoting of Exec.
std::string Unescape(const std::string& value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text += value[i];
      continue;
    }
    switch (value[++i]) {
      case 's':
        text += ' ';
        break;
      case 'n':
        text += '\n';
        break;
      case 't':
        text += '\t';
        break;
      case 'r':
        text += '\r';
        break;
      case '\\':
        text += '\\';
        break;
      default:
        text += '\\';
        text += value[i];
    }
  }
  return text;
}

// One pass over an Exec value, argument by argument.
class ExecReader {
 public:
  explicit ExecReader(const std::string& text) : text_(text) {}

  // False for a line that breaks the rules.
  bool ReadAll(std::vector<std::string>& arguments) {
    while (true) {
      while (at_ < text_.size() && IsBlank(text_[at_])) ++at_;
      if (at_ == text_.size()) return true;
      std::string argument;
      if (!ReadArgument(argument)) return false;
      if (!argument.empty() || has_value_) arguments.push_back(argument);
    }
  }

 private:
  static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

  bool ReadArgument(std::string& argument) {
    has_value_ = false;
    bool quoted = false;
    for (; at_ < text_.size() && (quoted || !IsBlank(text_[at_])); ++at_) {
      const char c = text_[at_];
      if (c == '"') {
        quoted = !quoted;
        has_value_ = true;
      } else if (c == '\\' && quoted && at_ + 1 < text_.size() &&
                 std::strchr("\"`$\\", text_[at_ + 1]) != nullptr) {
        argument += text_[++at_];
      } else if (c == '%') {
        if (!ReadFieldCode(argument)) return false;
      } else {
        argument += c;
      }
    }
    return !quoted;
  }

  bool ReadFieldCode(std::string& argument) {
    if (++at_ == text_.size()) return false;
    const char code = text_[at_];
    if (code == '%') {
      argument += '%';
      return true;
    }
    return code != '\0' && std::strchr("fFuUdDnNickvm", code) != nullptr;
  }

  const std::string& text_;
  std::size_t at_ = 0;
  bool has_value_ = false;  // the argument is one even if it is empty: it was quoted
};

}  // namespace

bool ParseExec(const std::string& value, std::vector<std::string>& arguments) {
  arguments.clear();
  const std::string text = Unescape(value);
  return text.find('\0') == std::string::npos && ExecReader(text).ReadAll(arguments) &&
         !arguments.empty() && !arguments[0].empty();
}

bool ReadDesktopEntry(const std::string& path, DesktopEntry& entry) {
  entry = DesktopEntry();
  std::string content;
  if (!ReadRegularFile(path, content)) return false;
  std::istringstream lines(content);
  bool in_entry = false;
  bool has_exec = false;
  for (std::string line; std::getline(lines, line);) {
    line = Trim(line);
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      in_entry = line == "[Desktop Entry]";
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!in_entry || equals == std::string::npos) continue;
    const std::string key = Trim(line.substr(0, equals));
    const std::string value = Trim(line.substr(equals + 1));
    if (key == "Path") {
      entry.directory = Unescape(value);
    } else if (key == "Exec" && !has_exec) {
      if (!ParseExec(value, entry.arguments)) return false;
      has_exec = true;
    }
  }
  return has_exec;
}

}  // namespace TalvoOS
