// The messages between the ink service and its clients: where they meet, and the names of
// requests, notification, arguments and statuses. docs/ipc-protocol.md tells how they travel.

#pragma once

#include <unistd.h>

#include <IPC/Protocol.h>
#include <TalvoOS/Root.h>
#include <string>

namespace IPC {
namespace Protocol {
namespace Quillpost {

// Requests, sent by a client.
namespace Command {
inline constexpr char Hello[] = "Hello";
inline constexpr char EnableNotifications[] = "EnableNotifications";
inline constexpr char DisableNotifications[] = "DisableNotifications";
inline constexpr char ConfirmInkPackageDelivery[] = "ConfirmInkPackageDelivery";
inline constexpr char ImportSTF2File[] = "ImportSTF2File";
}  // namespace Command

// Sent by the service; a client answers it with ConfirmInkPackageDelivery.
namespace Notification {
inline constexpr char NewInkPackage[] = "NewInkPackage";
}  // namespace Notification

// Keys of the JSON objects.
namespace Argument {
inline constexpr char ApplicationID[] = "ApplicationID";                // string
inline constexpr char ServerVersion[] = "ServerVersion";                // string
inline constexpr char InkPackagePath[] = "InkPackagePath";              // string, a path
inline constexpr char InkPackagePen[] = "InkPackagePen";                // string, a pen serial
inline constexpr char InkPackageDelivered[] = "InkPackageDelivered";    // bool
inline constexpr char InkPackageType[] = "InkPackageType";              // string, see below
inline constexpr char InkPackagePages[] = "InkPackagePages";            // array of page addresses
inline constexpr char IgnoredPageAddresses[] = "IgnoredPageAddresses";  // array of page addresses
}  // namespace Argument

namespace InkPackageType {
inline constexpr char STF2[] = "STF2";
inline constexpr char STF2Encrypted[] = "STF2Encrypted";
}  // namespace InkPackageType

// Beside those of IPC::Protocol::Core::Status.
namespace Status {
inline constexpr char NotRegistered[] = "NotRegistered";
inline constexpr char AlreadyConnected[] = "AlreadyConnected";
}  // namespace Status

// The path of the socket on which the service of this process's user listens:
// "/var/tmp/com.talvo.quillpost.sock." and the real user ID in decimal, below the root of
// TalvoOS/Root.h.
inline std::string GetEndpoint() {
  return TalvoOS::UnderRoot("/var/tmp/com.talvo.quillpost.sock." + std::to_string(::getuid()))
      .string();
}

}  // namespace Quillpost
}  // namespace Protocol
}  // namespace IPC
