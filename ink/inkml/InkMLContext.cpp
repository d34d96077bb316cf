#include "ink/inkml/InkMLContext.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "ink/Text.h"
#include "ink/Time.h"
#include "ink/Units.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

const char kRoundedTimes[] = "times rounded to whole milliseconds";

}  // namespace

std::optional<WideMs> ParseMilliseconds(const std::string& text, Losses* losses) {
  const std::string trimmed = Trim(text);
  const bool negative = !trimmed.empty() && trimmed[0] == '-';
  const char* begin = trimmed.data() + (negative ? 1 : 0);
  const char* end = trimmed.data() + trimmed.size();
  std::uint64_t whole = 0;
  const auto result = std::from_chars(begin, end, whole);
  if (result.ec == std::errc() && result.ptr == end) {
    return negative ? -static_cast<WideMs>(whole) : static_cast<WideMs>(whole);
  }
  const std::optional<double> number = ParseNumber(trimmed);
  if (!number || std::abs(*number) > 9e18) return std::nullopt;
  if (losses != nullptr && *number != std::round(*number)) losses->Count(kRoundedTimes, 1);
  return static_cast<WideMs>(std::llround(*number));
}

TraceContext Definitions::DefaultContext() {
  TraceContext context;
  context.format = Format({}, {});
  return context;
}

TraceContext Definitions::InitialContext() {
  TraceContext context = DefaultContext();
  if (const pugi::xml_node named = references_.Find("DefaultContext")) {
    Apply(ChangeOf(named), context);
  } else if (references_.formats().size() == 1) {
    context.format = Format(references_.formats().front(), {});
    context.assumption = "traces without a context; the document's only trace format taken";
  } else if (references_.contexts().size() == 1) {
    // If some traces name it, those that don't are not meant to look like them.
    Change assumed = ChangeOf(references_.contexts().front());
    if (references_.AreContextsNamed()) assumed.brush.reset();
    Apply(assumed, context);
    context.assumption = "traces without a context; the document's only one taken";
  }
  return context;
}

bool Definitions::Apply(pugi::xml_node element, TraceContext& current) {
  if (IsNamed(element, "context")) {
    Apply(ChangeOf(element), current);
  } else if (IsNamed(element, "brush")) {
    current.brush = BrushOf(element);
  } else if (IsNamed(element, "timestamp")) {
    ApplyTimestamp(element, current);
  } else if (IsNamed(element, "traceFormat")) {
    current.format = Format(element, {});
    current.assumption = nullptr;
  } else if (IsNamed(element, "inkSource")) {
    Change change;
    ReadFormatChange(element, {}, change);
    Apply(change, current);
  } else {
    return false;
  }
  return true;
}

void Definitions::ApplyReferences(pugi::xml_node element, TraceContext& current) {
  if (const pugi::xml_node context = references_.Referred(element, "contextRef", "context")) {
    Apply(ChangeOf(context), current);
  } else if (NamesDefault(AttributeOf(element, "contextRef"))) {
    current = DefaultContext();
  }
  if (const pugi::xml_node brush = references_.Referred(element, "brushRef", "brush")) {
    current.brush = BrushOf(brush);
  } else if (NamesDefault(AttributeOf(element, "brushRef"))) {
    current.brush = {};
  }
}

void Definitions::Apply(const Change& change, TraceContext& current) {
  if (change.from_default) current = DefaultContext();
  if (change.format) {
    current.format = change.format;
    current.assumption = nullptr;
  }
  if (change.brush) current.brush = *change.brush;
  if (change.canvas) current.canvas = change.canvas;
  if (change.timestamp) ApplyTimestamp(change.timestamp, current);
}

void Definitions::ApplyTimestamp(pugi::xml_node timestamp, TraceContext& current) {
  current.timestamp = Timestamp(timestamp);
  current.timestamp_id = timestamp.hash_value();
}

// What a definition says, and what that says which it refers to, and so on: worked out from the far
// end, so that nothing here goes deeper than a document's author has thought of.
template <typename Said>
const Said& Definitions::WorkOut(pugi::xml_node definition, const Kind& kind, Known<Said>& known,
                                 Said (Definitions::*read)(pugi::xml_node)) {
  std::vector<pugi::xml_node> chain;
  pugi::xml_node next = definition;
  while (next && known.try_emplace(next.hash_value()).second) {
    chain.push_back(next);
    next = references_.Referred(next, kind.reference, kind.name);
  }
  if (std::find(chain.begin(), chain.end(), next) != chain.end()) {
    losses_.Add(std::string(kind.plural) + " that refer to one another without end");
  }
  for (auto node = chain.rbegin(); node != chain.rend(); ++node) {
    known[node->hash_value()] = (this->*read)(*node);
  }
  return known[definition.hash_value()];
}

const Definitions::Change& Definitions::ChangeOf(pugi::xml_node context) {
  return WorkOut(context, {"context", "contexts", "contextRef"}, changes_,
                 &Definitions::ReadChange);
}

