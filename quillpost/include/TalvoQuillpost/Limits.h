// What the service accepts from its clients, beside the limits of the wire (docs/ipc-protocol.md).

#pragma once

#include <cstdint>

namespace TalvoQuillpost {

// The largest file that ImportSTF2File takes, and so the largest stroke file.
inline constexpr std::uint64_t kMaxImportMebibytes = 100;
inline constexpr std::uint64_t kMaxImportBytes = kMaxImportMebibytes << 20;

}  // namespace TalvoQuillpost
