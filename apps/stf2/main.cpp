// stf2: looks at, converts, splits, merges, draws, seals and opens ink files. It works on files
// alone and knows nothing of the service.

#include <TalvoOS/Startup.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Temporaries.h"

int main(int argc, char** argv) {
  TalvoOS::OpenStandardDescriptors();
  InkTool::RemoveTemporariesOnSignals();
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  const InkTool::Streams streams = {std::cin, std::cout, std::cerr, ::isatty(STDOUT_FILENO) != 0,
                                    true};
  const int status = InkTool::RunTool(arguments, streams);
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "stf2: can't write to standard output\n";
    return 1;
  }
  return status;
}
