#include "routing/Routing.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/thread/thread.hpp>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/Job.h"
#include "common/Log.h"
#include "config/FilesConfig.h"
#include "storage/FilesStorage.h"

namespace TalvoQuillpost {

namespace {

// The applications that claim one page.
struct PageUpdate {
  std::string page;
  Storage::Apps apps;
};

// The routing of one pen's pages. Their routing info is saved together, at the end.
class PenRoute {
 public:
  PenRoute(const std::string& pen, Config::SubscriptionReader& subscriptions)
      : pen_(pen), subscriptions_(subscriptions) {}

  void RoutePage(const std::string& page);
  void Save() const;

 private:
  Storage::Apps FindApps(const std::string& page);
  void LogFailure(const PageUpdate& update) const;

  const std::string pen_;
  Config::SubscriptionReader& subscriptions_;
  std::vector<PageUpdate> updates_;
};

// Reads the subscriptions afresh: a change counts from the next page on.
Storage::Apps PenRoute::FindApps(const std::string& page) {
  std::set<std::string> ids;
  // Something else in the place of the subscription directory is an answer, too: no application
  // claims the page.
  if (subscriptions_.Read()) {
    subscriptions_.ForEach([&](const Config::App& app) {
      if (Config::Claims(app, page)) ids.insert(ids.end(), app.id);
    });
  }
  // Most pages are claimed by the same applications as the one before.
  if (!updates_.empty() && *updates_.back().apps == ids) return updates_.back().apps;
  return std::make_shared<const std::set<std::string>>(std::move(ids));
}

void PenRoute::RoutePage(const std::string& page) {
  const PageUpdate update = {page, FindApps(page)};
  if (update.apps->empty()) {
    QUILLPOST_LOG_INFORMATION(
        "Updating Storage's Routing Info: Ink from Pen '%s' with Page Address '%s' was not claimed "
        "by applications.",
        pen_.c_str(), page.c_str());
  } else {
    QUILLPOST_LOG_INFORMATION(
        "Updating Storage's Routing Info: Ink from Pen '%s' with Page Address '%s' is claimed by "
        "%s '%s'.",
        pen_.c_str(), page.c_str(), update.apps->size() == 1 ? "application" : "applications",
        boost::algorithm::join(*update.apps, ", ").c_str());
  }
  if (Storage::SyncPage(pen_, page, update.apps, subscriptions_.undecided())) {
    updates_.push_back(update);
  } else {
    LogFailure(update);
  }
}

void PenRoute::Save() const {
  if (Storage::SaveRoutingInfoOfPages(pen_)) return;
  for (const PageUpdate& update : updates_) LogFailure(update);
}

void PenRoute::LogFailure(const PageUpdate& update) const {
  QUILLPOST_LOG_ERROR(
      "Failed to update Storage's Routing Info about applications ('%s') claim status of Ink "
      "from Pen '%s' with Page Address '%s'.",
      boost::algorithm::join(*update.apps, ", ").c_str(), pen_.c_str(), update.page.c_str());
}

void RoutePen(const std::string& pen, Config::SubscriptionReader& subscriptions,
              StopGracePeriod& grace) {
  QUILLPOST_LOG_INFORMATION("Synchronizing with Storage about Ink from Pen '%s'...", pen.c_str());
  std::set<std::string> pages;
  if (!Storage::GetPageAddresses(pen, pages) || pages.empty()) {
    QUILLPOST_LOG_INFORMATION(
        "Won't synchronize with Storage about Ink from Pen '%s': no data in Storage.", pen.c_str());
    return;
  }
  PenRoute route(pen, subscriptions);
  for (const std::string& page : pages) {
    if (grace.IsOver()) return route.Save();
    Common::RunJob("routing of a page", [&] { route.RoutePage(page); });
    boost::this_thread::yield();  // a package is waited for, a pass is not
  }
  route.Save();
  QUILLPOST_LOG_INFORMATION("Finished synchronizing with Storage about Ink from Pen '%s'.",
                            pen.c_str());
}

}  // namespace

void RouteInk(Config::SubscriptionReader& subscriptions, const EventQueue& queue) {
  QUILLPOST_LOG_INFORMATION(
      "Synchronizing Storage's Ink Routing Info with Application configurations...");
  std::set<std::string> pens;
  if (!Storage::GetKnownPens(pens) || pens.empty()) {
    QUILLPOST_LOG_INFORMATION("Synchronization canceled: no pens in Storage.");
    return;
  }
  StopGracePeriod grace(queue);
  for (const std::string& pen : pens) {
    Common::RunJob("routing of a pen's ink", [&] { RoutePen(pen, subscriptions, grace); });
    if (grace.IsOver()) return;
  }
  QUILLPOST_LOG_INFORMATION(
      "Storage's Storage's Ink Routing Info was synchronized with Application configurations.");
}

}  // namespace TalvoQuillpost
