// The ink store: every stroke file of every pen (StrokeFiles.h), and beside it the routing info,
// which tells for every stroke which applications claim it and how far each has got with it.
//
// The routing info lives in one table of the process, from the loading of the library to the end
// of the process, guarded by one recursive mutex. Each pen's part of it is written to
// ROOT/<pen serial>/RoutingInfo.txt after every change, in place, and only the bytes that changed
// (RoutingInfoFile.h says what a killed process, a full disk and a power cut leave). A file that
// was damaged otherwise is reported by the next start as corrupted; the claims are then rebuilt
// from the stroke files, and what had been delivered is offered again.
//
// All functions may be called from any thread. If a result is false, the reason is in the log,
// except for an invalid pen, page address or application ID, which is refused in silence. Functions
// that list or remove files throw boost::filesystem::filesystem_error if that fails.

#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "storage/NewStrokes.h"
#include "storage/RoutingTable.h"
#include "storage/StrokeFiles.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// Loads the routing info of every pen of the store. Processed strokes whose files are gone, because
// a killed service had removed them, are dropped. True, also if there is no store yet; false if the
// user has no home directory. Throws if the store can't be read. Pens already in the table stay.
// Writes nothing.
bool Initialize();

// Empties the table. No file is touched.
void Cleanup();

// Brings one page of a pen in line with the applications that claim it: claims of other
// applications are dropped, strokes that no application claims any more leave the table (their
// files stay), and every stroke file of the page gets a claim of each of `apps`. Marks that are
// there are kept. The result is that of saving. For one page alone: the routing pass takes SyncPage
// for each page and saves once.
bool SyncRoutingInfo(const std::string& pen, const std::string& page,
                     const std::set<std::string>& apps);

// The same for one of many pages of a pen, without saving. `undecided` are applications that may
// or may not claim the page, since their subscriptions can't be read now: their claims stay as they
// are. A page that provably did not change since it was listed for the same applications is
// not listed again. Listing runs outside the lock of the table, which is free again and again in
// between, so that other threads do not wait for a large page. False for an invalid pen or page.
bool SyncPage(const std::string& pen, const std::string& page, const Apps& apps,
              const std::set<std::string>& undecided);

// Saves what SyncPage has changed in a pen's table; nothing of a pen that has no stroke and no
// directory any more. The result is that of saving.
bool SaveRoutingInfoOfPages(const std::string& pen);

// Writes a pen's RoutingInfo.txt. False if the pen is not in the table or writing fails;
// the table keeps everything for the next attempt.
bool SaveRoutingInfo(const std::string& pen);

// The strokes of a pen that an application claims and has not received. `out` is emptied first;
// false for an invalid pen or application. All of them: delivery, which needs one at a time, asks
// FindUndeliveredStrokes.
bool GetUndeliveredStrokes(const std::string& pen, const std::string& app, std::set<StrokeID>& out);
bool HasUndeliveredStrokes(const std::string& pen, const std::string& app);

// The number of strokes that GetUndeliveredStrokes would give, and the first of them in `first`, at
// most `limit`, without walking all of them. `first` is emptied first.
std::size_t FindUndeliveredStrokes(const std::string& pen, const std::string& app,
                                   std::size_t limit, std::vector<StrokeID>& first);

// The strokes of a pen that every claiming application has received and at least one has accepted.
// `out` is emptied first; false for an invalid pen.
bool GetProccessedStrokes(const std::string& pen, std::set<StrokeID>& out);

// Marks strokes that an application claims as delivered, and those of them that are also in
// `processed` as processed. Marks are never cleared. The result is that of saving; false for an
// unknown pen.
bool SetRoutingInfoMarkers(const std::string& pen, const std::string& app,
                           const std::set<StrokeID>& delivered,
                           const std::set<StrokeID>& processed);

// Removes stroke files, and the strokes from the table whether or not their files could be removed.
// The result is that of saving. Other ink gets the names of these strokes only when the saved table
// doesn't know them any more (HeldNames.h).
bool RemoveStrokes(const std::string& pen, const std::set<StrokeID>& ids);

// Removes the strokes that GetProccessedStrokes gives, if any. Atomically with respect to other
// removals: a caller that queried and then removed could delete new ink under a reused name.
void RemoveProccessedStrokes(const std::string& pen);

// Removes the directories of a pen that hold no ink any more: pages without a visible file, and
// then the pen's own directory with its RoutingInfo.txt, if no directory is left in it.
void Cleanup(const std::string& pen);

}  // namespace Storage
}  // namespace TalvoQuillpost
