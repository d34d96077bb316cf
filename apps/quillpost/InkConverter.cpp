#include "InkConverter.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cctype>
#include <cerrno>
#include <system_error>
#include <vector>

#include "InkFileCheck.h"
#include "common/File.h"

namespace fs = boost::filesystem;
using TalvoCppUtils::Descriptor;

namespace {

// The ink tool beside this program: a tool of another version elsewhere may know other options.
fs::path FindTool() {
  boost::system::error_code error;
  return fs::read_symlink("/proc/self/exe", error).parent_path() / "stf2";
}

std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t n;
  while ((n = ::read(fd, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR)) {
    if (n > 0) text.append(buffer, static_cast<std::size_t>(n));
  }
  return text;
}

// Runs the tool; its exit status, -1 if it can't be started, and what it complains of.
int RunTool(const std::vector<std::string>& arguments, std::string& complaint) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    complaint = std::generic_category().message(errno);
    return -1;
  }
  const Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, writer.get(), STDERR_FILENO);
  pid_t process = -1;
  const int error =
      ::posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  writer.Close();
  if (error != 0) {
    complaint = arguments[0] + ": " + std::generic_category().message(error);
    return -1;
  }
  complaint = ReadAll(reader.get());
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Why the tool failed: the line that says so, without the file's name.
std::string ReasonIn(const std::string& complaint) {
  const std::string kFailed = ": Failed, ";
  const std::size_t found = complaint.find(kFailed);
  const std::size_t begin = found == std::string::npos ? 0 : found + kFailed.size();
  return complaint.substr(begin, complaint.find('\n', begin) - begin);
}

std::string LowerExtension(const fs::path& file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

}  // namespace

ConvertedInk::~ConvertedInk() {
  boost::system::error_code ignored;
  if (!directory_.empty()) fs::remove_all(directory_, ignored);
}

bool InkConverter::HasConvertibleName(const fs::path& file) {
  const std::string extension = LowerExtension(file);
  return extension == ".inkml" || extension == ".xopp";
}

bool InkConverter::IsConvertible(const fs::path& file) {
  return HasConvertibleName(file) ||
         (LowerExtension(file) != ".stf2" && CheckInkFile(file).is_inkml);
}

bool InkConverter::Convert(const fs::path& file, ConvertedInk& ink, std::string& reason) const {
  boost::system::error_code error;
  std::string directory = (fs::temp_directory_path(error) / "quillpost.XXXXXX").string();
  if (error || ::mkdtemp(&directory[0]) == nullptr) {
    reason = "there is no place to convert it: " +
             (error ? error.message() : std::generic_category().message(errno));
    return false;
  }
  ink.directory_ = directory;
  ink.path_ = ink.directory_ / (file.stem().string() + ".stf2");
  std::vector<std::string> arguments = {FindTool().string(), "convert", fs::absolute(file).string(),
                                        "-o", ink.path_.string()};
  if (!page.empty()) arguments.insert(arguments.end(), {"--page", page});
  if (!pen.empty()) arguments.insert(arguments.end(), {"--pen", pen});
  std::string complaint;
  const int status = RunTool(arguments, complaint);
  if (status == 0) return true;
  reason = "it can't be converted: " + ReasonIn(complaint);
  return false;
}
