// A change of an archive in its file, in place. A process that is killed at any moment, a disk that
// fails or fills up, and a power cut leave the old archive or the new one, whole. Knows nothing of
// what the archive holds.
//
// The new bytes are first written behind the old archive, where no reader looks, as a record:
//
//   OLD ARCHIVE " CRC OFFSET HEAD-SIZE HEAD TAIL-SIZE TAIL"
//
// and what the new archive needs beyond the old one's end is filled in, so that no later step needs
// more room on the disk. Then the archive's first bytes are replaced by "redo " and the place of
// the record: this is the moment of the change. Then the new bytes are written to their place, the
// first ones last, and the record is cut off.
//
// The steps are synced one after the other, because a power cut keeps any of the pages that were
// written and not synced, in any order:
//   - the record before the mark: else a mark could lead to bytes that never reached the disk, and
//     the archive's head would be lost;
//   - the mark before the new bytes: else new bytes could stand in an old archive, in which every
//     stroke behind them would have the marks of another;
//   - the new bytes before the head: else the new head could stand before the old bytes;
//   - the head before the end of the record: else the mark could lead to a record that is gone.

#pragma once

#include <boost/system/error_code.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace TalvoQuillpost {
namespace Storage {

// Makes the file's content `head`, then what it holds from there up to `offset`, then `tail`. The
// head has at least 32 bytes, and few enough to lie in one page; `offset` is its end or behind it,
// and lies in the file, which has `size_bytes`. `descriptor` is open for reading and writing. When
// it returns without an error the change survives a power cut; with an error the file reads as
// before, or already as the change makes it.
boost::system::error_code ChangeArchive(int descriptor, std::uint64_t size_bytes,
                                        const std::string& head, std::uint64_t offset,
                                        const std::string& tail);

// The same for an archive that only grows: `tail` replaces its last byte, which ends it, and `head`
// its first ones, without a record. The new bytes stand behind the old archive until the head makes
// them part of it, so a killed process leaves the old archive or the new one. Not synced: a power
// cut may leave a head without its tail, which reads as damaged. It can't give a stroke the marks
// of another, since nothing moves. If the file was cut off before, its end must
// have been synced: else bytes of strokes that are gone could follow the new head.
boost::system::error_code ExtendArchive(int descriptor, std::uint64_t size_bytes,
                                        const std::string& head, const std::string& tail);

// The archive in a file that holds `bytes`: with the change that was begun and not finished, if
// there is one; else, and if its record is damaged, the bytes as they are.
std::string FinishChange(const std::string& bytes);

// Finishes the change that a killed process has left in the file, which holds `bytes`. Needs no
// more room on the disk. Does nothing if there is no such change.
boost::system::error_code FinishChangeInFile(int descriptor, const std::string& bytes);

}  // namespace Storage
}  // namespace TalvoQuillpost
