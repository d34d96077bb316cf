// What an InkML document says about its traces: which channels they have, in which units, when
// they were drawn and with which brush. Everything here can be shared by reference (#id) and
// inherited.

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ink/Losses.h"
#include "ink/inkml/InkMLBrush.h"
#include "ink/inkml/InkMLFormat.h"
#include "ink/inkml/InkMLReferences.h"

namespace TalvoInk {

// Wide enough for the difference of any two 64-bit times.
using WideMs = __int128;

// Reads a whole number of milliseconds exactly and any other number rounded, which is told if
// `losses` is given; none for what is not a number, or far out of range.
std::optional<WideMs> ParseMilliseconds(const std::string& text, Losses* losses = nullptr);

// All that holds at one place of the document. Cheap to copy.
struct TraceContext {
  std::shared_ptr<const TraceFormat> format;  // never null
  Brush brush;
  std::optional<CanvasMapping> canvas;
  std::optional<WideMs> timestamp;   // since 1970-01-01 UTC
  std::size_t timestamp_id = 0;      // the same if times count from the same <timestamp>
  const char* assumption = nullptr;  // what was assumed, to be told when a trace relies on it
};

// The definitions of a document, found by their ids and worked out once each.
class Definitions {
 public:
  // Both must outlive this object.
  Definitions(const References& references, Losses& losses)
      : references_(references), losses_(losses) {}

  // What holds until the document says otherwise: X and Y alone, or what the only context or
  // format of its <definitions> says.
  TraceContext InitialContext();

  // Changes `current` as the element says, if it is a <context>, <inkSource>, <traceFormat>,
  // <brush> or <timestamp>; what it says nothing of stays as it is. False for other elements.
  bool Apply(pugi::xml_node element, TraceContext& current);

  // Changes `current` as the element's contextRef and brushRef say.
  void ApplyReferences(pugi::xml_node element, TraceContext& current);

  // The time from which the context's times count; none if it is not known.
  std::optional<WideMs> BaseOf(const TraceContext& context);

 private:
  // What holds in a document that says nothing.
  TraceContext DefaultContext();

  // What one <context> says, that which it refers to included.
  struct Change {
    bool from_default = false;  // begins with the context of a document that says nothing
    std::shared_ptr<const TraceFormat> format;
    std::optional<Brush> brush;
    std::optional<CanvasMapping> canvas;
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

  template <typename Said>
  const Said& WorkOut(pugi::xml_node definition, const Kind& kind, Known<Said>& known,
                      Said (Definitions::*read)(pugi::xml_node));
  const Change& ChangeOf(pugi::xml_node context);
  Change ReadChange(pugi::xml_node context);
  void ReadFormatChange(pugi::xml_node source, pugi::xml_node context, Change& change);
  void Apply(const Change& change, TraceContext& current);
  void ApplyTimestamp(pugi::xml_node timestamp, TraceContext& current);
  std::shared_ptr<const TraceFormat> Format(pugi::xml_node format, pugi::xml_node ink_source);
  const Brush& BrushOf(pugi::xml_node brush);
  Brush ReadBrush(pugi::xml_node brush);
  std::optional<WideMs> Timestamp(pugi::xml_node timestamp);
  std::optional<WideMs> ReadTimestamp(pugi::xml_node timestamp);

  const References& references_;
  Losses& losses_;
  Known<Change> changes_;
  Known<Brush> brushes_;
  Known<std::optional<WideMs>> timestamps_;
  std::map<std::pair<std::size_t, std::size_t>, std::shared_ptr<const TraceFormat>> read_formats_;
};

}  // namespace TalvoInk
