#include "Output.h"

#include <json/writer.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace {

// Plain ASCII, so that names of any bytes make valid JSON.
std::string WriteJson(const Json::Value& value, const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  return Json::writeString(builder, value);
}

}  // namespace

bool PrintJson(const Json::Value& value) {
  return PrintLine(WriteJson(value, "  "));
}

bool PrintJsonLine(const Json::Value& value) {
  return PrintLine(WriteJson(value, ""));
}

bool PrintLine(const std::string& line) {
  return std::fprintf(stdout, "%s\n", line.c_str()) >= 0 && std::fflush(stdout) == 0;
}

bool PrintText(const std::string& text) {
  return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

ReaderState LookAtReader() {
  struct stat status;
  if (::fstat(STDOUT_FILENO, &status) != 0 || !S_ISFIFO(status.st_mode)) {
    return ReaderState::kHasRead;
  }
  // What nobody has read stays counted when the reader goes.
  int unread = 0;
  if (::ioctl(STDOUT_FILENO, FIONREAD, &unread) != 0 || unread == 0) return ReaderState::kHasRead;
  return IsReaderGone() ? ReaderState::kGone : ReaderState::kHasNotRead;
}

bool IsReaderGone() {
  pollfd output = {STDOUT_FILENO, 0, 0};
  return ::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

void ForgetFailedOutput() {
  std::clearerr(stdout);
}

void Complain(const std::string& message) {
  std::fprintf(stderr, "quillpost: %s\n", message.c_str());
}
