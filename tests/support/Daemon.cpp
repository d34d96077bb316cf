#include "support/Daemon.h"

#include <signal.h>

#include <stdexcept>

namespace {

std::vector<std::string> Command(const std::string& program,
                                 const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {program};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

std::string WholeLine(const std::string& line) {
  return "Z " + line + "\n";
}

}  // namespace

Daemon::Daemon(const std::string& program, const std::vector<std::string>& arguments)
    : process_(Command(program, arguments)) {
  if (!WaitForLog("I Quillpost: Quillpost started.")) {
    throw std::runtime_error("the service did not start:\n" + process_.error());
  }
}

bool Daemon::WaitForLog(const std::string& line) {
  return process_.WaitForError(WholeLine(line));
}

bool Daemon::HasLogged(const std::string& line) const {
  return process_.error().find(WholeLine(line)) != std::string::npos;
}

int Daemon::Stop() {
  process_.Signal(SIGTERM);
  return process_.Wait();
}
