// The service behind IService: it owns the IPC server, the three long-lived threads with their
// queues, and the map of connected applications. Ink is handled in the folders below:
// import/ (InkImporter), routing/ (the routing pass, clean-up, Delivery). Life, clients and passes
// are in Service.cpp, the requests of clients in Requests.cpp.
//
// Threads, each running one queue and nothing else:
//   server     all callbacks of the IPC server
//   importer   imports, and the answers to their requests
//   worker     clean-up, routing passes, delivery passes
// and one delivery thread for each client (routing/Client.h). Work passes between them only by
// posting a job to the other's queue.
//
// The clients mutex is the outermost lock. While it is held a delivery thread may be joined, so no
// delivery thread ever takes it, nor waits for the server thread.

#pragma once

#include <IPC/Server.h>
#include <TalvoOS/Actions.h>
#include <TalvoQuillpost/IService.h>

#include <atomic>
#include <boost/enable_shared_from_this.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/EventQueue.h"
#include "config/FilesConfig.h"
#include "config/SubscriptionReader.h"
#include "config/SubscriptionWatch.h"
#include "import/InkImporter.h"
#include "routing/Cleanup.h"
#include "routing/Client.h"
#include "routing/Delivery.h"
#include "routing/Routing.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {

// Always owned by a boost::shared_ptr: requests bind it into the work that they hand on.
class Service : public IService, public boost::enable_shared_from_this<Service> {
 public:
  typedef TalvoQuillpost::Client Client;
  typedef TalvoQuillpost::InkType InkType;

  Service();
  ~Service() override;

  bool Start() override;
  void Stop() override;

  // ---- Import, on the importer thread: see import/InkImporter.h.
  bool ImportSTF2File(const boost::filesystem::path& file) {
    return importer_.ImportSTF2File(file);
  }
  bool ImportSTF2RawData(const void* data, unsigned long size) {
    return importer_.ImportSTF2RawData(data, size);
  }
  bool ImportSTF2EncryptedRawData(const void* data, unsigned long size) {
    return importer_.ImportSTF2EncryptedRawData(data, size);
  }
  bool ImportSTF2InkData(InkDataHandle* part, const std::string& pen,
                         const std::string& page_address, unsigned long long first_time,
                         unsigned long long last_time) {
    return importer_.ImportSTF2InkData(part, pen, page_address, first_time, last_time);
  }
  bool GetSTF2InkDataInfo(InkDataHandle* part, std::string& page_address,
                          unsigned long long& first_time, unsigned long long& last_time) {
    return importer_.GetSTF2InkDataInfo(part, page_address, first_time, last_time);
  }

  // ---- Routing and clean-up, on the worker thread: see routing/Routing.h and routing/Cleanup.h.
  void RouteInk() { TalvoQuillpost::RouteInk(subscriptions_, worker_queue_); }
  void CleanupStorage() { TalvoQuillpost::CleanupStorage(worker_queue_); }
  void CleanupStorage(const std::string& pen) { TalvoQuillpost::CleanupStorage(pen); }

  // ---- Delivery.
  // The delivery pass, on the worker thread: hands every application's pending ink to its client's
  // delivery thread, or launches the application.
  void DeliverInk();
  // For one client, on its delivery thread: see routing/Delivery.h.
  void DeliverInk(boost::shared_ptr<Client> client) { delivery_.DeliverInk(client); }
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen) {
    delivery_.DeliverInk(client, pen);
  }
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                  const std::set<Storage::StrokeID>& strokes) {
    delivery_.DeliverInk(client, pen, type, strokes);
  }
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                  const std::set<Storage::StrokeID>& strokes, const boost::filesystem::path& file) {
    delivery_.DeliverInk(client, pen, type, strokes, file);
  }
  void ConfirmInkDelivery(boost::shared_ptr<Client> client, const std::string& pen, bool delivered,
                          const std::set<std::string>& ignored) {
    delivery_.ConfirmInkDelivery(client, pen, delivered, ignored);
  }
  void RollbackInkDelivery(boost::shared_ptr<Client> client) {
    delivery_.RollbackInkDelivery(client);
  }

 private:
  typedef boost::shared_ptr<IPC::Server::Connection> Connection;
  typedef std::map<std::string, boost::shared_ptr<Client>> ClientMap;

  bool StartServer();  // false if the server refuses to listen
  void StartWork();
  // Queues a routing pass and a delivery pass, unless a pass is queued and has not begun. Any
  // thread.
  void RouteAndDeliverInkAsync();

  // The functions of the three threads.
  void ServerWorker();
  void Importer();
  void Worker();

  // Callbacks of the IPC server, and the requests that they hand on; on the server thread.
  void OnClientRequest(Connection connection, const std::string& name, const Json::Value& params,
                       IPC::Server::Reply reply);
  void OnClientDisconnected(Connection connection, const boost::system::error_code& error);
  std::string OnEnableDisableNotifications(Connection connection, bool enable,
                                           const std::string& application_id);
  // Answers as soon as the confirmation is queued. The queued job keeps `held`, a copy of the reply
  // function: so the request counts as unfinished, and the server stops reading a connection with
  // too many.
  std::string OnConfirmInkPackageDelivery(Connection connection, const std::string& pen,
                                          bool delivered, const std::set<std::string>& ignored,
                                          const IPC::Server::Reply& held = IPC::Server::Reply());

  // The delivery pass for one application.
  void DeliverInk(const Config::App& application, const std::set<std::string>& pens);
  bool IsStarting(const std::string& application_id) const;

  // Under the clients mutex. The connection's client with the smallest ID; end() if it has none.
  ClientMap::iterator FindClient(const Connection& connection);
  // Under the clients mutex. The one way out of the map.
  void RemoveClient(ClientMap::iterator entry);

  boost::shared_ptr<IPC::Server> server_;  // set between Start and Stop, by the host's thread
  boost::thread server_thread_;
  EventQueue server_queue_;
  boost::thread importer_thread_;
  EventQueue importer_queue_;
  InkImporter importer_{importer_queue_, [this] { RouteAndDeliverInkAsync(); }};
  boost::thread worker_thread_;
  EventQueue worker_queue_;
  Config::SubscriptionReader subscriptions_;  // belongs to the worker thread
  std::unique_ptr<Config::SubscriptionWatch>
      watch_;                                // on the server thread, between Start and Stop
  std::atomic<bool> is_pass_queued_{false};  // routing and delivery, not begun
  // The programs that were launched last, by application ID; belongs to the worker thread.
  std::map<std::string, TalvoOS::Actions::Program> launched_;
  Delivery delivery_;
  ClientMap clients_;  // by application ID; guarded by clients_mutex_
  boost::mutex clients_mutex_;
};

}  // namespace TalvoQuillpost
