// The part of the message protocol that all users of the IPC library share.

#pragma once

namespace IPC {
namespace Protocol {
namespace Core {
namespace Status {

inline constexpr char Success[] = "Success";
inline constexpr char Failed[] = "Failed";
inline constexpr char NotSupported[] = "NotSupported";

}  // namespace Status
}  // namespace Core
}  // namespace Protocol
}  // namespace IPC
