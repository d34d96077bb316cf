#include "Session.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include "Files.h"
#include "Refusal.h"

namespace InkTool {

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

void Session::Attempt(const std::string& name, const std::function<std::string()>& work) {
  try {
    const std::string line = work();
    if (!line.empty()) streams_.out << OneLine(name) << ": Success, " << OneLine(line) << '\n';
  } catch (const std::exception& reason) {  // Refusal, and memory running out
    streams_.err << OneLine(name) << ": Failed, " << OneLine(reason.what()) << '\n';
    status_ = 1;
  }
}

void Session::ForEachInput(const std::function<std::string(const std::string& file)>& work) {
  for (const std::string& file : ExpandGlobs(options_.inputs)) {
    Attempt(file, [&] { return work(file); });
  }
}

Ink Session::Load(const std::string& file, const InkMLOptions& inkml) {
  const std::string bytes = ReadInput(file);
  if (!LooksLikeXml(bytes)) return ReadStf2(bytes);
  Losses losses;
  Ink ink = ReadInkML(bytes, inkml, losses);
  const std::vector<std::string> lines = losses.Lines();
  if (options_.strict && !lines.empty()) {
    std::string all;
    for (const std::string& line : lines) all += (all.empty() ? "" : "; ") + line;
    throw Refusal("--strict: " + all);
  }
  for (const std::string& line : lines) Note(file, "lost or assumed: " + line);
  for (const std::string& hint : losses.hints()) Note(file, "note: " + hint);
  return ink;
}

void Session::Save(const std::string& path, const std::string& bytes) {
  if (std::find(written_.begin(), written_.end(), path) != written_.end()) {
    throw Refusal("another file of this call has been written to " + path);
  }
  OutputSet outputs(options_.force);
  outputs.Add(path, bytes);
  outputs.Commit();
  written_.push_back(path);
}

void Session::Note(const std::string& file, const std::string& text) {
  streams_.err << OneLine(file) << ": " << OneLine(text) << '\n';
}

}  // namespace InkTool
