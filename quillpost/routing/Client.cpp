#include "routing/Client.h"

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>

#include "common/Assert.h"

namespace TalvoQuillpost {

typedef boost::lock_guard<boost::mutex> Lock;

Client::Client() : delivery_thread(&Client::Delivery, this) {}

Client::~Client() {
  QUILLPOST_ASSERT(false == delivery_thread.joinable());
}

bool Client::CanMeanPackage(const std::string& pen, std::uint64_t confirmation_end) {
  const Lock lock(packages_mutex);
  const auto package = packages.find(pen);
  return package != packages.end() && confirmation_end > package->second.sent_before_bytes;
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
