// One call of the tool: the files that it works through, what it tells about each, and the status
// that it ends with. The file "-" is standard input, or standard output; then the lines that tell
// of success go to standard error, so that nothing but the output is on standard output.

#pragma once

#include <TalvoCppUtils/Printable.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Files.h"
#include "Options.h"
#include "cli/Progress.h"
#include "ink/file/InkFile.h"

namespace InkTool {

// What comes out of files must neither begin a line of its own nor steer a terminal.
using TalvoCppUtils::Printable;

// The share of the work on an input that reading takes; the rest is making the output.
constexpr double kShareOfReading = 0.3;

class Session {
 public:
  // Both must outlive this object.
  Session(const Options& options, Streams streams);

  // Does `work` for each input, after a look at all of them (see AgreeOnUnit); it answers what the
  // line of success says, empty for no line.
  void ForEachInput(const std::function<std::string(const std::string& file)>& work);

  // The unit that all inputs without one agree on, if there are several. Files that can't be read
  // are passed over: they are told when their turn comes.
  void AgreeOnUnit();

  // Does `work` once, for `name`.
  void Attempt(const std::string& name, const std::function<std::string()>& work);

  // The bytes of an input, unpacked if they are compressed. Throws Refusal or InkError.
  TalvoInk::InkBytes Read(const std::string& file);

  // The ink of an input that was read. What was lost is told on `err`, or goes into `losses` if the
  // caller tells it; with --strict it is a refusal. Throws Refusal or InkError.
  TalvoInk::Ink Load(const std::string& file, const TalvoInk::InkBytes& bytes,
                     const TalvoInk::ReadOptions& reading, TalvoInk::Losses* losses = nullptr);

  // The same of an input that was not read yet, with the options of the command line.
  TalvoInk::Ink Load(const std::string& file);

  // With --strict throws Refusal if anything was lost.
  void CheckStrict(const TalvoInk::Losses& losses) const;

  // Tells what was lost, on `err`; with --strict throws Refusal if anything was.
  void TellLosses(const std::string& file, const TalvoInk::Losses& losses);

  // Where the output called `name` goes for an input: see OutputPath. "-" for standard output.
  std::string PathFor(const std::string& file, const std::string& name) const;

  // Writes one file unless this call has written one there before. Throws Refusal.
  void Save(const std::string& path, const std::string& bytes);

  // The same of what `make` hands on piece by piece, and throws what it throws. Standard output
  // gets the pieces as they come.
  void Save(const std::string& path, const Writer& make);

  // Tells how far the work on the current input is, from `begin` to `end` of the whole: on a
  // terminal a line is drawn once a call has taken a second.
  TalvoInk::TellShare TellFrom(double begin, double end);

  // A line about a file on `err`, unless the call is to be quiet.
  void Note(const std::string& file, const std::string& text);

  int status() const { return status_; }

 private:
  void WriteOut(std::string_view piece);
  void ShowProgress(double share);
  void Fail(const std::string& name, const std::string& reason);

  const Options& options_;
  Streams streams_;
  std::map<std::string, std::string> pipes_;  // what was read of inputs that can be read once
  std::optional<TalvoInk::AssumedUnit> assumed_unit_;
  std::vector<std::string> written_;
  bool wrote_to_standard_output_ = false;
  int status_ = 0;

  using Clock = std::chrono::steady_clock;
  std::optional<ProgressLine> line_;  // none if nobody sees it
  Progress progress_;                 // of all inputs
  std::uint64_t bytes_before_ = 0;    // of the inputs before the current one
  std::uint64_t bytes_now_ = 0;       // of the current one
  const Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_ = start_;
};

// How an input or output is called in a line: "standard input" for "-".
std::string ShownInput(const std::string& file);
std::string ShownOutput(const std::string& file);

}  // namespace InkTool
