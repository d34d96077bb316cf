#include "InkMLContext.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "Time.h"
#include "Units.h"
#include "XmlText.h"

namespace InkTool {
namespace {

constexpr std::size_t kMostChannels = 64;
constexpr std::size_t kMostParts = 1000;

const char kMappings[] = "mappings of channels and of the canvas not applied";
const char kRoundedTimes[] = "times rounded to whole milliseconds";

bool IsNamed(pugi::xml_node node, const char* name) {
  return LocalName(node.name()) == name;
}

// Documents write the channels' names in either case.
int RoleOf(const std::string& channel) {
  static const std::pair<const char*, Role> kNames[] = {{"x", kX},
                                                        {"y", kY},
                                                        {"f", kForce},
                                                        {"t", kTime},
                                                        {"sampletype", kSampleType},
                                                        {"sampleflags", kSampleFlags}};
  const std::string plain = LowerCase(Trim(channel));
  for (const auto& [name, role] : kNames) {
    if (plain == name) return role;
  }
  return -1;
}

bool IsUnitless(const std::string& unit) {
  const std::string plain = LowerCase(Trim(unit));
  return plain.empty() || plain == "dev";
}

TraceFormat PositionsAlone() {
  TraceFormat format;
  format.roles = {kX, kY};
  format.names = "X, Y";
  format.regular = 2;
  return format;
}

// The names by which a reference means what holds in a document that says nothing.
bool NamesDefault(const std::string& reference) {
  for (const char* name : {"#DefaultContext", "#DefaultBrush", "#DefaultTraceFormat",
                           "#DefaultCanvas", "#DefaultInkSource"}) {
    if (reference == name) return true;
  }
  return false;
}

bool IsInDefinitions(pugi::xml_node node) {
  return IsNamed(node.parent(), "definitions");
}

// Whether a mapping below the element changes values.
bool Maps(pugi::xml_node element) {
  for (const pugi::xml_node& child : PartsOf(element)) {
    if (!IsNamed(child, "mapping")) continue;
    const std::string type = AttributeOf(child, "type");
    if (type != "identity" && type != "unknown" && !(type.empty() && !child.first_child()))
      return true;
  }
  return false;
}

// Finds every element with an id, and the contexts and formats among the definitions, without
// descending into annotations: what stands there is another language's.
class Collector : public pugi::xml_tree_walker {
 public:
  Collector(std::unordered_map<std::string, pugi::xml_node>& by_id,
            std::unordered_set<std::size_t>& defined, std::vector<pugi::xml_node>& contexts,
            std::vector<pugi::xml_node>& formats, bool& contexts_are_named)
      : by_id_(by_id),
        defined_(defined),
        contexts_(contexts),
        formats_(formats),
        contexts_are_named_(contexts_are_named) {}

  bool for_each(pugi::xml_node& node) override {
    if (node.type() != pugi::node_element) return true;
    if (depth() <= annotation_depth_) annotation_depth_ = kNowhere;
    if (annotation_depth_ != kNowhere) return true;
    if (IsNamed(node, "annotationXML")) {
      annotation_depth_ = depth();
      return true;
    }
    if (depth() <= definitions_depth_) definitions_depth_ = kNowhere;
    const bool is_defined = definitions_depth_ != kNowhere;
    if (!is_defined && IsNamed(node, "definitions")) definitions_depth_ = depth();
    const std::string id = AttributeOf(node, "id");
    if (!id.empty()) by_id_.emplace(id, node);
    if (!id.empty() && is_defined) defined_.insert(node.hash_value());
    if (!AttributeOf(node, "contextRef").empty()) contexts_are_named_ = true;
    if (IsNamed(node, "context") && IsInDefinitions(node)) contexts_.push_back(node);
    if (IsNamed(node, "traceFormat") && IsInDefinitions(node)) formats_.push_back(node);
    return true;
  }

