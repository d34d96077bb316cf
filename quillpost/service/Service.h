// The service behind IService: it owns the IPC server, the three long-lived threads with their
// queues, and the map of connected applications. Its operations stand where their subject is:
// life and clients in Service.cpp, requests in IPC.cpp, imports in import/, the routing pass,
// clean-up and delivery in routing/.
//
// Threads, each running one queue and nothing else:
//   server     all callbacks of the IPC server
//   importer   imports, and the answers to their requests
//   worker     clean-up, routing passes, delivery passes
// and one delivery thread for each client (Client.h). Work passes between them only by posting a
// job to the other's queue.
//
// The clients mutex is the outermost lock. While it is held a delivery thread may be joined, so no
// delivery thread ever takes it, nor waits for the server thread.

#pragma once

#include <IPC/Server.h>
#include <Stf2.h>
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

#include "config/FilesConfig.h"
#include "config/SubscriptionReader.h"
#include "config/SubscriptionWatch.h"
#include "import/ImportGroup.h"
#include "routing/LongExports.h"
#include "service/EventQueue.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {

// Always owned by a boost::shared_ptr: requests bind it into the work that they hand on.
class Service : public IService, public boost::enable_shared_from_this<Service> {
 public:
  struct Client;

  enum class InkType { kSTF2 = 0, kSTF2Encrypted = 1 };

  Service();
  ~Service() override;

  bool Start() override;
  void Stop() override;

  // ---- Import; on the importer thread. Nothing throws for bad data: false, with the log's reason.
  // True: all strokes are in the store and survive a power cut.
  bool ImportSTF2File(const boost::filesystem::path& file);
  // The same, committed together with the imports that are queued behind it. `done` is called on
  // the importer thread after the commit, in the order of the calls.
  void BeginImport(const boost::filesystem::path& file, const ImportGroup::Done& done);
  bool ImportSTF2RawData(const void* data, unsigned long size);
  bool ImportSTF2EncryptedRawData(const void* data, unsigned long size);
  // The page address of a part, and the times of its first and its last timed stroke.
  bool GetSTF2InkDataInfo(InkDataHandle* part, std::string& page_address,
                          unsigned long long& first_time, unsigned long long& last_time);
  bool ImportSTF2InkData(InkDataHandle* part, const std::string& pen,
                         const std::string& page_address, unsigned long long first_time,
                         unsigned long long last_time);

  // ---- Routing and clean-up; on the worker thread.
  // Brings the routing info of all stored ink in line with the subscriptions.
  void RouteInk();
  // Removes processed strokes, of one pen or of all.
  void CleanupStorage();
  void CleanupStorage(const std::string& pen);  // also on delivery threads

  // ---- Delivery.
  // The delivery pass, on the worker thread: hands every application's pending ink to its client's
  // delivery thread, or launches the application.
  void DeliverInk();
  // On the client's delivery thread: offers the pending ink of every pen; offers the next package
  // of one pen; builds the package file; records and announces the package.
  void DeliverInk(boost::shared_ptr<Client> client);
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen);
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                  const std::set<Storage::StrokeID>& strokes);
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                  const std::set<Storage::StrokeID>& strokes, const boost::filesystem::path& file);
  // On the client's delivery thread: completes the package of one pen. Throws, before any mark is
  // set, where the package file can't be deleted.
  void ConfirmInkDelivery(boost::shared_ptr<Client> client, const std::string& pen, bool delivered,
                          const std::set<std::string>& ignored);
  // On the server thread, beside the delivery thread: drops the client's packages, and refuses new
  // ones. Throws where a package file can't be deleted.
  void RollbackInkDelivery(boost::shared_ptr<Client> client);

 private:
  typedef boost::shared_ptr<IPC::Server::Connection> Connection;
  typedef std::map<std::string, boost::shared_ptr<Client>> ClientMap;

  struct ImportUnderWay {
    const boost::filesystem::path& file;
    Storage::NewStrokes& strokes;
  };

  bool StartServer();  // false where the server refuses to listen
  void StartWork();
  // Queues a routing pass and a delivery pass, unless both are queued and have not begun. Any
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
  std::string OnConfirmInkPackageDelivery(Connection connection, const std::string& pen,
                                          bool delivered, const std::set<std::string>& ignored);
  // The same. A confirmation is answered when it is queued; `held`, a copy of its reply function,
  // goes through the queue with it, so that the connection is not read on while too many wait
  // there.
  std::string QueueConfirmation(const Connection& connection, const std::string& pen,
                                bool delivered, const std::set<std::string>& ignored,
                                const IPC::Server::Reply& held);

  void CommitImports();
  void ReadImport(const boost::filesystem::path& file, ImportGroup& group,
                  const ImportGroup::Done& done);
  bool ReadSTF2File(const boost::filesystem::path& file, Storage::NewStrokes& strokes);
  bool StoreStroke(const std::string& pen, const Storage::StrokeID& id, const void* data,
                   std::size_t size_bytes);

  // The delivery pass for one application.
  void DeliverInk(const Config::App& application, const std::set<std::string>& pens);
  bool IsStarting(const std::string& application_id) const;

  // Under the clients mutex. The first client of the connection in key order, or the end.
  ClientMap::iterator FindClient(const Connection& connection);
  // Under the clients mutex. The one way out of the map.
  void RemoveClient(ClientMap::iterator entry);

  boost::shared_ptr<IPC::Server> server_;  // set between Start and Stop, by the host's thread
  boost::thread server_thread_;
  EventQueue server_queue_;
  boost::thread importer_thread_;
  EventQueue importer_queue_;
  ImportGroup imports_;                  // read and not committed; belongs to the importer thread
  std::atomic<int> waiting_imports_{0};  // queued, and not begun
  const ImportUnderWay* import_ = nullptr;  // being read; belongs to the importer thread
  boost::thread worker_thread_;
  EventQueue worker_queue_;
  Config::SubscriptionReader subscriptions_;  // belongs to the worker thread
  std::unique_ptr<Config::SubscriptionWatch>
      watch_;                                // on the server thread, between Start and Stop
  std::atomic<bool> is_pass_queued_{false};  // routing and delivery, not begun
  // The programs that were launched last, by application ID; belongs to the worker thread.
  std::map<std::string, TalvoOS::Actions::Program> launched_;
  LongExports long_exports_;
  ClientMap clients_;  // by application ID; guarded by clients_mutex_
  boost::mutex clients_mutex_;
};

}  // namespace TalvoQuillpost
