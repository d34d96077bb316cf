#include "Log.h"

#include <Talvo/Logger.h>

#include <exception>

namespace IPC {
namespace {

void Write(const std::string& name, int level, const std::string& text) {
  const std::string tag = name.substr(0, name.find(':'));
  Talvo::Logger* logger = Talvo::Logger::GetLogger(tag.c_str());
  if (logger && logger->GetLevel() >= level) logger->Log(level, "%s", text.c_str());
}

}  // namespace

void Log(const std::string& name, int level, const std::string& message) {
  Write(name, level, name + " " + message);
}

void LogException(const std::string& name, const std::string& what) {
  std::string reason = "unknown exception";
  try {
    throw;
  } catch (const std::exception& error) {
    reason = error.what();
  } catch (...) {
  }
  Write(name, Talvo::kLogError, name + ": " + what + " failed: " + reason);
}

}  // namespace IPC
