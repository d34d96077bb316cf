#include "Session.h"

#include <TalvoCppUtils/Printable.h>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>

#include "Refusal.h"
#include "Report.h"
#include "cli/Shown.h"
#include "ink/InkError.h"
#include "ink/inkml/InkMLReader.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

// Of a regular file; nobody knows how much will come out of others.
std::uint64_t SizeOf(const std::string& file) {
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  return error ? 0 : size;
}

}  // namespace

std::string ShownInput(const std::string& file) {
  return file == "-" ? "standard input" : file;
}

std::string ShownOutput(const std::string& file) {
  return file == "-" ? "standard output" : file;
}

Session::Session(const Options& options, Streams streams) : options_(options), streams_(streams) {
  if (streams.shows_progress && !options.quiet) line_.emplace();
}

void Session::Attempt(const std::string& name, const std::function<std::string()>& work) {
  try {
    const std::string line = work();
    if (line_) line_->Clear();
    if (line.empty() || options_.quiet) return;
    std::ostream& out = wrote_to_standard_output_ ? streams_.err : streams_.out;
    out << TalvoCppUtils::Printable(name) << ": Success, " << TalvoCppUtils::Printable(line)
        << '\n';
  } catch (const std::bad_alloc&) {
    Fail(name, "out of memory");
  } catch (const std::exception& reason) {  // Refusal and InkError
    Fail(name, reason.what());
  }
}

void Session::Fail(const std::string& name, const std::string& reason) {
  status_ = 1;
  if (line_) line_->Clear();
  if (options_.json) {
    streams_.out << FailureAsJson(name, reason) << '\n';
  } else {
    streams_.err << TalvoCppUtils::Printable(name) << ": Failed, "
                 << TalvoCppUtils::Printable(reason) << '\n';
  }
}

void Session::AgreeOnUnit() {
  const std::vector<std::string> files = ExpandGlobs(options_.inputs);
  if (files.size() < 2 || options_.reading.unit_um) return;
  UnitEvidence evidence;
  for (const std::string& file : files) {
    try {
      const InkBytes bytes = Read(file);
      if (bytes.format == InkFormat::kInkML) evidence.Merge(MeasureInkML(bytes.bytes));
    } catch (const std::exception&) {
    }
  }
  assumed_unit_ = evidence.Judge();
}

void Session::ForEachInput(const std::function<std::string(const std::string& file)>& work) {
  AgreeOnUnit();
  const std::vector<std::string> files = ExpandGlobs(options_.inputs);
  progress_.files = files.size();
  for (const std::string& file : files) progress_.bytes += SizeOf(file);
  for (const std::string& file : files) {
    bytes_now_ = SizeOf(file);
    Attempt(ShownInput(file), [&] { return work(file); });
    bytes_before_ += bytes_now_;
    ++progress_.files_done;
  }
}

TellShare Session::TellFrom(double begin, double end) {
  if (!line_) return {};
  return [this, begin, end](double share) { ShowProgress(begin + (end - begin) * share); };
}

void Session::ShowProgress(double share) {
  constexpr std::chrono::seconds kPatience(1);
  constexpr std::chrono::milliseconds kStep(100);
  const Clock::time_point now = Clock::now();
  if (now - start_ < kPatience || now - drawn_ < kStep) return;
  drawn_ = now;
  progress_.elapsed = now - start_;
  progress_.bytes_done =
      bytes_before_ + static_cast<std::uint64_t>(share * static_cast<double>(bytes_now_));
  line_->Draw(progress_);
}

InkBytes Session::Read(const std::string& file) {
  if (file != "-" && IsRegularFile(file)) return Unpack(ReadInput(file));
  if (options_.inputs.size() == 1) {  // it is read once
    return Unpack(file == "-" ? ReadStream(streams_.in) : ReadInput(file));
  }
  auto pipe = pipes_.find(file);
  if (pipe == pipes_.end()) {
    pipe = pipes_.emplace(file, file == "-" ? ReadStream(streams_.in) : ReadInput(file)).first;
  }
  return Unpack(pipe->second);
}

Ink Session::Load(const std::string& file) {
  return Load(file, Read(file), options_.reading);
}

Ink Session::Load(const std::string& file, const InkBytes& bytes, const ReadOptions& reading,
                  Losses* losses) {
  ReadOptions agreed = reading;
  agreed.assumed_unit = assumed_unit_;
  agreed.tell = TellFrom(0, kShareOfReading);
  Losses own;
  Losses& found = losses == nullptr ? own : *losses;
  Ink ink;
  try {
    ink = ReadInk(bytes, agreed, found);
  } catch (const SealedInkError& error) {
    throw Refusal(std::string(error.what()) + "; open it first with 'stf2 open'");
  }
  if (losses == nullptr) {
    TellLosses(file, found);
  } else {
    CheckStrict(found);
  }
  return ink;
}

void Session::CheckStrict(const Losses& losses) const {
  if (options_.strict && !losses.empty()) {
    std::string all;
    for (const std::string& line : losses.Lines()) all += (all.empty() ? "" : "; ") + line;
    throw Refusal("--strict: " + all);
  }
}

void Session::TellLosses(const std::string& file, const Losses& losses) {
  CheckStrict(losses);
  for (const std::string& line : losses.Lines()) Note(file, "lost or assumed: " + line);
  for (const std::string& line : NotesOf(losses)) Note(file, "note: " + line);
}

std::string Session::PathFor(const std::string& file, const std::string& name) const {
  const bool piped = options_.output == "-" || (options_.output.empty() && file == "-");
  return piped ? "-" : OutputPath(file, options_.output, name);
}

void Session::WriteOut(std::string_view piece) {
  const bool is_text = piece.find('\0') == std::string_view::npos;
  if (streams_.is_out_terminal && !is_text) {
    throw Refusal("standard output is a terminal; -o names a file");
  }
  wrote_to_standard_output_ = true;
  streams_.out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
}

void Session::Save(const std::string& path, const std::string& bytes) {
  Save(path, [&](const Sink& sink) { sink(bytes); });
}

void Session::Save(const std::string& path, const Writer& make) {
  if (path == "-") {
    make([this](std::string_view piece) { WriteOut(piece); });
    return;
  }
  if (std::find(written_.begin(), written_.end(), path) != written_.end()) {
    throw Refusal("another file of this call has been written to " + path);
  }
  OutputSet outputs(options_.force);
  outputs.Add(path, make);
  outputs.Commit();
  written_.push_back(path);
}

void Session::Note(const std::string& file, const std::string& text) {
  if (options_.quiet) return;
  if (line_) line_->Clear();
  streams_.err << TalvoCppUtils::Printable(ShownInput(file)) << ": "
               << TalvoCppUtils::Printable(text) << '\n';
}

}  // namespace InkTool
