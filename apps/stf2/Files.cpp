#include "Files.h"

#include <TalvoCppUtils/Descriptor.h>
#include <TalvoOS/NewFile.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "Refusal.h"
#include "Temporaries.h"
#include "ink/Text.h"
#include "ink/file/InkFile.h"

namespace InkTool {
namespace {

namespace fs = std::filesystem;

using TalvoCppUtils::Descriptor;
using TalvoInk::kMostInkBytes;

[[noreturn]] void RefuseWithReason(const std::string& operation) {
  throw Refusal(operation + ": " + std::generic_category().message(errno));
}

void WriteAll(int fd, std::string_view bytes, const std::string& path) {
  const auto error = TalvoOS::WriteAll(fd, bytes.data(), bytes.size());
  if (error) throw Refusal("can't write " + path + ": " + error.message());
}

// The mode of a new file as the user's umask has it.
mode_t OrdinaryMode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

[[noreturn]] void RefuseSize() {
  throw Refusal("larger than " + std::to_string(kMostInkBytes >> 20) + " MiB");
}

bool IsPipe(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

std::string AlreadyThere(const std::string& path) {
  return path + " is there already; --force replaces it";
}

}  // namespace

bool IsRegularFile(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string ReadInput(const std::string& path) {
  // A pipe is waited for; of a terminal or another device nothing is read.
  const int waiting = IsPipe(path) ? 0 : O_NONBLOCK;
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | waiting));
  if (file.get() < 0) RefuseWithReason("can't open");
  struct stat status;
  if (::fstat(file.get(), &status) != 0) RefuseWithReason("can't open");
  if (!S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode)) {
    throw Refusal("can't open: neither a regular file nor a pipe");
  }
  std::string bytes;
  if (S_ISREG(status.st_mode)) {
    if (static_cast<std::uint64_t>(status.st_size) > kMostInkBytes) RefuseSize();
    bytes.reserve(static_cast<std::size_t>(status.st_size));
  }
  std::string piece(64 * 1024, '\0');
  for (;;) {
    const ssize_t count = ::read(file.get(), &piece[0], piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) RefuseWithReason("can't read");
    if (count == 0) break;
    bytes.append(piece, 0, static_cast<std::size_t>(count));
    if (bytes.size() > kMostInkBytes) RefuseSize();
  }
  if (bytes.empty()) throw Refusal("empty");
  return bytes;
}

std::string ReadStream(std::istream& in) {
  std::string bytes;
  std::string piece(64 * 1024, '\0');
  while (in.read(&piece[0], static_cast<std::streamsize>(piece.size())) || in.gcount() > 0) {
    bytes.append(piece, 0, static_cast<std::size_t>(in.gcount()));
    if (bytes.size() > kMostInkBytes) RefuseSize();
  }
  if (in.bad()) throw Refusal("can't read");
  if (bytes.empty()) throw Refusal("empty");
  return bytes;
}

std::vector<std::string> ExpandGlobs(const std::vector<std::string>& arguments) {
  std::vector<std::string> files;
  for (const std::string& argument : arguments) {
    const bool pattern = argument.find_first_of("*?[") != std::string::npos;
    glob_t matches{};
    if (pattern && ::access(argument.c_str(), F_OK) != 0 &&
        ::glob(argument.c_str(), 0, nullptr, &matches) == 0) {
      files.insert(files.end(), matches.gl_pathv, matches.gl_pathv + matches.gl_pathc);
    } else {
      files.push_back(argument);
    }
    ::globfree(&matches);
  }
  return files;
}

std::string StemOf(const std::string& path) {
  if (path == "-") return "ink";
  const fs::path stem = fs::path(path).stem();
  return fs::path(path).extension() == ".gz" ? stem.stem().string() : stem.string();
}

std::string ExtensionOf(const std::string& path) {
  std::string extension = fs::path(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  return TalvoInk::LowerCase(extension);
}

bool NamesFolder(const std::string& output) {
  std::error_code error;
  return !output.empty() && (output.back() == '/' || fs::is_directory(output, error));
}

std::string OutputPath(const std::string& input, const std::string& output,
                       const std::string& name) {
  if (output.empty()) return (fs::path(input).parent_path() / name).string();
  if (!NamesFolder(output)) return output;
  std::error_code error;
  fs::create_directories(output, error);
  if (error) throw Refusal("can't make the folder " + output + ": " + error.message());
  return (fs::path(output) / name).string();
}

std::string SafeName(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       c == '-' || c == '_' || (c == '.' && !out.empty());
    if (plain) {
      out += c;
    } else {
      char code[4];
      std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
      out += code;
    }
  }
  return out;
}

OutputSet::~OutputSet() {
  for (const Pending& file : pending_) {
    ::unlink(file.temporary.c_str());
    ForgetTemporary(file.temporary);
  }
  for (const Pending& file : placed_) {
    if (!file.replaces) ::unlink(file.path.c_str());
  }
}

void OutputSet::CheckPlace(const std::string& path) const {
  for (const Pending& other : pending_) {
    if (other.path == path) throw Refusal("two outputs of the name " + path);
  }
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return;
  if (!S_ISREG(status.st_mode)) throw Refusal("can't write " + path + ": not a regular file");
  if (!force_) throw Refusal(AlreadyThere(path));
}

void OutputSet::Add(const std::string& path, const std::string& bytes, bool secret) {
  Add(
      path, [&](const TalvoInk::Sink& sink) { sink(bytes); }, secret);
}

void OutputSet::Add(const std::string& path, const Writer& make, bool secret) {
  if (IsPipe(path)) {
    Piped& output = piped_.emplace_back(Piped{path, {}});
    make([&](std::string_view piece) { output.bytes += piece; });
    return;
  }
  CheckPlace(path);
  const fs::path target(path);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::string temporary = (folder / ("." + target.filename().string() + ".XXXXXX")).string();
  Descriptor file(MakeTemporary(temporary));
  if (file.get() < 0) RefuseWithReason("can't write " + path);
  struct stat before;
  pending_.push_back({temporary, path, ::lstat(path.c_str(), &before) == 0});
  make([&](std::string_view piece) { WriteAll(file.get(), piece, path); });
  if (!secret && ::fchmod(file.get(), OrdinaryMode()) != 0) RefuseWithReason("can't write " + path);
  if ((errno = file.Close()) != 0) RefuseWithReason("can't write " + path);
}

void OutputSet::Commit() {
  const SignalsHeld held;
  while (!pending_.empty()) {
    const Pending file = pending_.front();
    if (force_) {
      if (::rename(file.temporary.c_str(), file.path.c_str()) != 0) {
        RefuseWithReason("can't write " + file.path);
      }
    } else if (const auto error = TalvoOS::RenameWithoutReplacing(file.temporary, file.path)) {
      if (error == boost::system::errc::file_exists) throw Refusal(AlreadyThere(file.path));
      throw Refusal("can't write " + file.path + ": " + error.message());
    }
    ForgetTemporary(file.temporary);
    placed_.push_back(file);
    pending_.pop_front();
  }
  for (const Piped& output : piped_) {
    const Descriptor pipe(::open(output.path.c_str(), O_WRONLY | O_CLOEXEC));
    if (pipe.get() < 0) RefuseWithReason("can't write " + output.path);
    WriteAll(pipe.get(), output.bytes, output.path);
  }
  piped_.clear();
  placed_.clear();
}

}  // namespace InkTool
