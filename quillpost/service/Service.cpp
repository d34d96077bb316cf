#include "service/Service.h"

#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <chrono>

#include "common/Assert.h"
#include "common/Job.h"
#include "common/Log.h"
#include "common/ScratchFile.h"
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
  importer_.Commit();  // the queue was stopped before it came to that
}

void Service::Worker() {
  worker_queue_.Run();
}

void Service::RouteAndDeliverInkAsync() {
  if (is_pass_queued_.exchange(true)) return;
  try {
    worker_queue_.Post("routing and delivery pass", [this] {
      // From here on a request may come too late for this pass.
      is_pass_queued_ = false;
      Common::RunJob("routing pass", [this] { RouteInk(); });
      if (!worker_queue_.IsStopped()) Common::RunJob("delivery pass", [this] { DeliverInk(); });
    });
  } catch (...) {
    is_pass_queued_ = false;
    throw;
  }
}

void Service::DeliverInk() {
  QUILLPOST_LOG_INFORMATION("Delivering Ink to applications...");
  if (!subscriptions_.Read()) {
    QUILLPOST_LOG_ERROR("Ink delivery failed: can't get list of applications.");
    return;
  }
  std::vector<Config::App> applications;
  subscriptions_.ForEach([&](const Config::App& app) { applications.push_back(app); });
  if (applications.empty()) {
    QUILLPOST_LOG_TRACE("Ink delivery can't be performed: no apps registered.");
    return;
  }
  std::set<std::string> pens;
  if (!Storage::GetKnownPens(pens)) {
    QUILLPOST_LOG_ERROR(
        "Ink delivery can't be performed: can't get list of pen serials from storage.");
    return;
  }
  if (pens.empty()) {
    QUILLPOST_LOG_TRACE("Ink delivery can't be performed: no data in storage.");
    return;
  }
  for (const Config::App& application : applications) DeliverInk(application, pens);
  QUILLPOST_LOG_INFORMATION("Ink Delivery finished.");
}

void Service::DeliverInk(const Config::App& application, const std::set<std::string>& pens) {
  for (const std::string& pen : pens) {
    if (!Storage::HasUndeliveredStrokes(pen, application.id)) continue;
    const Lock lock(clients_mutex_);
    const auto entry = clients_.find(application.id);
    if (entry == clients_.end()) {
      if (worker_queue_.IsStopped()) return;  // its client went with the end of the service
      if (IsStarting(application.id)) return;
      QUILLPOST_LOG_INFORMATION(
          "We have some Ink to Deliver to application '%s'; we'll launch it ('%s').",
          application.id.c_str(), application.path.c_str());
      launched_[application.id] = TalvoOS::Actions::StartApplication(application.path);
      return;  // once launched, it enables notifications and is offered the ink of all pens
    }
    const boost::shared_ptr<Client> client = entry->second;
    client->delivery_queue.Post(
        "delivery of a pen's ink",
        [self = shared_from_this(), client, pen] { self->DeliverInk(client, pen); });
  }
}

// Whether the application was launched a moment ago and may still be on its way to its connection.
// Another copy of it would find the first one connected, and only cost.
bool Service::IsStarting(const std::string& application_id) const {
  constexpr std::chrono::seconds kTimeToConnect(10);
  const auto program = launched_.find(application_id);
  if (program == launched_.end() || !program->second.IsRunning()) return false;
  return std::chrono::steady_clock::now() - program->second.start_time() < kTimeToConnect;
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
  delivery_.Stop(client);
  client.connection.reset();
  clients_.erase(entry);
}

}  // namespace TalvoQuillpost
