#include "storage/RoutingTable.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace TalvoQuillpost {
namespace Storage {

namespace {

bool IsProcessed(const ClaimList& claims) {
  const auto is_delivered = [](const auto& claim) { return claim.second.delivered; };
  const auto is_processed = [](const auto& claim) { return claim.second.processed; };
  return std::all_of(claims.begin(), claims.end(), is_delivered) &&
         std::any_of(claims.begin(), claims.end(), is_processed);
}

}  // namespace

RoutingTable::RoutingTable(StrokeMap strokes) : strokes_(std::move(strokes)) {
  for (Stroke& stroke : strokes_) {
    Index& page = pages_[stroke.first.page_address];
    page.insert(page.end(), &stroke);
    for (const auto& [app, marks] : stroke.second) {
      if (marks.delivered) continue;
      Index& undelivered = undelivered_[app];
      undelivered.insert(undelivered.end(), &stroke);
    }
    if (IsProcessed(stroke.second)) processed_.insert(processed_.end(), &stroke);
  }
}

std::size_t RoutingTable::CountUndelivered(const std::string& app) const {
  const auto index = undelivered_.find(app);
  return index == undelivered_.end() ? 0 : index->second.size();
}

const StrokeID* RoutingTable::FirstUndelivered(const std::string& app) const {
  const auto index = undelivered_.find(app);
  return index == undelivered_.end() ? nullptr : &(*index->second.begin())->first;
}

std::set<StrokeID> RoutingTable::Undelivered(const std::string& app) const {
  std::set<StrokeID> ids;
  const auto index = undelivered_.find(app);
  if (index == undelivered_.end()) return ids;
  for (const Stroke* stroke : index->second) ids.insert(ids.end(), stroke->first);
  return ids;
}

std::set<StrokeID> RoutingTable::Processed() const {
  std::set<StrokeID> ids;
  for (const Stroke* stroke : processed_) ids.insert(ids.end(), stroke->first);
  return ids;
}

void RoutingTable::KeepClaims(const std::string& page, const std::set<std::string>& apps) {
  const auto index = pages_.find(page);
  if (index == pages_.end()) return;
  const std::vector<Stroke*> strokes(index->second.begin(), index->second.end());
  for (Stroke* stroke : strokes) {
    const bool lost_some = DropClaims(stroke, apps);
    const bool leaves = apps.empty() || (lost_some && stroke->second.empty());
    if (leaves) Erase(StrokeID(stroke->first));
  }
}

void RoutingTable::Claim(const StrokeID& id, const std::set<std::string>& apps) {
  const auto [entry, is_new] = strokes_.try_emplace(id);
  // Said at once: where memory runs out behind this, the stroke is in the table all the same.
  if (is_new) saved_.Cut(id);
  Stroke* const stroke = &*entry;
  if (is_new) pages_[id.page_address].insert(stroke);
  bool is_changed = is_new;
  for (const std::string& app : apps) {
    if (!stroke->second.try_emplace(app).second) continue;
    if (!is_changed) saved_.Cut(id);
    is_changed = true;
    undelivered_[app].insert(stroke);
  }
  if (is_changed) UpdateProcessed(stroke);
}

void RoutingTable::Mark(const StrokeID& id, const std::string& app, bool is_processed) {
  const auto stroke = strokes_.find(id);
  if (stroke == strokes_.end()) return;
  const auto claim = stroke->second.find(app);
  if (claim == stroke->second.end()) return;
  if (!claim->second.delivered) Remove(undelivered_, app, &*stroke);
  claim->second.delivered = true;
  if (is_processed) claim->second.processed = true;
  saved_.Touch(id);
  UpdateProcessed(&*stroke);
}

void RoutingTable::Erase(const StrokeID& id) {
  const auto entry = strokes_.find(id);
  if (entry == strokes_.end()) return;
  DropClaims(&*entry, {});
  Remove(pages_, id.page_address, &*entry);
  saved_.Cut(id);
  strokes_.erase(entry);
}

void RoutingTable::Remove(Indexes& indexes, const std::string& key, Stroke* stroke) {
  const auto index = indexes.find(key);
  index->second.erase(stroke);
  if (index->second.empty()) indexes.erase(index);
}

// True when the stroke has lost a claim.
bool RoutingTable::DropClaims(Stroke* stroke, const std::set<std::string>& apps) {
  ClaimList& claims = stroke->second;
  const std::size_t count = claims.size();
  for (auto claim = claims.begin(); claim != claims.end();) {
    if (apps.count(claim->first) > 0) {
      ++claim;
      continue;
    }
    if (!claim->second.delivered) Remove(undelivered_, claim->first, stroke);
    claim = claims.erase(claim);
  }
  if (claims.size() == count) return false;
  saved_.Cut(stroke->first);
  UpdateProcessed(stroke);
  return true;
}

void RoutingTable::UpdateProcessed(Stroke* stroke) {
  if (IsProcessed(stroke->second)) {
    processed_.insert(stroke);
  } else {
    processed_.erase(stroke);
  }
}

}  // namespace Storage
}  // namespace TalvoQuillpost