 private:
  static constexpr int kNowhere = -2;
  std::unordered_map<std::string, pugi::xml_node>& by_id_;
  std::unordered_set<std::size_t>& defined_;
  std::vector<pugi::xml_node>& contexts_;
  std::vector<pugi::xml_node>& formats_;
  bool& contexts_are_named_;
  int annotation_depth_ = kNowhere;
  int definitions_depth_ = kNowhere;
};

// Micrometres of one count of a channel whose resolution is stated; none where it says nothing.
std::optional<double> CountLength(pugi::xml_node property, const std::string& channel_unit) {
  const std::optional<double> value = ParseNumber(AttributeOf(property, "value"));
  if (!value || *value <= 0) return std::nullopt;
  std::string unit = LowerCase(Trim(AttributeOf(property, "units")));
  const std::size_t slash = unit.find('/');  // "1/mm", "dots/inch"
  if (slash != std::string::npos) unit.erase(0, slash + 1);
  if (unit == "dpi" || unit == "ppi") unit = "in";
  if (unit.empty()) unit = channel_unit;
  const std::optional<double> length = MicrometresOf(unit);
  if (!length) return std::nullopt;
  return *length / *value;
}

}  // namespace

std::string AttributeOf(pugi::xml_node node, const char* name) {
  for (const pugi::xml_attribute& attribute : node.attributes()) {
    if (LocalName(attribute.name()) == name) return attribute.value();
  }
  return {};
}

std::string TextOf(pugi::xml_node node) {
  std::string text;
  for (const pugi::xml_node& child : node.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
      text += child.value();
  }
  return text;
}

std::vector<pugi::xml_node> PartsOf(pugi::xml_node definition) {
  std::vector<pugi::xml_node> parts;
  for (const pugi::xml_node& child : definition.children()) {
    if (parts.size() == kMostParts) break;
    if (child.type() == pugi::node_element) parts.push_back(child);
  }
  return parts;
}

pugi::xml_node ChildOf(pugi::xml_node definition, const char* name) {
  for (const pugi::xml_node& part : PartsOf(definition)) {
    if (IsNamed(part, name)) return part;
  }
  return {};
}

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

bool TraceFormat::Has(Role role) const {
  for (const int r : roles) {
    if (r == role) return true;
  }
  return false;
}

Definitions::Definitions(const pugi::xml_document& document, Losses& losses) : losses_(losses) {
  Collector collector(by_id_, defined_, contexts_, formats_, contexts_are_named_);
  const_cast<pugi::xml_document&>(document).traverse(collector);
}

pugi::xml_node Definitions::Find(const std::string& reference) const {
  const std::size_t hash = reference.find('#');
  const auto found =
      by_id_.find(hash == std::string::npos ? reference : reference.substr(hash + 1));
  return found == by_id_.end() ? pugi::xml_node() : found->second;
}

bool Definitions::IsDefined(pugi::xml_node found) const {
  return defined_.count(found.hash_value()) != 0;
}

// The element of a kind that an attribute refers to; null where there is no such attribute, where
// it names the default of that kind, and where it names nothing, which is told.
pugi::xml_node Definitions::Referred(pugi::xml_node node, const char* attribute, const char* kind) {
  const std::string reference = AttributeOf(node, attribute);
  if (reference.empty()) return {};
  const pugi::xml_node found = Find(reference);
  if (found && IsNamed(found, kind)) return found;
  if (!NamesDefault(reference)) {
    losses_.Add(std::string(attribute) + " '" + reference + "' to nothing");
  }
  return {};
}

TraceContext Definitions::InitialContext() {
  TraceContext context;
  context.format = Format({}, {});
  if (const pugi::xml_node named = Find("DefaultContext")) {
    Apply(ChangeOf(named), context);
  } else if (formats_.size() == 1) {
    context.format = Format(formats_.front(), {});
    context.assumption = "traces without a context; the document's only trace format taken";
  } else if (contexts_.size() == 1) {
    // Where some traces name it, those that don't are not meant to look like them.
    Change assumed = ChangeOf(contexts_.front());
    if (contexts_are_named_) assumed.brush.reset();
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
  if (const pugi::xml_node context = Referred(element, "contextRef", "context")) {
    Apply(ChangeOf(context), current);
  } else if (NamesDefault(AttributeOf(element, "contextRef"))) {
    current = TraceContext{Format({}, {}), {}, {}, 0, nullptr};
  }
  if (const pugi::xml_node brush = Referred(element, "brushRef", "brush")) {
    current.brush = BrushOf(brush);
  } else if (NamesDefault(AttributeOf(element, "brushRef"))) {
    current.brush = {};
  }
}

void Definitions::Apply(const Change& change, TraceContext& current) {
  if (change.from_default) current = TraceContext{Format({}, {}), {}, {}, 0, nullptr};
  if (change.format) {
    current.format = change.format;
    current.assumption = nullptr;
  }
  if (change.brush) current.brush = *change.brush;
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
    next = Referred(next, kind.reference, kind.name);
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
  if (const pugi::xml_node base = Referred(context, "contextRef", "context")) {
    change = ChangeOf(base);
  } else if (NamesDefault(AttributeOf(context, "contextRef"))) {
    change.from_default = true;
  }
  pugi::xml_node source = ChildOf(context, "inkSource");
  if (!source) source = Referred(context, "inkSourceRef", "inkSource");
  ReadFormatChange(source, context, change);
  for (const pugi::xml_node& brush :
       {Referred(context, "brushRef", "brush"), ChildOf(context, "brush")}) {
    if (brush) change.brush = BrushOf(brush);
  }
  if (NamesDefault(AttributeOf(context, "brushRef"))) change.brush = Brush();
  for (const pugi::xml_node& time :
       {Referred(context, "timestampRef", "timestamp"), ChildOf(context, "timestamp")}) {
    if (time) change.timestamp = time;
  }
  ReadMappings(context);
  return change;
}

// The context's own format, or that of its source; the source's resolutions hold for either.
void Definitions::ReadFormatChange(pugi::xml_node source, pugi::xml_node context, Change& change) {
  pugi::xml_node format = ChildOf(context, "traceFormat");
  if (!format) format = Referred(context, "traceFormatRef", "traceFormat");
  if (!format) format = ChildOf(source, "traceFormat");
  if (!format) format = Referred(source, "traceFormatRef", "traceFormat");
  const bool only_resolutions = !format && !change.format && ChildOf(source, "channelProperties");
  if (format || only_resolutions || NamesDefault(AttributeOf(context, "traceFormatRef"))) {
    change.format = Format(format, source);
  }
}

void Definitions::ReadMappings(pugi::xml_node context) {
  const pugi::xml_node transforms[] = {context, ChildOf(context, "canvasTransform"),
                                       Referred(context, "canvasTransformRef", "canvasTransform")};
  for (const pugi::xml_node& element : transforms) {
    if (Maps(element)) losses_.Add(kMappings);
  }
}

std::shared_ptr<const TraceFormat> Definitions::Format(pugi::xml_node format,
                                                       pugi::xml_node ink_source) {
  auto& read = read_formats_[{format.hash_value(), ink_source.hash_value()}];
  if (!read) {
    TraceFormat fresh = format ? ReadFormat(format) : PositionsAlone();
    if (ink_source) ReadResolutions(ink_source, fresh);
    read = std::make_shared<const TraceFormat>(std::move(fresh));
  }
  return read;
}

TraceFormat Definitions::ReadFormat(pugi::xml_node format) {
  TraceFormat out;
  const auto read_channels = [&](pugi::xml_node list, bool intermittent) {
    for (const pugi::xml_node& child : PartsOf(list)) {
      if (IsNamed(child, "channel")) ReadChannel(child, intermittent, out);
    }
  };
  read_channels(format, false);
  read_channels(ChildOf(format, "regularChannels"), false);  // so in early drafts of InkML
  out.regular = out.roles.size();
  read_channels(ChildOf(format, "intermittentChannels"), true);
  if (out.roles.empty()) return PositionsAlone();
  const pugi::xml_node source = format.parent();
  if (IsNamed(source, "inkSource")) ReadResolutions(source, out);
  return out;
}

void Definitions::ReadChannel(pugi::xml_node channel, bool intermittent, TraceFormat& format) {
  if (format.roles.size() == kMostChannels) {
    losses_.Add("more than " + std::to_string(kMostChannels) + " channels");
    return;
  }
  const std::string name = AttributeOf(channel, "name");
  format.names += (format.names.empty() ? "" : ", ") + name;
  const pugi::xml_node mapping = Referred(channel, "mappingRef", "mapping");
  if (Maps(channel) || (mapping && AttributeOf(mapping, "type") != "identity")) {
    losses_.Add(kMappings);
  }
  int role = RoleOf(name);
  if (role >= 0 && format.Has(static_cast<Role>(role))) role = -1;
  if (role < 0) losses_.Add("channel " + name + " dropped");
  format.roles.push_back(role);
  if (role < 0) return;
  ChannelMeaning& meaning = format.meanings[static_cast<std::size_t>(role)];
  const std::string unit = AttributeOf(channel, "units");
  const auto scale = role == kTime ? MillisecondsOf(unit) : MicrometresOf(unit);
  const bool is_length = role == kX || role == kY;
  if ((is_length || role == kTime) && scale) {
    meaning.scale = *scale;
    meaning.has_unit = true;
  } else if (is_length && !IsUnitless(unit)) {
    losses_.Add("unit '" + unit + "' of channel " + name + " is not known");
  } else if (role == kTime && !IsUnitless(unit)) {
    losses_.Add("unit '" + unit + "' of channel T is not known; ms taken");
  }
  meaning.mirrored = AttributeOf(channel, "orientation") == "-ve";
  meaning.whole = AttributeOf(channel, "type") == "integer";
  meaning.min = ParseNumber(AttributeOf(channel, "min"));
  meaning.max = ParseNumber(AttributeOf(channel, "max"));
  meaning.respect_to = AttributeOf(channel, "respectTo");
  if (intermittent && is_length) losses_.Add("channel " + name + " is not in every point");
}

// A resolution tells the length of one count where the values are counts: those of device units,
// of no unit, and whole numbers. Decimal values in a unit of length are lengths already, and the
// resolution only says how fine the device is.
void Definitions::ReadResolutions(pugi::xml_node ink_source, TraceFormat& format) {
  const pugi::xml_node list = ChildOf(ink_source, "channelProperties");
  for (const pugi::xml_node& property : PartsOf(list)) {
    if (!IsNamed(property, "channelProperty")) continue;
    if (AttributeOf(property, "name") != "resolution") continue;
    const int role = RoleOf(AttributeOf(property, "channel"));
    if (role != kX && role != kY) continue;
    ChannelMeaning& meaning = format.meanings[static_cast<std::size_t>(role)];
    if (meaning.has_unit && !meaning.whole) continue;
    std::string unit;
    for (const pugi::xml_node& channel : PartsOf(ChildOf(ink_source, "traceFormat"))) {
      if (RoleOf(AttributeOf(channel, "name")) == role) unit = AttributeOf(channel, "units");
    }
    if (const auto length = CountLength(property, unit)) {
      meaning.scale = *length;
      meaning.has_unit = true;
    }
  }
}

const Brush& Definitions::BrushOf(pugi::xml_node brush) {
  return WorkOut(brush, {"brush", "brushes", "brushRef"}, brushes_, &Definitions::ReadBrush);
}

Brush Definitions::ReadBrush(pugi::xml_node brush) {
  Brush out;
  if (const pugi::xml_node base = Referred(brush, "brushRef", "brush")) out = BrushOf(base);
  for (const pugi::xml_node& property : PartsOf(brush)) {
    if (IsNamed(property, "brushProperty")) ReadBrushProperty(property, out, losses_);
  }
  return out;
}

std::optional<WideMs> Definitions::Timestamp(pugi::xml_node timestamp) {
  return WorkOut(timestamp, {"timestamp", "timestamps", "timestampRef"}, timestamps_,
                 &Definitions::ReadTimestamp);
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
    const std::optional<std::uint64_t> value = ParseDateTime(Trim(text));
    if (!value) {
      losses_.Add("timestamp '" + text + "' is not known");
      return std::nullopt;
    }
    const std::size_t clock = text.find(':');
    if (clock != std::string::npos && text.find_first_of("Z+-", clock) == std::string::npos) {
      losses_.Add("a timestamp without a time zone; UTC taken");
    }
    const std::size_t point = text.find('.');
    if (point != std::string::npos && point + 4 < text.size() &&
        text.find_first_of("123456789", point + 4) <
            text.find_first_not_of("0123456789", point + 4)) {
      losses_.Count(kRoundedTimes, 1);
    }
    return static_cast<WideMs>(*value);
  }
  const pugi::xml_node node = Referred(timestamp, "timestampRef", "timestamp");
  if (!node) return std::nullopt;
  const std::optional<WideMs> start = Timestamp(node);
  const std::optional<WideMs> offset =
      ParseMilliseconds(AttributeOf(timestamp, "timeOffset"), &losses_);
  if (!start) return std::nullopt;
  return *start + offset.value_or(0);
}

}  // namespace InkTool
