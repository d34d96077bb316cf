#include "Session.h"

#include <TalvoQuillpost/Protocol.h>

#include "Commands.h"
#include "Output.h"

int ConnectToService(IPC::Client& client) {
  const IPC::Client::Outcome outcome = client.Connect(IPC::Protocol::Quillpost::GetEndpoint());
  return outcome ? kDone : ComplainOf(outcome);
}

int ComplainOf(const IPC::Client::Outcome& outcome) {
  if (outcome.error == IPC::Client::Error::kNoService) {
    Complain("no service is listening at " + IPC::Protocol::Quillpost::GetEndpoint() +
             "; start it with quillpostd");
    return kNoService;
  }
  Complain(outcome.message);
  return outcome.error == IPC::Client::Error::kClosed ? kNoService : kRefused;
}
