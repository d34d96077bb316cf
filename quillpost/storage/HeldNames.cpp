#include "storage/HeldNames.h"

#include <atomic>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <map>

namespace TalvoQuillpost {
namespace Storage {

namespace {

struct Held {
  std::set<StrokeID> ids;
  int removals = 0;
};

// Made when the library is loaded and never freed, like the table of routing info.
auto& g_held = *new std::map<std::string, Held>;  // by pen
auto& g_held_guard = *new boost::mutex;           // guards g_held; no other lock is taken under it

// Whether g_held has entries. Mostly it has none, and a save need not wait for an import that gives
// a name.
std::atomic<bool> g_has_held{false};

typedef boost::lock_guard<boost::mutex> Lock;

}  // namespace

void HoldNames(const std::string& pen, const std::set<StrokeID>& ids) {
  if (ids.empty()) return;
  const Lock lock(g_held_guard);
  g_held[pen].ids.insert(ids.begin(), ids.end());
  g_has_held = true;
}

RemovalHold::RemovalHold(const std::string& pen, const std::set<StrokeID>& ids) : pen_(pen) {
  const Lock lock(g_held_guard);
  Held& held = g_held[pen];
  held.ids.insert(ids.begin(), ids.end());
  ++held.removals;
  g_has_held = true;
}

RemovalHold::~RemovalHold() {
  const Lock lock(g_held_guard);
  const auto held = g_held.find(pen_);
  if (held != g_held.end()) --held->second.removals;
}

void ReleaseNames(const std::string& pen, const StrokeMap& saved) {
  if (!g_has_held) return;
  const Lock lock(g_held_guard);
  const auto held = g_held.find(pen);
  // During a removal the saved table may not know a stroke any more whose file is still there.
  if (held == g_held.end() || held->second.removals > 0) return;
  std::set<StrokeID>& ids = held->second.ids;
  for (auto id = ids.begin(); id != ids.end();) {
    id = saved.count(*id) > 0 ? std::next(id) : ids.erase(id);
  }
  if (ids.empty()) g_held.erase(held);
  g_has_held = !g_held.empty();
}

void ReleaseNames(const std::string& pen) {
  const Lock lock(g_held_guard);
  const auto held = g_held.find(pen);
  if (held != g_held.end() && held->second.removals == 0) g_held.erase(held);
  g_has_held = !g_held.empty();
}

void ReleaseNames() {
  const Lock lock(g_held_guard);
  g_held.clear();
  g_has_held = false;
}

boost::system::error_code GiveName(const std::string& pen, const StrokeID& id,
                                   const std::function<boost::system::error_code()>& give) {
  // The look and `give` under one lock: otherwise a removal could hold the name and delete its file
  // in between, and `give` would succeed.
  const Lock lock(g_held_guard);
  const auto held = g_held.find(pen);
  if (held != g_held.end() && held->second.ids.count(id) > 0) {
    return make_error_code(boost::system::errc::file_exists);
  }
  return give();
}

}  // namespace Storage
}  // namespace TalvoQuillpost
