#include "storage/RoutingTable.h"

#include <algorithm>
#include <random>
#include <utility>

#include "storage/HeldNames.h"

namespace TalvoQuillpost {
namespace Storage {

namespace {

bool IsProcessed(const ClaimList& claims) {
  const auto is_delivered = [](const auto& claim) { return claim.second.delivered; };
  const auto is_processed = [](const auto& claim) { return claim.second.processed; };
  return std::all_of(claims.begin(), claims.end(), is_delivered) &&
         std::any_of(claims.begin(), claims.end(), is_processed);
}

std::uint64_t HashOf(std::string_view file_name) {
  // FNV-1a, with an unpredictable start.
  static const std::uint64_t start = std::random_device()() * 0x9e3779b97f4a7c15u + 1;
  std::uint64_t hash = start;
  for (const char character : file_name) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3u;
  }
  return hash ^ hash >> 32;
}

std::uint64_t g_erasures = 0;  // of all tables; guarded by the lock of the table, like each of them

}  // namespace

bool RoutingTable::PageNames::Has(std::string_view file_name) const {
  return page_ != nullptr && page_->count(HashOf(file_name)) > 0;
}

RoutingTable::RoutingTable(const std::string& pen)
    : pen_(pen), file_(pen), erasures_(++g_erasures) {}

RoutingInfoFile::Loaded RoutingTable::Load(std::string& reason) {
  const auto loaded = file_.Load(strokes_, reason);
  MakeIndexes();
  return loaded;
}

bool RoutingTable::Save(std::string& reason) {
  if (!file_.Save(strokes_, reason)) return false;
  ReleaseNames(pen_, strokes_);
  return true;
}

void RoutingTable::MakeIndexes() {
  for (Stroke& stroke : strokes_) {
    EnterPage(&stroke);
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

std::vector<StrokeID> RoutingTable::FirstUndelivered(const std::string& app,
                                                     std::size_t limit) const {
  std::vector<StrokeID> ids;
  const auto index = undelivered_.find(app);
  if (index == undelivered_.end()) return ids;
  for (const Stroke* stroke : index->second) {
    if (ids.size() == limit) break;
    ids.push_back(stroke->first);
  }
  return ids;
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

RoutingTable::PageNames RoutingTable::NamesOf(const std::string& page) const {
  PageNames names;
  const auto found = pages_.find(page);
  if (found != pages_.end()) names.page_ = &found->second;
  return names;
}

void RoutingTable::NoteListed(const std::string& page, const FileStamp& stamp, const Apps& apps) {
  const auto found = pages_.find(page);
  const bool is_known =
      IsClaimedBy(page, apps) || found == pages_.end() ||
      std::all_of(found->second.begin(), found->second.end(), [&apps](const auto& entry) {
        return entry.second->second.size() == apps->size();
      });
  if (is_known) listings_[page] = {stamp, apps};
}

bool RoutingTable::IsClaimedBy(const std::string& page, const Apps& apps) const {
  const auto listing = listings_.find(page);
  return listing != listings_.end() &&
         (listing->second.apps == apps || *listing->second.apps == *apps);
}

bool RoutingTable::IsListed(const std::string& page, const FileStamp& stamp,
                            const Apps& apps) const {
  return IsClaimedBy(page, apps) && listings_.find(page)->second.stamp == stamp;
}

void RoutingTable::KeepClaims(const std::string& page, const std::set<std::string>& apps) {
  listings_.erase(page);
  const auto index = pages_.find(page);
  if (index == pages_.end()) return;
  const std::vector<Page::value_type> entries(index->second.begin(), index->second.end());
  for (const auto& [hash, stroke] : entries) {
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
      file_.Cut(id);
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
  file_.Touch(id);
  if (!IsProcessed(stroke->second)) processed_.erase(&*stroke);
}

void RoutingTable::Erase(const StrokeID& id) {
  erasures_ = ++g_erasures;
  // Its file may have stayed: then the next pass finds it in the page, unchanged as that may be.
  const auto listing = listings_.find(id.page_address);
  if (listing != listings_.end()) listing->second.stamp = FileStamp();
  const auto entry = strokes_.find(id);
  if (entry != strokes_.end()) Erase(entry);
}

StrokeMap::iterator RoutingTable::Enter(const StrokeID& id) {
  StrokeMap entered;
  const auto entry = entered.try_emplace(id).first;
  EnterPage(&*entry);
  file_.Cut(id);
  strokes_.merge(entered);
  return entry;
}

void RoutingTable::Erase(StrokeMap::iterator entry) {
  Stroke* const stroke = &*entry;
  for (const auto& [app, marks] : stroke->second) {
    if (!marks.delivered) Remove(undelivered_, app, stroke);
  }
  processed_.erase(stroke);
  const auto page = pages_.find(stroke->first.page_address);
  const auto same = page->second.equal_range(HashOf(StrokeIDToFileName(stroke->first)));
  page->second.erase(std::find_if(same.first, same.second,
                                  [stroke](const auto& entry) { return entry.second == stroke; }));
  if (page->second.empty()) pages_.erase(page);
  file_.Cut(stroke->first);
  strokes_.erase(entry);
}

void RoutingTable::EnterPage(Stroke* stroke) {
  pages_[stroke->first.page_address].emplace(HashOf(StrokeIDToFileName(stroke->first)), stroke);
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
      file_.Cut(stroke->first);
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
