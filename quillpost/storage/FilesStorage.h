// The ink store: every stroke file of every pen (StrokeFiles.h), and beside it the routing info,
// which tells for every stroke which applications claim it and how far each has got with it.
//
// The routing info lives in one table of the process, from the loading of the library to the end
// of the process, guarded by one recursive mutex. Each pen's part of it is written to
// ROOT/<pen serial>/RoutingInfo.txt after every change, in place, as far as its bytes are
// others than before (SavedRoutingInfo.h). Marks overwrite marks, so a process that is killed
// meanwhile leaves a whole file with some of them. Where strokes or claims come or go, it leaves
// the file with all of the change or with nothing of it (ArchiveChange.h). A file that was damaged
// otherwise is reported by the next start as corrupted; the claims are then rebuilt from the stroke
// files, and what had been delivered is offered again.
//
// All functions may be called from any thread. Where a result is false the reason is in the log,
// except for an invalid pen, page address or application ID, which is refused in silence. Functions
// that list or remove files throw boost::filesystem::filesystem_error where that fails.

#pragma once

#include <cstddef>
#include <set>
#include <string>

#include "storage/StrokeFiles.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// Loads the routing info of every pen of the store. True, also where there is no store yet; false
// where the user has no home directory. Throws where the store can't be read. Pens already in the
// table stay.
bool Initialize();

// Empties the table. No file is touched.
void Cleanup();

// Brings one page of a pen in line with the applications that claim it: claims of other
// applications are dropped, strokes that nobody claims any more leave the table (their files stay),
// and every stroke file of the page gets a claim of each of `apps`. Marks that are there are kept.
// The result is that of saving.
bool SyncRoutingInfo(const std::string& pen, const std::string& page,
                     const std::set<std::string>& apps);

// The same for one of many pages of a pen. Where RoutingInfo.txt is provably the one that was
// written last, `is_waiting` is set and what changes is written later: by SaveWaitingRoutingInfo,
// which ends the pages, or with the next change that somebody else makes. Ink that was written on
// many pages in turns is so moved once and not with each page. A process that is killed meanwhile
// has lost claims alone, which the next pass makes again. Nothing is saved of a pen that has no
// stroke and no directory any more.
bool SyncRoutingInfoOfMany(const std::string& pen, const std::string& page,
                           const std::set<std::string>& apps, bool& is_waiting);

// Saves what waits, if anything does. The result is that of saving.
bool SaveWaitingRoutingInfo(const std::string& pen);

// Writes a pen's RoutingInfo.txt. False where the pen is not in the table and where writing fails;
// the table keeps everything for the next attempt.
bool SaveRoutingInfo(const std::string& pen);

// The strokes of a pen that an application claims and has not received. `out` is emptied first;
// false for an invalid pen or application.
bool GetUndeliveredStrokes(const std::string& pen, const std::string& app, std::set<StrokeID>& out);
bool HasUndeliveredStrokes(const std::string& pen, const std::string& app);

// The number of strokes that GetUndeliveredStrokes would give, and the first of them in `first`,
// without walking all of them. 0, with `first` untouched, where there is none.
std::size_t FindUndeliveredStroke(const std::string& pen, const std::string& app, StrokeID& first);

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
// The result is that of saving.
bool RemoveStrokes(const std::string& pen, const std::set<StrokeID>& ids);

// Removes the strokes that GetProccessedStrokes gives, if any. At one stroke: two that each asked
// first and removed then could remove ink that was filed under a freed name between them.
void RemoveProccessedStrokes(const std::string& pen);

// Removes the directories of a pen that hold no ink any more: pages without a visible file, and
// then the pen's own directory with its RoutingInfo.txt, if no directory is left in it.
void Cleanup(const std::string& pen);

}  // namespace Storage
}  // namespace TalvoQuillpost