// What the context refers to first, then what it says itself.
Definitions::Change Definitions::ReadChange(pugi::xml_node context) {
  Change change;
  if (const pugi::xml_node base = references_.Referred(context, "contextRef", "context")) {
    change = ChangeOf(base);
  } else if (NamesDefault(AttributeOf(context, "contextRef"))) {
    change.from_default = true;
  }
  pugi::xml_node source = ChildOf(context, "inkSource");
  if (!source) source = references_.Referred(context, "inkSourceRef", "inkSource");
  ReadFormatChange(source, context, change);
  for (const pugi::xml_node& brush :
       {references_.Referred(context, "brushRef", "brush"), ChildOf(context, "brush")}) {
    if (brush) change.brush = BrushOf(brush);
  }
  if (NamesDefault(AttributeOf(context, "brushRef"))) change.brush = Brush();
  for (const pugi::xml_node& time : {references_.Referred(context, "timestampRef", "timestamp"),
                                     ChildOf(context, "timestamp")}) {
    if (time) change.timestamp = time;
  }
  if (const auto canvas = ReadCanvasMapping(context, references_, losses_)) change.canvas = canvas;
  return change;
}

// The context's own format, or that of its source; the source's resolutions hold for either.
void Definitions::ReadFormatChange(pugi::xml_node source, pugi::xml_node context, Change& change) {
  pugi::xml_node format = ChildOf(context, "traceFormat");
  if (!format) format = references_.Referred(context, "traceFormatRef", "traceFormat");
  if (!format) format = ChildOf(source, "traceFormat");
  if (!format) format = references_.Referred(source, "traceFormatRef", "traceFormat");
  const bool only_resolutions = !format && !change.format && ChildOf(source, "channelProperties");
  if (format || only_resolutions || NamesDefault(AttributeOf(context, "traceFormatRef"))) {
    change.format = Format(format, source);
  }
}

std::shared_ptr<const TraceFormat> Definitions::Format(pugi::xml_node format,
                                                       pugi::xml_node ink_source) {
  auto& read = read_formats_[{format.hash_value(), ink_source.hash_value()}];
  if (!read) {
    TraceFormat fresh = format ? ReadTraceFormat(format, references_, losses_) : PositionsAlone();
    if (ink_source) ReadResolutions(ink_source, fresh);
    read = std::make_shared<const TraceFormat>(std::move(fresh));
  }
  return read;
}

const Brush& Definitions::BrushOf(pugi::xml_node brush) {
  return WorkOut(brush, {"brush", "brushes", "brushRef"}, brushes_, &Definitions::ReadBrush);
}

Brush Definitions::ReadBrush(pugi::xml_node brush) {
  Brush out;
  if (const pugi::xml_node base = references_.Referred(brush, "brushRef", "brush"))
    out = BrushOf(base);
  for (const pugi::xml_node& property : PartsOf(brush)) {
    if (IsNamed(property, "brushProperty")) ReadBrushProperty(property, out, losses_);
  }
  if (out.width_um == 0) out.width_um = out.height_um;
  return out;
}

std::optional<WideMs> Definitions::Timestamp(pugi::xml_node timestamp) {
  return WorkOut(timestamp, {"timestamp", "timestamps", "timestampRef"}, timestamps_,
                 &Definitions::ReadTimestamp);
}

std::optional<WideMs> Definitions::BaseOf(const TraceContext& context) {
  const pugi::xml_node node = references_.Find(context.format->meanings[kTime].respect_to);
  return node ? Timestamp(node) : context.timestamp;
}

std::optional<WideMs> Definitions::ReadTimestamp(pugi::xml_node timestamp) {
  const std::string time = AttributeOf(timestamp, "time");
  const std::string text = AttributeOf(timestamp, "timeString");
  if (!time.empty()) {
    const std::optional<WideMs> value = ParseMilliseconds(time, &losses_);
    if (!value) losses_.Add("timestamp '" + time + "' is not known");
    return value;
  }
  if (!text.empty()) {
    const std::optional<DateTime> value = ParseDateTime(Trim(text));
    if (!value) {
      losses_.Add("timestamp '" + text + "' is not known");
      return std::nullopt;
    }
    if (!value->has_zone) losses_.Add("a timestamp without a time zone; UTC taken");
    if (value->is_cut) losses_.Count(kRoundedTimes, 1);
    return static_cast<WideMs>(value->time_ms);
  }
  const pugi::xml_node node = references_.Referred(timestamp, "timestampRef", "timestamp");
  if (!node) return std::nullopt;
  const std::optional<WideMs> start = Timestamp(node);
  const std::optional<WideMs> offset =
      ParseMilliseconds(AttributeOf(timestamp, "timeOffset"), &losses_);
  if (!start) return std::nullopt;
  return *start + offset.value_or(0);
}

}  // namespace TalvoInk
