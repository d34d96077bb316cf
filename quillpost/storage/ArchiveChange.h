// A change of an archive in its file, in place, of which a process that is killed meanwhile leaves
// the old archive or the new one, whole. Not a journal of the disk: a machine that loses power may
// lose either. Knows nothing of what the archive holds.
//
// The new bytes are first written behind the old archive, where nobody reads them, as a record:
//
//   OLD ARCHIVE " OFFSET HEAD-SIZE HEAD TAIL-SIZE TAIL"
//
// Then the archive's first bytes are replaced by "redo " and where the record begins; this is the
// moment at which the change is made. Then the new bytes are written to their place, the first ones
// last, and the record is cut off.

#pragma once

#include <boost/system/error_code.hpp>
#include <cstdint>
#include <string>

namespace TalvoQuillpost {
namespace Storage {

// Makes the file's content `head`, then what it holds from there up to `offset`, then `tail`. The
// head has at least 32 bytes, and few enough to lie in one page; `offset` is its end or lies behind
// it, in the file. The file has `size_bytes`, which may be fewer than the head's where `offset` is
// its end. Where it fails before the change is made, for want of room, the file is as it was.
boost::system::error_code ChangeArchive(int descriptor, std::uint64_t size_bytes,
                                        const std::string& head, std::uint64_t offset,
                                        const std::string& tail);

// The archive in a file that holds `bytes`: with the change that was made and not finished, where
// there is one; otherwise, and where its record is damaged, the bytes as they are.
std::string FinishChange(const std::string& bytes);

}  // namespace Storage
}  // namespace TalvoQuillpost
