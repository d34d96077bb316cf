// What the command line of quillpost-inbox says.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stream/StreamLink.h"

namespace Inbox {

enum ExitStatus {
  kDone = 0,
  kRefused = 1,  // refused or failed
  kUsage = 2,    // the command line is wrong
};

struct Options {
  enum class Command { kServe, kQuit, kShow, kImport, kExport, kBackup };
  Command command = Command::kServe;

  // kServe
  bool is_to_open = false;        // show it in the browser
  std::int64_t shown_page = 0;    // the page to show; 0: all
  std::size_t refused_files = 0;  // of which the browser is to tell
  unsigned short port = 0;        // 0: the one of the last time, or else any
  std::string key_file;           // remembered from now on; empty: as it was
  bool is_key_forgotten = false;
  int log_level = 3;
  std::string log_file;  // empty: standard error
  StreamSource source;

  std::vector<std::string> files;  // kShow (may be none), kImport; one for kBackup

  // kExport
  std::vector<std::string> pages;  // ids or addresses; none: all that are not in the trash
  std::string output;
  std::string format;  // empty: what the output's name says
  bool is_forced = false;
};

// What became of ink files: the pages that hold their ink, and how many were refused.
struct Imported {
  std::vector<std::int64_t> pages;
  std::size_t refused = 0;
};

// Puts the files into the database, and prints which were refused, and why.
Imported Import(const std::vector<std::string>& files);

// Each does its work, prints what it has to say and returns the exit status. They throw
// std::exception for what they can't go on with.
int Serve(const Options& options);
int Quit();                             // ends the inbox that runs
int ShowFiles(const Options& options);  // kShow: imports, then serves
int ImportFiles(const Options& options);
int ExportFile(const Options& options);
int BackUp(const Options& options);

// Reads the command line. Returns -1 if there is something to do, else the status to exit with.
int ParseOptions(int argc, char** argv, Options& options);

}  // namespace Inbox
