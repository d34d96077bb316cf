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
    const bool leaves = apps.empty() || (DropClaims(stroke, apps) && stroke->second.empty());
    if (leaves) Erase(strokes_.find(stroke->first));
  }
}

void RoutingTable::Claim(const StrokeID& id, const std::set<std::string>& apps) {
  auto entry = strokes_.find(id);
  const bool is_new = entry == strokes_.end();
  if (is_new) entry = Enter(id);
  Stroke* const stroke = &*entry;
  bool is_changed = is_new;
  for (const std::string& app : apps) {
    if (stroke->second.count(app) > 0) continue;
    ClaimList claim;
    claim.try_emplace(app);
    Add(undelivered_, app, stroke);
    if (!is_changed) {
      saved_.Cut(id);
      processed_.erase(stroke);
      is_changed = true;
    }
    stroke->second.merge(claim);
  }
}

void RoutingTable::Mark(const StrokeID& id, const std::string& app, bool is_processed) {
  const auto stroke = strokes_.find(id);
  if (stroke == strokes_.end()) return;
  const auto claim = stroke->second.find(app);
  if (claim == stroke->second.end()) return;
  processed_.insert(&*stroke);
  if (!claim->second.delivered) Remove(undelivered_, app, &*stroke);
  claim->second.delivered = true;
  if (is_processed) claim->second.processed = true;
  saved_.Touch(id);
  if (!IsProcessed(stroke->second)) processed_.erase(&*stroke);
}

void RoutingTable::Erase(const StrokeID& id) {
  const auto entry = strokes_.find(id);
  if (entry != strokes_.end()) Erase(entry);
}

StrokeMap::iterator RoutingTable::Enter(const StrokeID& id) {
  StrokeMap entered;
  const auto entry = entered.try_emplace(id).first;
  Add(pages_, id.page_address, &*entry);
  saved_.Cut(id);
  strokes_.merge(entered);
  return entry;
}

void RoutingTable::Erase(StrokeMap::iterator entry) {
  Stroke* const stroke = &*entry;
  for (const auto& [app, marks] : stroke->second) {
    if (!marks.delivered) Remove(undelivered_, app, stroke);
  }
  processed_.erase(stroke);
  Remove(pages_, stroke->first.page_address, stroke);
  saved_.Cut(stroke->first);
  strokes_.erase(entry);
}

void RoutingTable::Add(Indexes& indexes, const std::string& key, Stroke* stroke) {
  Index added = {stroke};
  indexes[key].merge(added);
}

void RoutingTable::Remove(Indexes& indexes, const std::string& key, Stroke* stroke) {
  const auto index = indexes.find(key);
  index->second.erase(stroke);
  if (index->second.empty()) indexes.erase(index);
}

// True when the stroke has lost a claim.
bool RoutingTable::DropClaims(Stroke* stroke, const std::set<std::string>& apps) {
  ClaimList& claims = stroke->second;
  bool is_changed = false;
  for (auto claim = claims.begin(); claim != claims.end();) {
    if (apps.count(claim->first) > 0) {
      ++claim;
      continue;
    }
    if (!is_changed) {
      processed_.insert(stroke);
      saved_.Cut(stroke->first);
      is_changed = true;
    }
    if (!claim->second.delivered) Remove(undelivered_, claim->first, stroke);
    claim = claims.erase(claim);
  }
  if (is_changed && !IsProcessed(claims)) processed_.erase(stroke);
  return is_changed;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
