// What an InkML document says about its traces: which channels they have, in which units, when
// they were drawn and with which brush. Everything here can be shared by reference (#id) and
// inherited; names are compared without the prefix of their namespace, since many programs write
// a wrong one or none.

#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <vector>

#include "Losses.h"
#include "TraceText.h"

namespace InkTool {

// Wide enough for the difference of any two 64-bit times.
using WideMs = __int128;

// Reads a whole number of milliseconds exactly and any other number rounded; none for what is no
// number or far out of range.
std::optional<WideMs> ParseMilliseconds(const std::string& text);

// How the values of one channel are to be read.
struct ChannelMeaning {
  double scale = 1;                // X, Y: micrometres of 1; T: milliseconds of 1
  bool has_unit = false;           // X, Y: the scale is known
  bool mirrored = false;           // orientation="-ve"
  bool whole = false;              // type="integer"
  std::optional<double> min, max;  // of the values
  std::string respect_to;          // T: the id of the timestamp that it counts from
};

struct TraceFormat {
  std::vector<int> roles;  // see TraceDecoder
  std::size_t regular = 0;
  std::array<ChannelMeaning, kRoles> meanings;
  bool Has(Role role) const;
};

struct Brush {
  std::uint32_t color = 0xFF000000;  // 0xAARRGGBB
  std::uint32_t width_um = 0;        // 0 for the default width
};

struct TraceContext {
  TraceFormat format;
  Brush brush;
  std::optional<WideMs> timestamp;  // since 1970-01-01 UTC
};

// The definitions of a document, found by their ids and worked out once each.
class Definitions {
 public:
  // `document` and `losses` must outlive this object.
  Definitions(const pugi::xml_document& document, Losses& losses);

  // The element that a reference (#id) names; null where there is none.
  pugi::xml_node Find(const std::string& reference) const;

  // The context that the element <context> describes.
  const TraceContext& Context(pugi::xml_node context);

  // The context of traces that name none: the document's only one, or X and Y alone.
  const TraceContext& DefaultContext();

  Brush ReadBrush(pugi::xml_node brush, int depth = 0);

  // The time that a <timestamp> states, which may be relative to another.
  std::optional<WideMs> ReadTimestamp(pugi::xml_node timestamp, int depth = 0);

 private:
  void Resolve(pugi::xml_node context, TraceContext& out, int depth);
  TraceFormat ReadFormat(pugi::xml_node format);
  void ReadChannel(pugi::xml_node channel, bool intermittent, TraceFormat& format);
  void ReadResolutions(pugi::xml_node ink_source, TraceFormat& format);
  void ReadInkSource(pugi::xml_node ink_source, TraceContext& out);

  const pugi::xml_document& document_;
  Losses& losses_;
  std::unordered_map<std::string, pugi::xml_node> by_id_;
  std::vector<pugi::xml_node> contexts_;          // in the order of the document
  std::vector<pugi::xml_node> bare_formats_;      // that stand outside of contexts
  std::map<std::size_t, TraceContext> resolved_;  // by the node's hash
  std::optional<TraceContext> default_;
};

// The value of an attribute, found by its local name; empty where there is none.
std::string AttributeOf(pugi::xml_node node, const char* name);

// The text directly inside an element.
std::string TextOf(pugi::xml_node node);

// The first child of the local name; null where there is none.
pugi::xml_node ChildOf(pugi::xml_node node, const char* name);

}  // namespace InkTool
