#include "routing/Delivery.h"

#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <exception>
#include <utility>
#include <vector>

#include "common/Assert.h"
#include "common/File.h"
#include "common/Identifiers.h"
#include "common/Job.h"
#include "common/Log.h"
#include "common/ScratchFile.h"
#include "routing/Cleanup.h"
#include "routing/MergedPackage.h"
#include "storage/FilesStorage.h"
#include "storage/StrokeCopy.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {

namespace Argument = IPC::Protocol::Quillpost::Argument;

typedef boost::lock_guard<boost::mutex> Lock;

namespace {

unsigned long Count(const std::set<Storage::StrokeID>& strokes) {
  return static_cast<unsigned long>(strokes.size());
}

Json::Value ToParameters(const Client::InkPackage& package, InkType type) {
  namespace Type = IPC::Protocol::Quillpost::InkPackageType;
  Json::Value pages(Json::arrayValue);
  for (const std::string& page : package.page_addresses) pages.append(page);
  Json::Value params(Json::objectValue);
  params[Argument::InkPackagePath] = package.path.string();
  params[Argument::InkPackagePen] = package.pen;
  params[Argument::InkPackagePages] = pages;
  params[Argument::InkPackageType] =
      type == InkType::kSTF2Encrypted ? Type::STF2Encrypted : Type::STF2;
  return params;
}

// While the application looks at the package before it, and behind all that is to be done for it
// already: it may have confirmed that package by then.
void MakeReady(Client& client, const std::string& pen, const Storage::StrokeID& offered,
               const Storage::StrokeID& next) {
  {
    const Lock lock(client.packages_mutex);
    const auto package = client.packages.find(pen);
    if (package == client.packages.end() || package->second.strokes.count(offered) == 0) return;
  }
  const auto is_wanted = [&client] { return !client.delivery_queue.IsStopped(); };
  auto copy = Storage::StrokeCopy::Make(pen, next, is_wanted);
  if (copy) client.ready[pen] = std::move(copy);
}

}  // namespace

void Delivery::DeliverInk(boost::shared_ptr<Client> client) {
  QUILLPOST_ASSERT(client != nullptr);
  std::set<std::string> pens;
  if (!Storage::GetKnownPens(pens)) return;
  for (const std::string& pen : pens) {
    Common::RunJob("delivery of a pen's ink", [&] { DeliverInk(client, pen); });
  }
}

void Delivery::DeliverInk(boost::shared_ptr<Client> client, const std::string& pen) {
  QUILLPOST_ASSERT(client != nullptr);
  QUILLPOST_ASSERT(client->delivery_thread.get_id() == boost::this_thread::get_id());
  {
    const Lock lock(client->packages_mutex);
    if (client->ended || client->packages.count(pen) > 0) return;
  }
  std::vector<Storage::StrokeID> waiting;
  const std::size_t undelivered =
      Storage::FindUndeliveredStrokes(pen, client->application_id, 2, waiting);
  if (waiting.empty()) {
    client->ready.erase(pen);
    return;
  }
  // One stroke file at a time: the next follows the confirmation of this one.
  const std::set<Storage::StrokeID> strokes = {waiting.front()};
  const InkType type = waiting.front().page_address == Common::kEncryptedPageAddress
                           ? InkType::kSTF2Encrypted
                           : InkType::kSTF2;
  QUILLPOST_LOG_INFORMATION("Delivering %lu/%lu Ink items to application '%s'...", Count(strokes),
                            static_cast<unsigned long>(undelivered),
                            client->application_id.c_str());
  DeliverInk(client, pen, type, strokes);
  if (waiting.size() < 2) return;
  client->delivery_queue.Post("preparation of a package", [client, pen, waiting] {
    MakeReady(*client, pen, waiting[0], waiting[1]);
  });
}

void Delivery::DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                          const std::set<Storage::StrokeID>& strokes) {
  QUILLPOST_ASSERT(client != nullptr);
  if (strokes.empty()) return;
  const auto ready = client->ready.extract(pen);  // gone afterwards, whether it serves or not
  Common::ScratchFile file;
  std::set<Storage::StrokeID> packed = strokes;
  if (strokes.size() == 1) {
    // Ends early when stopped: the server thread joins this one, and serves nobody until then.
    LongExports::Export turn(long_exports_,
                             [&client] { return client->delivery_queue.IsStopped(); });
    if (!Storage::ExportStroke(
            pen, *strokes.begin(), file.out(), [&turn] { return turn.MayGoOn(); },
            ready.empty() ? nullptr : ready.mapped().get())) {
      return;
    }
  } else if (!MergeStrokes(pen, strokes, file, packed)) {
    return;
  }
  Common::SetPermissions(file.path());
  // The next function owns the file.
  const fs::path path = file.path();
  file.HandOver();
  DeliverInk(client, pen, type, packed, path);
}

