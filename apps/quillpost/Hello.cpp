#include <TalvoQuillpost/Protocol.h>

#include "Commands.h"
#include "Output.h"
#include "Session.h"

using namespace IPC::Protocol;

int Hello(bool json) {
  const IPC::Client::Reply reply = SayHello();
  if (!reply) return ComplainOf(reply);
  const Json::Value version =
      reply.result.isObject() ? reply.result[Quillpost::Argument::ServerVersion] : Json::Value();
  if (reply.status != Core::Status::Success || !version.isString()) {
    Complain("the service answered '" + Printable(reply.status) + "', without its version");
    return kRefused;
  }
  if (json) {
    Json::Value document;
    document["endpoint"] = Quillpost::GetEndpoint();
    document["version"] = version;
    PrintJson(document);
  } else {
    PrintLine("Quillpost " + Printable(version.asString()) + " is listening at " +
              Quillpost::GetEndpoint());
  }
  return kDone;
}
