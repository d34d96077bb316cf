// Sends ink files to the service, over one connection after the other, and converts what is not
// STF2 on the way. Used by one thread.

#pragma once

#include <IPC/Client.h>

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "InkConverter.h"

enum class SendResult {
  kSuccess,
  kFailed,      // refused, or not converted
  kUnanswered,  // sent, and the service gone before it answered: all of it may be imported, or
                // nothing
  kUnsent,      // there was no service
};

// "Success", "Failed", "Unanswered", "Unsent".
const char* ToText(SendResult result);

class InkSender {
 public:
  // If no service listens, or the connection is lost, it waits for a service, at most `wait` each
  // time; a file that was on its way is then sent again. Without `converter` nothing is converted.
  explicit InkSender(std::chrono::milliseconds wait, const InkConverter* converter = nullptr)
      : wait_(wait), converter_(converter) {}

  // Connects, if it is not connected. kDone, or the exit status after a complaint.
  int Connect();

  // Sends one file and waits for the answer as long as it takes. `reason` says why it was not
  // imported, `on_loss` is called before a complaint about a lost connection. Once the service has
  // gone, every file is kUnsent, without a reason.
  SendResult Send(const boost::filesystem::path& file, std::string& reason,
                  const std::function<void()>& on_loss = nullptr);

 private:
  SendResult SendInk(const boost::filesystem::path& file, std::string& reason,
                     const std::function<void()>& on_loss);

  const std::chrono::milliseconds wait_;
  const InkConverter* const converter_;
  std::unique_ptr<IPC::Client> client_;  // null: not connected
  bool has_gone_ = false;
};
