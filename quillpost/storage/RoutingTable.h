// The routing info of one pen: the table of its strokes and their claims, the indexes that answer
// questions about it without walking it, and what is known of its file (SavedRoutingInfo.h). Not
// the rules of routing: which claims come and go is the store's business (FilesStorage.h).
//
// With N strokes in the table, finding one takes log N steps; a change takes log N steps for each
// claim that it touches. A change that runs out of memory leaves some of its claims changed and the
// others as they were, and the answers agree with that. Belongs to whoever holds the lock of the
// table; nothing here blocks.

#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>

#include "storage/SavedRoutingInfo.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

class RoutingTable {
 public:
  RoutingTable() = default;
  explicit RoutingTable(StrokeMap strokes);
  RoutingTable(RoutingTable&&) = default;
  RoutingTable& operator=(RoutingTable&&) = default;

  const StrokeMap& strokes() const { return strokes_; }

  // What is known of the file that holds the table. Changes of the table tell it what they touch.
  SavedRoutingInfo& saved() { return saved_; }

  // ---- Questions.
  // The strokes that the application claims and has not received: how many; the first of them, null
  // where there is none, valid until the table changes; all of them.
  std::size_t CountUndelivered(const std::string& app) const;
  const StrokeID* FirstUndelivered(const std::string& app) const;
  std::set<StrokeID> Undelivered(const std::string& app) const;

  // The strokes that every claiming application has received and at least one has accepted.
  std::set<StrokeID> Processed() const;

  // ---- Changes.
  // On one page, drops the claims of all applications but `apps`. A stroke that loses its last
  // claim leaves the table; with no `apps` every stroke of the page does.
  void KeepClaims(const std::string& page, const std::set<std::string>& apps);

  // Makes every one of `apps` a claimer of the stroke, which enters the table where it is new.
  // Claims that are there keep their marks.
  void Claim(const StrokeID& id, const std::set<std::string>& apps);

  // Marks a claimed stroke as delivered to the application, and as processed, too. Nothing where
  // the application does not claim the stroke.
  void Mark(const StrokeID& id, const std::string& app, bool is_processed);

  void Erase(const StrokeID& id);

 private:
  typedef StrokeMap::value_type Stroke;
  struct ByID {
    bool operator()(const Stroke* one, const Stroke* other) const {
      return one->first < other->first;
    }
  };
  typedef std::set<Stroke*, ByID> Index;         // entries of strokes_, in their order
  typedef std::map<std::string, Index> Indexes;  // without empty ones

  // In each of these, and for each claim, what may run out of memory comes before what changes.
  static void Add(Indexes& indexes, const std::string& key, Stroke* stroke);
  static void Remove(Indexes& indexes, const std::string& key, Stroke* stroke);
  StrokeMap::iterator Enter(const StrokeID& id);
  void Erase(StrokeMap::iterator entry);
  bool DropClaims(Stroke* stroke, const std::set<std::string>& apps);

  StrokeMap strokes_;
  Indexes pages_;        // by page address: every stroke
  Indexes undelivered_;  // by application: those that it claims and has not received
  Index processed_;
  SavedRoutingInfo saved_;
};

}  // namespace Storage
}  // namespace TalvoQuillpost
