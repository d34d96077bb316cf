// The bytes of RoutingInfo.txt: a text archive of one pen's routing info, from its table and back.
// Not the file itself, which RoutingInfoFile.h owns.
//
// The archive, as the archive library writes it:
//
//   22 serialization::archive 18 0 0 1 0 0 0 0 0 7 1.2.3.4 2 s1 4 stf2 0 0 1 0 0 0 7 app.one 0 0 1
//   0
//   \________ header _______/ \_/ \_/           \_______________/    |        \_______/     \_/
//                          class  count          page, name, ext   claims   application    marks
//
// Each class is introduced by " 0 0" in front of its first object in the file: the table and its
// pairs, a stroke's ID, a claim list and its pairs, and marks. So the bytes of a stroke depend on
// whether it is the first one, and the first one with a claim; on nothing else before it.

#pragma once

#include <string>

#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// Writes strokes one after the other.
class StrokeWriter {
 public:
  // Behind strokes that are there already, of which one has a claim or none has.
  StrokeWriter(bool has_strokes, bool has_claims)
      : has_strokes_(has_strokes), has_claims_(has_claims) {}

  void Append(const StrokeMap::value_type& stroke, std::string& archive);

  // Whether a stroke with a claim has been written, or was there.
  bool has_claims() const { return has_claims_; }

 private:
  bool has_strokes_;
  bool has_claims_;
};

// The archive up to its first stroke, if it has `count` strokes.
std::string RoutingInfoHead(std::size_t count);

// The whole archive: the head, the strokes, and a line feed. The very bytes that the archive
// library writes, whatever the host's locale. It is what RoutingInfoFile's piecewise writing must
// amount to.
std::string WriteRoutingInfo(const StrokeMap& strokes);

// Reads an archive back, also one with a change that was not finished (ArchiveChange.h). Throws
// std::exception if it is malformed, cut short, of a version that the archive library does not
// read, or if its strokes or claims are not in ascending order: the pages of two archives, mixed by
// a power cut, can read well and give strokes the marks of others. Asks for no more memory than
// `bytes` justifies.
StrokeMap ReadRoutingInfo(const std::string& bytes);

}  // namespace Storage
}  // namespace TalvoQuillpost
