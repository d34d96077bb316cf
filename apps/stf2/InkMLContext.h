// What an InkML document says about its traces: which channels they have, in which units, when
// they were drawn and with which brush. Everything here can be shared by reference (#id) and
// inherited; names are compared without the prefix of their namespace, since many programs write
// a wrong one or none.

#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "InkMLBrush.h"
#include "Losses.h"
#include "TraceText.h"

namespace InkTool {

// Wide enough for the difference of any two 64-bit times.
using WideMs = __int128;

// Reads a whole number of milliseconds exactly and any other number rounded, which is told where
// `losses` is given; none for what is no number or far out of range.
std::optional<WideMs> ParseMilliseconds(const std::string& text, Losses* losses = nullptr);

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
  std::string names;       // of the channels, "X, Y"
  std::size_t regular = 0;
  std::array<ChannelMeaning, kRoles> meanings;
  bool Has(Role role) const;
};

// All that holds at one place of the document. Cheap to copy.
struct TraceContext {
  std::shared_ptr<const TraceFormat> format;  // never null
  Brush brush;
  std::optional<WideMs> timestamp;   // since 1970-01-01 UTC
  std::size_t timestamp_id = 0;      // the same where times count from the same <timestamp>
  const char* assumption = nullptr;  // what was assumed, to be told when a trace relies on it
};

// The definitions of a document, found by their ids and worked out once each.
class Definitions {
 public:
  // Both must outlive this object.
  Definitions(const pugi::xml_document& document, Losses& losses);

  // The element that a reference (#id) names; null where there is none.
  pugi::xml_node Find(const std::string& reference) const;

  // Whether an element that was found stands in <definitions>.
  bool IsDefined(pugi::xml_node found) const;

  // What holds until the document says otherwise: X and Y alone, or what the only context or
  // format of its <definitions> says.
  TraceContext InitialContext();

  // Changes `current` as the element says, if it is a <context>, <inkSource>, <traceFormat>,
  // <brush> or <timestamp>; what it says nothing of stays as it is. False for other elements.
  bool Apply(pugi::xml_node element, TraceContext& current);

  // Changes `current` as the element's contextRef and brushRef say.
  void ApplyReferences(pugi::xml_node element, TraceContext& current);

  // The time that a <timestamp> states, which may be relative to another.
  std::optional<WideMs> Timestamp(pugi::xml_node timestamp);

 private:
  // What one <context> says, that which it refers to included.
  struct Change {
    bool from_default = false;  // begins with the context of a document that says nothing
    std::shared_ptr<const TraceFormat> format;
    std::optional<Brush> brush;
    pugi::xml_node timestamp;
  };

  // The elements that define something, and the attribute with which they refer to one another.
  struct Kind {
    const char* name;
    const char* plural;
    const char* reference;
  };

  // What definitions say, by their nodes' hashes.
  template <typename Said>
  using Known = std::unordered_map<std::size_t, Said>;

  pugi::xml_node Referred(pugi::xml_node node, const char* attribute, const char* kind);
  template <typename Said>
  const Said& WorkOut(pugi::xml_node definition, const Kind& kind, Known<Said>& known,
                      Said (Definitions::*read)(pugi::xml_node));
  const Change& ChangeOf(pugi::xml_node context);
  Change ReadChange(pugi::xml_node context);
  void ReadFormatChange(pugi::xml_node source, pugi::xml_node context, Change& change);
  void ReadMappings(pugi::xml_node context);
  void Apply(const Change& change, TraceContext& current);
  void ApplyTimestamp(pugi::xml_node timestamp, TraceContext& current);
  std::shared_ptr<const TraceFormat> Format(pugi::xml_node format, pugi::xml_node ink_source);
  TraceFormat ReadFormat(pugi::xml_node format);
  void ReadChannel(pugi::xml_node channel, bool intermittent, TraceFormat& format);
  void ReadResolutions(pugi::xml_node ink_source, TraceFormat& format);
  const Brush& BrushOf(pugi::xml_node brush);
  Brush ReadBrush(pugi::xml_node brush);
  std::optional<WideMs> ReadTimestamp(pugi::xml_node timestamp);

  Losses& losses_;
  std::unordered_map<std::string, pugi::xml_node> by_id_;
  std::unordered_set<std::size_t> defined_;  // of those with ids, by hash
  std::vector<pugi::xml_node> contexts_;     // in <definitions>, in the order of the document
  std::vector<pugi::xml_node> formats_;      // in <definitions>, outside of contexts
  bool contexts_are_named_ = false;          // by a contextRef anywhere

  Known<Change> changes_;
  Known<Brush> brushes_;
  Known<std::optional<WideMs>> timestamps_;
  std::map<std::pair<std::size_t, std::size_t>, std::shared_ptr<const TraceFormat>> read_formats_;
};

// The value of an attribute, found by its local name; empty where there is none.
std::string AttributeOf(pugi::xml_node node, const char* name);

// The text directly inside an element.
std::string TextOf(pugi::xml_node node);

// The elements directly inside a definition: the first thousand, more than any has. So definitions
// that are looked at again and again cost little, whatever they hold.
std::vector<pugi::xml_node> PartsOf(pugi::xml_node definition);

// The first of these of the local name; null where there is none.
pugi::xml_node ChildOf(pugi::xml_node definition, const char* name);

}  // namespace InkTool
