// quillpost-inbox: keeps the ink of all pens and shows it in the browser.

#include <TalvoOS/Startup.h>
#include <sodium.h>
#include <sys/stat.h>

#include <cstdio>
#include <exception>

#include "Options.h"

int main(int argc, char** argv) {
  TalvoOS::OpenStandardDescriptors();
  TalvoOS::IgnoreWriteSignals();
  ::umask(077);  // ink is private
  if (::sodium_init() < 0) {
    std::fprintf(stderr, "quillpost-inbox: the system has no random numbers\n");
    return Inbox::kRefused;
  }
  Inbox::Options options;
  const int status = Inbox::ParseOptions(argc, argv, options);
  if (status >= 0) return status;
  try {
    switch (options.command) {
      case Inbox::Options::Command::kQuit:
        return Inbox::Quit();
      case Inbox::Options::Command::kShow:
        return Inbox::ShowFiles(options);
      case Inbox::Options::Command::kImport:
        return Inbox::ImportFiles(options);
      case Inbox::Options::Command::kExport:
        return Inbox::ExportFile(options);
      case Inbox::Options::Command::kBackup:
        return Inbox::BackUp(options);
      default:
        return Inbox::Serve(options);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpost-inbox: %s\n", error.what());
    return Inbox::kRefused;
  }
}
