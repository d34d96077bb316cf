#include "StoreView.h"

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>

#include "RoutingInfoOf.h"
#include "common/Directories.h"
#include "common/Identifiers.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

void Add(const StrokeState& stroke, WaitingInk& ink) {
  if (ink.files == 0 || stroke.arrived < ink.since) ink.since = stroke.arrived;
  ++ink.files;
}

void ReadFiles(const std::string& pen, PenState& state) {
  const fs::path directory = Storage::GetStorageRoot() / pen;
  std::vector<std::string> pages;
  Common::ListDirectoryNames(directory, pages);
  for (const std::string& page : pages) {
    std::vector<std::string> names;
    if (!Common::IsPageAddressValid(page) || !Common::ListFileNames(directory / page, names))
      continue;
    for (const std::string& name : names) {
      boost::system::error_code error;
      StrokeState stroke;
      stroke.bytes = fs::file_size(directory / page / name, error);
      if (!error) stroke.arrived = fs::last_write_time(directory / page / name, error);
      if (!error) state[page + "/" + name] = stroke;
    }
  }
}

}  // namespace

PenState ReadPenState(const std::string& pen) {
  PenState state;
  try {
    ReadFiles(pen, state);
  } catch (const fs::filesystem_error&) {
    // What can't be listed now is not there; status without --watch says why.
  }
  Storage::StrokeMap strokes;
  std::string reason;
  ReadRoutingInfoOf(pen, strokes, reason);
  for (const auto& stroke : strokes) {
    const auto file = state.find(stroke.first.string());
    if (file == state.end()) continue;
    for (const auto& claim : stroke.second) {
      file->second.claims[claim.first] = claim.second.delivered;
    }
  }
  return state;
}

std::vector<StoreChange> Compare(const std::string& pen, const PenState& before,
                                 const PenState& after) {
  std::vector<StoreChange> changes;
  for (const auto& [name, stroke] : after) {
    const auto known = before.find(name);
    if (known == before.end()) changes.push_back({StoreChange::kArrived, pen, name, ""});
    for (const auto& [application, is_delivered] : stroke.claims) {
      const bool was_delivered = known != before.end() &&
                                 known->second.claims.count(application) > 0 &&
                                 known->second.claims.at(application);
      if (is_delivered && !was_delivered) {
        changes.push_back({StoreChange::kConfirmed, pen, name, application});
      }
    }
  }
  for (const auto& [name, stroke] : before) {
    if (after.count(name) > 0) continue;
    for (const auto& [application, was_delivered] : stroke.claims) {
      if (!was_delivered) changes.push_back({StoreChange::kConfirmed, pen, name, application});
    }
    changes.push_back({StoreChange::kLeft, pen, name, ""});
  }
  return changes;
}

std::map<std::string, WaitingInk> WaitingFor(const StoreState& store,
                                             const std::set<std::string>& applications) {
  std::map<std::string, WaitingInk> waiting;
  for (const std::string& application : applications) waiting[application];
  for (const auto& pen : store) {
    for (const auto& stroke : pen.second) {
      for (const auto& [application, is_delivered] : stroke.second.claims) {
        if (!is_delivered) Add(stroke.second, waiting[application]);
      }
    }
  }
  return waiting;
}

WaitingInk Unclaimed(const StoreState& store) {
  WaitingInk unclaimed;
  for (const auto& pen : store) {
    for (const auto& stroke : pen.second) {
      if (stroke.second.claims.empty()) Add(stroke.second, unclaimed);
    }
  }
  return unclaimed;
}
