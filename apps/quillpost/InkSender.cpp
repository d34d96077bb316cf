#include "InkSender.h"

#include <TalvoCppUtils/Utf8.h>
#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>

#include "Commands.h"
#include "InkFileCheck.h"
#include "Output.h"
#include "Session.h"

namespace fs = boost::filesystem;
using namespace IPC::Protocol;

namespace {

// Why the service will have refused the file.
std::string ReasonOfRefusal(const fs::path& file) {
  if (!TalvoCppUtils::IsUtf8(file.string())) return "its path is not UTF-8, and can't be sent";
  const InkFileCheck check = CheckInkFile(file);
  if (!check.fault.empty()) return check.fault;
  return "the service refused it; 'journalctl --user -u quillpostd' says why";
}

}  // namespace

const char* ToText(SendResult result) {
  switch (result) {
    case SendResult::kSuccess:
      return "Success";
    case SendResult::kFailed:
      return "Failed";
    case SendResult::kUnanswered:
      return "Unanswered";
    default:
      return "Unsent";
  }
}

int InkSender::Connect() {
  if (client_ != nullptr) return kDone;
  client_ = std::make_unique<IPC::Client>();
  const int status = ConnectToService(*client_, wait_);
  if (status != kDone) client_.reset();
  has_gone_ = status != kDone;
  return status;
}

SendResult InkSender::Send(const fs::path& file, std::string& reason,
                           const std::function<void()>& on_loss) {
  reason.clear();
  if (has_gone_ || Connect() != kDone) return SendResult::kUnsent;
  if (converter_ == nullptr || !InkConverter::IsConvertible(file)) {
    return SendInk(file, reason, on_loss);
  }
  ConvertedInk ink;
  if (!converter_->Convert(file, ink, reason)) return SendResult::kFailed;
  return SendInk(ink.path(), reason, on_loss);
}

SendResult InkSender::SendInk(const fs::path& file, std::string& reason,
                              const std::function<void()>& on_loss) {
  const fs::path path = fs::absolute(file);
  Json::Value params;
  params[Quillpost::Argument::InkPackagePath] = path.string();
  IPC::Client::Reply reply;
  while (!(reply = client_->Request(Quillpost::Command::ImportSTF2File, params,
                                    IPC::Client::Milliseconds(0))) &&
         reply.error == IPC::Client::Error::kClosed) {
    if (on_loss) on_loss();
    Complain(reply.message);
    client_.reset();
    has_gone_ = true;
    // A part of the file may be in the store: what is imported again is there twice, and what is
    // not is lost.
    if (wait_.count() > 0 && Connect() == kDone) continue;
    reason = "no answer; a part of it may have been imported";
    return SendResult::kUnanswered;
  }
  if (reply && reply.status == Core::Status::Success) return SendResult::kSuccess;
  reason = reply ? ReasonOfRefusal(path) : reply.message;
  return SendResult::kFailed;
}
