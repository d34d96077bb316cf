#include "service/Service.h"

#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>

#include "common/Assert.h"
#include "common/Common.h"
#include "common/Job.h"
#include "common/Log.h"
#include "service/Client.h"
#include "storage/FilesStorage.h"

namespace TalvoQuillpost {

typedef boost::lock_guard<boost::mutex> Lock;

Service::Service() {}

Service::~Service() {}

bool Service::Start() {
  QUILLPOST_LOG_TRACE("Starting Quillpost...");
  if (server_queue_.IsStopped()) {
    QUILLPOST_LOG_ERROR("Failed to start: a service that was stopped is not started again.");
    return false;
  }
  try {
    if (!Storage::Initialize()) {
      QUILLPOST_LOG_ERROR("Failed to initialize Storage.");
      Stop();
      return false;
    }
    if (!StartServer()) {
      QUILLPOST_LOG_ERROR("Failed to start IPC Server.");
      Stop();
      return false;
    }
    StartWork();
  } catch (...) {
    Stop();  // a thread that is forgotten would outlive the service
    throw;
  }
  QUILLPOST_LOG_INFORMATION("Quillpost started.");
  return true;
}

bool Service::StartServer() {
  QUILLPOST_LOG_TRACE("Starting IPC Server...");
  server_thread_ = boost::thread(&Service::ServerWorker, this);
  const auto on_disconnected = [this](Connection connection,
                                      const boost::system::error_code& error) {
    OnClientDisconnected(connection, error);
  };
  const auto on_request = [this](Connection connection, const std::string& name,
                                 const Json::Value& params, IPC::Server::Reply reply) {
    OnClientRequest(connection, name, params, reply);
  };
  server_ = IPC::Server::CreateEx(server_queue_.io_service(), IPC::Server::OnConnected(),
                                  on_disconnected, on_request, "Quillpost:Service");
  QUILLPOST_ASSERT(server_ != nullptr);
  // What a killed service has left in the scratch directory is removed once the endpoint is ours,
  // and before a client can be made whose packages lie in the same place.
  const Lock lock(clients_mutex_);
  if (!server_->Listen(IPC::Protocol::Quillpost::GetEndpoint())) return false;
  Common::RemoveLeftoverTempSTF2Files();
  return true;
}

void Service::StartWork() {
  QUILLPOST_LOG_TRACE("Starting Worker & Importer threads...");
  // Queued before the threads run, so that no import that is already waiting comes before them.
  worker_queue_.Post("clean-up of the store", [this] { CleanupStorage(); });
  RouteAndDeliverInkAsync();
  watch_ = std::make_unique<Config::SubscriptionWatch>(server_queue_.io_service(),
                                                       [this] { RouteAndDeliverInkAsync(); });
  importer_thread_ = boost::thread(&Service::Importer, this);
  worker_thread_ = boost::thread(&Service::Worker, this);
}

void Service::Stop() {
  QUILLPOST_LOG_TRACE("Stopping Quillpost...");
  // A delivery pass that goes on beside the end of all connections would launch the applications
  // that have just been disconnected; it looks at its queue before it does.
  if (worker_thread_.joinable()) worker_queue_.Stop();
  if (server_) {
    server_->Stop();
    server_.reset();
  }
  QUILLPOST_LOG_TRACE("Stopped Quillpost IPC Server.");
  server_queue_.StopAndJoin(server_thread_);
  watch_.reset();
  QUILLPOST_LOG_TRACE("Stopped Quillpost server thread.");
  // The worker before the importer: what a last import queues for it is dropped.
  worker_queue_.StopAndJoin(worker_thread_);
  QUILLPOST_LOG_TRACE("Stopped Quillpost Worker thread.");
  importer_queue_.StopAndJoin(importer_thread_);
  QUILLPOST_LOG_TRACE("Stopped Quillpost Importer thread.");
  Storage::Cleanup();
  QUILLPOST_LOG_INFORMATION("Quillpost stopped.");
}

void Service::ServerWorker() {
  server_queue_.Run();
}

void Service::Importer() {
  importer_queue_.Run();
  CommitImports();  // the queue was stopped before it came to that
}

void Service::Worker() {
  worker_queue_.Run();
}

void Service::RouteAndDeliverInkAsync() {
  if (is_pass_queued_.exchange(true)) return;
  try {
    worker_queue_.Post("routing pass", [this] {
      // From here on a request may come too late for this pass.
      is_pass_queued_ = false;
      RouteInk();
    });
  } catch (...) {
    is_pass_queued_ = false;
    throw;
  }
  worker_queue_.Post("delivery pass", [this] { DeliverInk(); });
}

void Service::OnClientDisconnected(Connection connection, const boost::system::error_code&) {
  const Lock lock(clients_mutex_);
  const auto entry = FindClient(connection);
  if (entry == clients_.end()) return;
  const boost::shared_ptr<Client> client = entry->second;
  QUILLPOST_LOG_WARNING("Client '%s' crashed.", client->application_id.c_str());
  // A package file that can't be deleted does not keep the client.
  Common::RunJob("rollback of a client's packages", [&] { RollbackInkDelivery(client); });
  RemoveClient(entry);
}

Service::ClientMap::iterator Service::FindClient(const Connection& connection) {
  auto entry = clients_.begin();
  for (; entry != clients_.end(); ++entry) {
    QUILLPOST_ASSERT(entry->second != nullptr);
    if (entry->second->connection == connection) break;
  }
  return entry;
}

void Service::RemoveClient(ClientMap::iterator entry) {
  Client& client = *entry->second;
  {
    const Lock lock(client.packages_mutex);
    client.ended = true;
  }
  client.delivery_queue.Stop();
  long_exports_.Wake();
  client.StopDelivery();
  client.DropPackages();
  client.connection.reset();
  clients_.erase(entry);
}

Service::Client::Client() : delivery_thread(&Client::Delivery, this) {}

Service::Client::~Client() {
  QUILLPOST_ASSERT(false == delivery_thread.joinable());
}

bool Service::Client::CanMeanPackage(const std::string& pen, std::uint64_t confirmation_end) {
  const Lock lock(packages_mutex);
  const auto package = packages.find(pen);
  return package != packages.end() && confirmation_end > package->second.sent_before_bytes;
}

void Service::Client::DropPackages() {
  const Lock lock(packages_mutex);
  for (const auto& [pen, package] : packages) {
    boost::system::error_code ignored;
    boost::filesystem::remove(package.path, ignored);
  }
  packages.clear();
}

void Service::Client::Delivery() {
  delivery_queue.Run();
}

void Service::Client::StopDelivery() {
  delivery_queue.StopAndJoin(delivery_thread);
}

}  // namespace TalvoQuillpost
