#include "Session.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include "Files.h"
#include "Refusal.h"
#include "Report.h"
#include "ink/InkError.h"
#include "ink/inkml/InkMLReader.h"

namespace InkTool {

using namespace TalvoInk;

std::string OneLine(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      out += c;
      continue;
    }
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02X", byte);
    out += code;
  }
  return out;
}

std::string ShownInput(const std::string& file) {
  return file == "-" ? "standard input" : file;
}

std::string ShownOutput(const std::string& file) {
  return file == "-" ? "standard output" : file;
}

void Session::Attempt(const std::string& name, const std::function<std::string()>& work) {
  try {
    const std::string line = work();
    if (line.empty() || options_.quiet) return;
    std::ostream& out = wrote_to_standard_output_ ? streams_.err : streams_.out;
    out << OneLine(name) << ": Success, " << OneLine(line) << '\n';
  } catch (const std::exception& reason) {  // Refusal, InkError, and memory running out
    Fail(name, reason.what());
  }
}

void Session::Fail(const std::string& name, const std::string& reason) {
  status_ = 1;
  if (options_.json) {
    streams_.out << FailureAsJson(name, reason) << '\n';
  } else {
    streams_.err << OneLine(name) << ": Failed, " << OneLine(reason) << '\n';
  }
}

void Session::AgreeOnUnit() {
  const std::vector<std::string> files = ExpandGlobs(options_.inputs);
  if (files.size() < 2 || options_.inkml.unit_um) return;
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
  for (const std::string& file : ExpandGlobs(options_.inputs)) {
    Attempt(ShownInput(file), [&] { return work(file); });
  }
}

InkBytes Session::Read(const std::string& file) {
  if (file != "-" && IsRegularFile(file)) return Unpack(ReadInput(file));
  auto pipe = pipes_.find(file);
  if (pipe == pipes_.end()) {
    pipe = pipes_.emplace(file, file == "-" ? ReadStream(streams_.in) : ReadInput(file)).first;
  }
  return Unpack(pipe->second);
}

Ink Session::Load(const std::string& file) {
  return Load(file, Read(file), options_.inkml);
}

Ink Session::Load(const std::string& file, const InkBytes& bytes, const InkMLOptions& inkml,
                  Losses* losses) {
  InkMLOptions agreed = inkml;
  agreed.assumed_unit = assumed_unit_;
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

void Session::Save(const std::string& path, const std::string& bytes) {
  if (path == "-") {
    const bool is_text = bytes.find('\0') == std::string::npos;
    if (streams_.is_out_terminal && !is_text) {
      throw Refusal("standard output is a terminal; -o names a file");
    }
    wrote_to_standard_output_ = true;
    streams_.out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return;
  }
  if (std::find(written_.begin(), written_.end(), path) != written_.end()) {
    throw Refusal("another file of this call has been written to " + path);
  }
  OutputSet outputs(options_.force);
  outputs.Add(path, bytes);
  outputs.Commit();
  written_.push_back(path);
}

void Session::Note(const std::string& file, const std::string& text) {
  if (options_.quiet) return;
  streams_.err << OneLine(ShownInput(file)) << ": " << OneLine(text) << '\n';
}

}  // namespace InkTool
