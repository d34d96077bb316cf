// What the command line of quillpost-forward says.

#pragma once

#include <cstdint>
#include <string>

#include "stream/StreamOptions.h"

namespace Forward {

enum ExitStatus {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,  // the command line is wrong
};

// The stream that --create-stream makes.
struct NewStream {
  int replicas = 1;
  std::uint64_t max_age_s = 0;  // 0: ink stays for good
  std::uint64_t max_bytes = 0;  // 0: as much as the server has room for
  std::uint64_t duplicate_window_s = 120;
};

struct Options {
  std::string application = "Forward";
  Stream::StreamOptions stream;
  bool is_to_create = false;
  NewStream new_stream;
  bool is_dry_run = false;
  int log_level = 3;
  std::string log_file;  // empty: standard error
};

// Reads the command line. Returns -1 if there is something to do, else the status to exit with.
int ParseOptions(int argc, char** argv, Options& options);

}  // namespace Forward
