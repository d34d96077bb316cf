// The routing pass: which application claims which stored ink. It moves no ink; delivery works from
// the routing info alone.

#include <boost/algorithm/string/join.hpp>
#include <string>
#include <vector>

#include "common/Job.h"
#include "common/Log.h"
#include "config/FilesConfig.h"
#include "service/Service.h"
#include "storage/FilesStorage.h"

namespace TalvoQuillpost {

namespace {

// Routes the pages of one pen. Their routing info is saved together, at the end.
class PenRoute {
 public:
  explicit PenRoute(const std::string& pen) : pen_(pen) {}

  void RoutePage(const std::string& page);
  void Save();

 private:
  struct Update {
    std::string page;
    std::string applications;
  };

  void LogFailure(const Update& update) const;

  const std::string pen_;
  std::vector<Update> waiting_;
};

void PenRoute::RoutePage(const std::string& page) {
  std::set<Config::App> applications;
  // A subscription directory that can't be read is an answer, too: ink goes to nobody.
  if (!Config::FindApplications(page, applications)) applications.clear();
  std::set<std::string> ids;
  for (const Config::App& application : applications) ids.insert(application.id);
  const Update update = {page, boost::algorithm::join(ids, ", ")};
  if (ids.empty()) {
    QUILLPOST_LOG_INFORMATION(
        "Updating Storage's Routing Info: Ink from Pen '%s' with Page Address '%s' was not claimed "
        "by applications.",
        pen_.c_str(), page.c_str());
  } else {
    QUILLPOST_LOG_INFORMATION(
        "Updating Storage's Routing Info: Ink from Pen '%s' with Page Address '%s' is claimed by "
        "%s '%s'.",
        pen_.c_str(), page.c_str(), ids.size() == 1 ? "application" : "applications",
        update.applications.c_str());
  }
  bool is_waiting = false;
  if (!Storage::SyncRoutingInfoOfMany(pen_, page, ids, is_waiting)) LogFailure(update);
  if (is_waiting) waiting_.push_back(update);
}

void PenRoute::Save() {
  if (waiting_.empty() || Storage::SaveWaitingRoutingInfo(pen_)) return;
  for (const Update& update : waiting_) LogFailure(update);
}

void PenRoute::LogFailure(const Update& update) const {
  QUILLPOST_LOG_ERROR(
      "Failed to update Storage's Routing Info about applications ('%s') claim status of Ink "
      "from Pen '%s' with Page Address '%s'.",
      update.applications.c_str(), pen_.c_str(), update.page.c_str());
}

void RoutePen(const std::string& pen, StopPatience& patience) {
  QUILLPOST_LOG_INFORMATION("Synchronizing with Storage about Ink from Pen '%s'...", pen.c_str());
  std::set<std::string> pages;
  if (!Storage::GetPageAddresses(pen, pages) || pages.empty()) {
    QUILLPOST_LOG_INFORMATION(
        "Won't synchronize with Storage about Ink from Pen '%s': no data in Storage.", pen.c_str());
    return;
  }
  PenRoute route(pen);
  for (const std::string& page : pages) {
    if (patience.IsOver()) return route.Save();
    Common::RunJob("routing of a page", [&] { route.RoutePage(page); });
  }
  route.Save();
  QUILLPOST_LOG_INFORMATION("Finished synchronizing with Storage about Ink from Pen '%s'.",
                            pen.c_str());
}

}  // namespace

void Service::RouteInk() {
  QUILLPOST_LOG_INFORMATION(
      "Synchronizing Storage's Ink Routing Info with Application configurations...");
  std::set<std::string> pens;
  if (!Storage::GetKnownPens(pens) || pens.empty()) {
    QUILLPOST_LOG_INFORMATION("Synchronization canceled: no pens in Storage.");
    return;
  }
  StopPatience patience(worker_queue_);
  for (const std::string& pen : pens) {
    Common::RunJob("routing of a pen's ink", [&] { RoutePen(pen, patience); });
    if (patience.IsOver()) return;  // the pass is made again when the service starts the next time
  }
  QUILLPOST_LOG_INFORMATION(
      "Storage's Storage's Ink Routing Info was synchronized with Application configurations.");
}

}  // namespace TalvoQuillpost
