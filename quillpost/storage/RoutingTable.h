// The routing info of one pen: the table of its strokes and their claims, the indexes that answer
// questions about it without walking it, and the file that it is saved in (RoutingInfoFile.h). Not
// the rules of routing: which claims come and go is the store's business (FilesStorage.h).
//
// With N strokes in the table, finding one takes log N steps, or one if its page is known; a change
// takes log N steps for each claim that it touches. A change that runs out of memory leaves some of
// its claims changed and the others as they were, and the answers agree with that. Belongs to the
// thread that holds the lock of the table; only Load and Save touch a file.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "storage/FileStamp.h"
#include "storage/RoutingInfoFile.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// The applications that claim a page, by ID. Shared, because many pages have the same ones.
typedef std::shared_ptr<const std::set<std::string>> Apps;

class RoutingTable {
 public:
  // An empty table of the pen of this name. Touches no file.
  explicit RoutingTable(const std::string& pen);
  RoutingTable(const RoutingTable&) = delete;
  RoutingTable& operator=(const RoutingTable&) = delete;

  const StrokeMap& strokes() const { return strokes_; }

  // ---- The file.
  // Reads it into the empty table. Results and errors are those of RoutingInfoFile::Load.
  RoutingInfoFile::Loaded Load(std::string& reason);

  // Brings it in line with the table. False, with the reason in words, if that fails; the table
  // keeps everything for the next attempt.
  bool Save(std::string& reason);

  // Makes the marks that were saved survive a power cut. False as Save.
  bool Sync(std::string& reason) { return file_.Sync(reason); }

  // ---- Questions.
  // The strokes that the application claims and has not received: how many; the first of them, at
  // most `limit`; all of them.
  std::size_t CountUndelivered(const std::string& app) const;
  std::vector<StrokeID> FirstUndelivered(const std::string& app, std::size_t limit) const;
  std::set<StrokeID> Undelivered(const std::string& app) const;

  // The strokes that every claiming application has received and at least one has accepted.
  std::set<StrokeID> Processed() const;

  // Looks up many file names of one page. Valid until the table changes.
  class PageNames {
   public:
    // Whether there is a stroke of this file name. Compares hashes of 64 bits; the names themselves
    // are scattered in memory. Beside 50,000 strokes a new file is mistaken for a known one, and
    // not offered, about once in 10^14 times.
    bool Has(std::string_view file_name) const;

   private:
    friend class RoutingTable;
    typedef std::unordered_multimap<std::uint64_t, StrokeMap::value_type*> Page;

    const Page* page_ = nullptr;  // null: it has no strokes
  };
  PageNames NamesOf(const std::string& page) const;

  // ---- Listed pages.
  // To be called after `apps` have claimed all files of a page and all other applications have lost
  // their claims there. `stamp` was taken before the files were listed. If a stroke of the page has
  // no file now, nothing is noted: the file may come back without the new claims.
  void NoteListed(const std::string& page, const FileStamp& stamp, const Apps& apps);

  // To be called when the claiming of a page has failed in the middle: one of its strokes may have
  // some of its claims only.
  void ForgetListing(const std::string& page) { listings_.erase(page); }

  // Whether every stroke of the page is claimed by these applications, and by no others.
  bool IsClaimedBy(const std::string& page, const Apps& apps) const;

  // Whether listing the page again would find nothing new: it was listed when its directory was as
  // `stamp` says, for the same applications, and none of its strokes was erased since.
  bool IsListed(const std::string& page, const FileStamp& stamp, const Apps& apps) const;

  // Changes with each call of Erase, and no two tables share a value. If it has changed since a
  // directory was listed, list it again.
  std::uint64_t erasures() const { return erasures_; }

  // ---- Changes.
  // On one page, drops the claims of all applications but `apps`. A stroke that loses its last
  // claim leaves the table; with no `apps` every stroke of the page does.
  void KeepClaims(const std::string& page, const std::set<std::string>& apps);

  // Makes every one of `apps` a claimer of the stroke, which enters the table if it is new.
  // Claims that are there keep their marks.
  void Claim(const StrokeID& id, const std::set<std::string>& apps);

  // Marks a claimed stroke as delivered to the application and, if `is_processed`, as processed.
  // Does nothing if the application does not claim the stroke.
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

  typedef PageNames::Page Page;  // by the hash of their file names

  struct Listing {
    FileStamp stamp;
    Apps apps;
  };

  // Each of these allocates before it changes anything, so that running out of memory changes
  // nothing.
  static void Add(Indexes& indexes, const std::string& key, Stroke* stroke);
  static void Remove(Indexes& indexes, const std::string& key, Stroke* stroke);
  StrokeMap::iterator Enter(const StrokeID& id);
  void Erase(StrokeMap::iterator entry);
  bool DropClaims(Stroke* stroke, const std::set<std::string>& apps);
  void MakeIndexes();
  void EnterPage(Stroke* stroke);

  const std::string pen_;
  StrokeMap strokes_;
  RoutingInfoFile file_;
  std::unordered_map<std::string, Page> pages_;        // by page address: every stroke
  std::unordered_map<std::string, Listing> listings_;  // by page address
  std::uint64_t erasures_;
  Indexes undelivered_;  // by application: those that it claims and has not received
  Index processed_;
};

}  // namespace Storage
}  // namespace TalvoQuillpost
