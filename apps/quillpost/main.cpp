// quillpost: the command line client of the ink service.

#include <TalvoOS/Startup.h>

#include <cstdio>
#include <exception>

#include "CommandLine.h"
#include "Output.h"
#include "cli/Help.h"

namespace {

// A full disk behind standard output is a failure of the command. It is not a failure if the reader
// has gone: it has seen what it wanted, as grep -q.
int FinishOutput(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  if (IsReaderGone()) return status;
  Complain("can't write to standard output");
  return status == kDone ? kRefused : status;
}

}  // namespace

int main(int argc, char** argv) {
  TalvoOS::OpenStandardDescriptors();
  TalvoOS::IgnoreWriteSignals();
  CLI::App app;
  CommandLine line;
  line.words.assign(argv, argv + argc);
  try {
    DeclareCommands(app, line);
    if (!ParseHelp(app, line)) app.parse(argc, argv);
    if (line.run) return FinishOutput(line.run());
    Complain(line.missing + " is missing; --help tells more");
    return kUsage;
  } catch (const CLI::ParseError& error) {
    return FinishOutput(FinishParsing(app, error));
  } catch (const std::exception& error) {
    Complain(error.what());
    return kRefused;
  }
}
