// The identity of one stroke file of a pen, and the marks that the store keeps for it.

#pragma once

#include <map>
#include <string>
#include <string_view>

namespace TalvoQuillpost {
namespace Storage {

// A value. The order of the fields is the order in which they are written to RoutingInfo.txt.
struct StrokeID {
  std::string page_address;  // name of the stroke's page directory
  std::string name;          // file name without its extension
  std::string extension;     // of the file name, without the leading "."

  // "1.2.3.4/100_200.stf2": the stroke file's path relative to its pen's directory, and its name in
  // log lines. Empty fields are left out; an empty name is "unnamed".
  std::string string() const;

  // By extension, then by name, then by page address, byte by byte: the order in which strokes are
  // offered and written to RoutingInfo.txt. Not by page.
  bool operator<(const StrokeID& other) const;
  bool operator==(const StrokeID& other) const;
};

// The stroke's file name in its page directory: the name ("unnamed" if it is empty), and "." and
// the extension if that is not empty.
std::string StrokeIDToFileName(const StrokeID& id);

// Makes name and extension of `id` those of a file of its page directory. The extension begins
// behind the last dot; a name without a dot has none.
void SetFileName(StrokeID& id, std::string_view file_name);

// Whether the id can name a file of its page directory: its name is not empty, and neither name nor
// extension leads out of the directory.
bool IsStrokeIDValid(const StrokeID& id);

// How far one application has got with one stroke that it claims. Marks are only ever set.
struct RoutingInfo_App {
  bool delivered = false;  // it has received the stroke in a package and confirmed the package
  bool processed = false;  // it has accepted the stroke, too; only together with `delivered`
};

// The applications that claim one stroke, by application ID.
typedef std::map<std::string, RoutingInfo_App> ClaimList;

// The routing info of one pen.
typedef std::map<StrokeID, ClaimList> StrokeMap;

}  // namespace Storage
}  // namespace TalvoQuillpost
