#include "routing/Client.h"

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>

#include "common/Assert.h"

namespace TalvoQuillpost {

typedef boost::lock_guard<boost::mutex> Lock;

Client::Client() : delivery_thread(&Client::Delivery, this) {}

Client::~Client() {
  // A mistake of the service, which owns its clients: the text names the place where it is at
  // fault.
  if (false == delivery_thread.joinable()) return;
  Common::FailAssertion("false == delivery_thread.joinable()", __func__, "Service.cpp", __LINE__);
}

bool Client::IsForPackage(const std::string& pen, std::uint64_t confirmation_begin) {
  const Lock lock(packages_mutex);
  const auto package = packages.find(pen);
  // Only what the application sent after it could see the announcement.
  return package != packages.end() && confirmation_begin >= package->second.sent_by_peer;
}

void Client::DropPackages() {
  const Lock lock(packages_mutex);
  for (const auto& [pen, package] : packages) {
    boost::system::error_code ignored;
    boost::filesystem::remove(package.path, ignored);
  }
  packages.clear();
}

void Client::Delivery() {
  delivery_queue.Run();
}

void Client::StopDelivery() {
  delivery_queue.StopAndJoin(delivery_thread);
}

}  // namespace TalvoQuillpost