void Delivery::DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                          const std::set<Storage::StrokeID>& strokes, const fs::path& file) {
  QUILLPOST_ASSERT(client != nullptr);
  Common::ScratchFile unannounced(file);
  Client::InkPackage package;
  package.pen = pen;
  package.strokes = strokes;
  for (const Storage::StrokeID& stroke : strokes) {
    package.page_addresses.insert(stroke.page_address);
  }
  package.path = file;
  {
    const Lock lock(client->packages_mutex);
    if (client->ended) return;  // its rollback has run and would not delete this file
    if (!client->packages.emplace(pen, package).second) {
      QUILLPOST_LOG_WARNING(
          "We won't any more Ink to application '%s', because it has not confirmed previous "
          "package.",
          client->application_id.c_str());
      return;
    }
  }
  // Recorded before it is sent: the confirmation may come immediately. It runs later on this
  // thread, so it sees the sent_by_peer that is set below.
  std::uint64_t sent_by_peer = 0;
  bool sent = false;
  Common::RunJob("announcement of a package", [&] {
    sent = !client->connection || client->connection->SendNotification(
                                      IPC::Protocol::Quillpost::Notification::NewInkPackage,
                                      ToParameters(package, type), &sent_by_peer);
  });
  const Lock lock(client->packages_mutex);
  const auto entry = client->packages.find(pen);
  if (!sent) {
    if (entry != client->packages.end()) client->packages.erase(entry);
    return;
  }
  if (entry != client->packages.end()) entry->second.sent_by_peer = sent_by_peer;
  unannounced.HandOver();
}

void Delivery::ConfirmInkDelivery(boost::shared_ptr<Client> client, const std::string& pen,
                                  bool delivered, const std::set<std::string>& ignored) {
  QUILLPOST_ASSERT(client != nullptr);
  QUILLPOST_ASSERT(client->delivery_thread.get_id() == boost::this_thread::get_id());
  Client::InkPackage package;
  {
    const Lock lock(client->packages_mutex);
    const auto entry = client->packages.find(pen);
    if (entry == client->packages.end()) return;
    package = entry->second;  // a rollback may erase the entry beside us
  }
  // Before the marks: if that throws, none is set, and the package stays in flight.
  Common::RemoveFile(package.path);
  if (delivered) {
    std::set<Storage::StrokeID> processed;
    for (const Storage::StrokeID& stroke : package.strokes) {
      if (ignored.count(stroke.page_address) == 0) processed.insert(stroke);
    }
    Storage::SetRoutingInfoMarkers(pen, client->application_id, package.strokes, processed);
  }
  QUILLPOST_LOG_INFORMATION("Delivered %lu Ink items to application '%s'.", Count(package.strokes),
                            client->application_id.c_str());
  {
    const Lock lock(client->packages_mutex);
    client->packages.erase(pen);
  }
  if (Storage::HasUndeliveredStrokes(pen, client->application_id)) {
    DeliverInk(client, pen);
  } else {
    client->ready.erase(pen);
    Common::RunJob("clean-up of a pen's ink", [&] { CleanupStorage(pen); });
  }
}

void Delivery::RollbackInkDelivery(boost::shared_ptr<Client> client) {
  QUILLPOST_ASSERT(client != nullptr);
  const Lock lock(client->packages_mutex);
  client->ended = true;
  std::exception_ptr failure;  // the first; the other files are deleted all the same
  for (const auto& [pen, package] : client->packages) {
    try {
      fs::remove(package.path);
    } catch (const fs::filesystem_error&) {
      if (!failure) failure = std::current_exception();
      continue;
    }
    QUILLPOST_LOG_INFORMATION(
        "Delivering %lu Ink items from Pen '%s' to application '%s' canceled.",
        Count(package.strokes), pen.c_str(), client->application_id.c_str());
  }
  client->packages.clear();
  if (failure) std::rethrow_exception(failure);
}

// First `ended`: no package is recorded after DropPackages. The queue is stopped before waiting
// exports are woken, so that they see it.
void Delivery::Stop(Client& client) {
  {
    const Lock lock(client.packages_mutex);
    client.ended = true;
  }
  client.delivery_queue.Stop();
  long_exports_.Wake();
  client.StopDelivery();
  client.DropPackages();
}

}  // namespace TalvoQuillpost
