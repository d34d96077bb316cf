// The requests of the service's clients: the dispatcher, which reads their arguments, and what
// becomes of each. All of it runs on the server thread, unless an adapter says otherwise.

#include <TalvoQuillpost/Protocol.h>

#include <limits.h>

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>

#include "common/Identifiers.h"
#include "common/Log.h"
#include "config/FilesConfig.h"
#include "service/Service.h"

namespace TalvoQuillpost {

namespace Argument = IPC::Protocol::Quillpost::Argument;
namespace Command = IPC::Protocol::Quillpost::Command;
namespace CoreStatus = IPC::Protocol::Core::Status;
namespace Status = IPC::Protocol::Quillpost::Status;

typedef boost::lock_guard<boost::mutex> Lock;

namespace {

constexpr char kServerVersion[] = "0.0.0.1-dev";

// The argument of that name, or `absent`. No copies: an argument may be large.
const Json::Value& ArgumentOf(const Json::Value& params, const std::string& name,
                              const Json::Value& absent) {
  if (!params.isObject()) return absent;
  const Json::Value* const value = params.find(name.data(), name.data() + name.size());
  return value ? *value : absent;
}

std::string StringOf(const Json::Value& value) {
  return value.isString() ? value.asString() : std::string();
}

std::set<std::string> StringsOf(const Json::Value& array) {
  std::set<std::string> strings;
  if (!array.isArray()) return strings;
  for (const Json::Value& element : array) {
    if (element.isString()) strings.insert(element.asString());
  }
  return strings;
}

// A path that is too long for the system stays so when cut; the queue of imports need not hold, nor
// the log show, the rest.
std::string PathToImport(const Json::Value& path) {
  return path.asString().substr(0, PATH_MAX);
}

}  // namespace

void Service::OnClientRequest(Connection connection, const std::string& name,
                              const Json::Value& params, IPC::Server::Reply reply) {
  // Runs on the importer thread. Holds the service until the reply has been sent.
  struct ImportSTF2FileAdapter {
    static void Invoke(const boost::shared_ptr<Service>& service, const std::string& path,
                       const IPC::Server::Reply& reply) {
      try {
        service->importer_.Import(path, [service, reply](bool is_stored) {
          reply(is_stored ? CoreStatus::Success : CoreStatus::Failed, Json::Value());
        });
      } catch (...) {
        reply(CoreStatus::Failed, Json::Value());  // out of memory; it may have been answered
        throw;
      }
    }
  };

  static const Json::Value kNone;
  static const Json::Value kEmpty("");
  Json::Value result;
  if (name == Command::Hello) {
    result[Argument::ServerVersion] = kServerVersion;
    reply(CoreStatus::Success, result);
  } else if (name == Command::EnableNotifications || name == Command::DisableNotifications) {
    std::string status = CoreStatus::Failed;
    const Json::Value& id = ArgumentOf(params, Argument::ApplicationID, kEmpty);
    if (id.isString()) {
      status = OnEnableDisableNotifications(connection, name == Command::EnableNotifications,
                                            id.asString());
    }
    reply(status, result);
  } else if (name == Command::ConfirmInkPackageDelivery) {
    const Json::Value& flag = ArgumentOf(params, Argument::InkPackageDelivered, kNone);
    const bool delivered = flag.isBool() && flag.asBool();
    std::set<std::string> ignored;
    if (delivered) ignored = StringsOf(ArgumentOf(params, Argument::IgnoredPageAddresses, kNone));
    const std::string pen = StringOf(ArgumentOf(params, Argument::InkPackagePen, kNone));
    reply(OnConfirmInkPackageDelivery(connection, pen, delivered, ignored, reply), result);
  } else if (name == Command::ImportSTF2File) {
    const Json::Value& path = ArgumentOf(params, Argument::InkPackagePath, kNone);
    if (!path.isString()) {
      reply(CoreStatus::Failed, result);
      return;
    }
    importer_queue_.Post("import",
                         [service = shared_from_this(), file = PathToImport(path), reply] {
                           ImportSTF2FileAdapter::Invoke(service, file, reply);
                         });
  } else {
    reply(CoreStatus::NotSupported, result);
  }
}

std::string Service::OnEnableDisableNotifications(Connection connection, bool enable,
                                                  const std::string& application_id) {
  if (application_id.empty() || !Common::IsAppIDValid(application_id) ||
      !Config::IsRegistered(application_id)) {
    return Status::NotRegistered;
  }
  const Lock lock(clients_mutex_);
  const auto entry = clients_.find(application_id);
  if (!enable) {
    if (entry == clients_.end()) return Status::NotRegistered;
    QUILLPOST_LOG_INFORMATION("Client '%s' disconnected.", application_id.c_str());
    RemoveClient(entry);
    return CoreStatus::Success;
  }
  if (entry != clients_.end()) return Status::AlreadyConnected;
  QUILLPOST_LOG_INFORMATION("Client '%s' connected.", application_id.c_str());
  const auto client = boost::make_shared<Client>();
  try {
    client->application_id = application_id;
    client->connection = connection;
    clients_[application_id] = client;
    client->delivery_queue.Post("delivery to a new client",
                                [self = shared_from_this(), client] { self->DeliverInk(client); });
  } catch (...) {
    client->StopDelivery();
    clients_.erase(application_id);
    throw;
  }
  return CoreStatus::Success;
}

std::string Service::OnConfirmInkPackageDelivery(Connection connection, const std::string& pen,
                                                 bool delivered,
                                                 const std::set<std::string>& ignored,
                                                 const IPC::Server::Reply& held) {
  if (pen.empty()) return CoreStatus::Failed;
  const Lock lock(clients_mutex_);
  const auto entry = FindClient(connection);
  // A confirmation that belongs to no client is accepted and has no effect.
  if (entry == clients_.end()) return CoreStatus::Success;
  const boost::shared_ptr<Client> client = entry->second;
  // A confirmation is for the package that was in flight when it was sent; another one may be in
  // flight by the time this job runs.
  const std::uint64_t begin = connection ? connection->BeginOfRequest() : 0;
  client->delivery_queue.Post("confirmation of a package", [self = shared_from_this(), client,
                                                            begin, pen, delivered, ignored, held] {
    if (client->IsForPackage(pen, begin)) self->ConfirmInkDelivery(client, pen, delivered, ignored);
  });
  return CoreStatus::Success;
}

}  // namespace TalvoQuillpost
