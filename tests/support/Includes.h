// What sources include, and whether the arrows between their folders run one way.

#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestRoot.h"

// Headers and sources below the folder, whatever their depth.
inline std::vector<std::filesystem::path> SourcesBelow(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> sources;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string extension = entry.path().extension();
    if (extension == ".h" || extension == ".cpp") sources.push_back(entry.path());
  }
  return sources;
}

// The headers that a source includes, with their quotes or brackets.
inline std::vector<std::string> IncludesOf(const std::filesystem::path& file) {
  const std::string directive = "#include ";
  std::istringstream lines(ReadFile(file.string()));
  std::vector<std::string> includes;
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, directive.size(), directive) == 0)
      includes.push_back(line.substr(directive.size()));
  }
  return includes;
}

// For each folder below `room`, the others there that its sources include. Their includes in quotes
// are named from `base`.
inline std::map<std::string, std::set<std::string>> FoldersNeeded(
    const std::filesystem::path& base, const std::filesystem::path& room) {
  std::map<std::string, std::set<std::string>> needed;
  for (const auto& source : SourcesBelow(room)) {
    std::set<std::string>& own = needed[source.parent_path()];
    for (const std::string& include : IncludesOf(source)) {
      if (include[0] != '"') continue;
      const auto header = base / include.substr(1, include.size() - 2);
      const bool is_in_room =
          header.string().compare(0, room.string().size() + 1, room.string() + "/") == 0;
      if (is_in_room && exists(header) && header.parent_path() != source.parent_path())
        own.insert(header.parent_path());
    }
  }
  return needed;
}

// The folders that no order puts behind all that they need: those of a cycle, and what stands on
// them. Empty if the arrows run one way.
inline std::set<std::string> FoldersInCycles(std::map<std::string, std::set<std::string>> needed) {
  for (bool is_shorter = true; is_shorter;) {
    is_shorter = false;
    for (auto folder = needed.begin(); folder != needed.end(); ++folder) {
      if (!folder->second.empty()) continue;
      for (auto& [name, others] : needed) others.erase(folder->first);
      needed.erase(folder);
      is_shorter = true;
      break;
    }
  }
  std::set<std::string> left;
  for (const auto& [name, others] : needed) left.insert(name);
  return left;
}
