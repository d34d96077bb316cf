#include "InkMLContext.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "Color.h"
#include "Time.h"
#include "Units.h"
#include "XmlText.h"

namespace InkTool {
namespace {

constexpr int kDeepestReference = 16;  // contexts, brushes and timestamps that refer on and on
constexpr std::size_t kMostChannels = 64;

bool IsNamed(pugi::xml_node node, const char* name) {
  return LocalName(node.name()) == name;
}

int RoleOf(const std::string& channel) {
  static const std::pair<const char*, Role> kNames[] = {{"X", kX},
                                                        {"Y", kY},
                                                        {"F", kForce},
                                                        {"T", kTime},
                                                        {"SampleType", kSampleType},
                                                        {"SampleFlags", kSampleFlags}};
  for (const auto& [name, role] : kNames) {
    if (channel == name) return role;
  }
  return -1;
}

TraceFormat PositionsAlone() {
  TraceFormat format;
  format.roles = {kX, kY};
  format.regular = 2;
  return format;
}

// Finds every element with an id, and the contexts and formats, without descending into
// annotations: what stands there is another language's.
class Collector : public pugi::xml_tree_walker {
 public:
  Collector(std::unordered_map<std::string, pugi::xml_node>& by_id,
            std::vector<pugi::xml_node>& contexts, std::vector<pugi::xml_node>& formats)
      : by_id_(by_id), contexts_(contexts), formats_(formats) {}

  bool for_each(pugi::xml_node& node) override {
    if (node.type() != pugi::node_element) return true;
    if (depth() <= annotation_depth_) annotation_depth_ = kNowhere;
    if (annotation_depth_ != kNowhere) return true;
    if (IsNamed(node, "annotationXML")) {
      annotation_depth_ = depth();
      return true;
    }
    const std::string id = AttributeOf(node, "id");
    if (!id.empty()) by_id_.emplace(id, node);
    if (IsNamed(node, "context")) contexts_.push_back(node);
    if (IsNamed(node, "traceFormat") && !IsNamed(node.parent(), "context") &&
        !IsNamed(node.parent(), "inkSource")) {
      formats_.push_back(node);
    }
    return true;
  }

 private:
  static constexpr int kNowhere = -2;
  std::unordered_map<std::string, pugi::xml_node>& by_id_;
  std::vector<pugi::xml_node>& contexts_;
  std::vector<pugi::xml_node>& formats_;
  int annotation_depth_ = kNowhere;
};

// Micrometres of one count of a channel whose resolution is stated; none where it says nothing.
std::optional<double> CountLength(pugi::xml_node property, const std::string& channel_unit) {
  const std::optional<double> value = ParseNumber(AttributeOf(property, "value"));
  if (!value || *value <= 0) return std::nullopt;
  std::string unit = AttributeOf(property, "units");
  if (unit.compare(0, 2, "1/") == 0) unit.erase(0, 2);
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

pugi::xml_node ChildOf(pugi::xml_node node, const char* name) {
  for (const pugi::xml_node& child : node.children()) {
    if (IsNamed(child, name)) return child;
  }
  return {};
}

std::optional<WideMs> ParseMilliseconds(const std::string& text) {
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
  return static_cast<WideMs>(std::llround(*number));
}

bool TraceFormat::Has(Role role) const {
  for (const int r : roles) {
    if (r == role) return true;
  }
  return false;
}

Definitions::Definitions(const pugi::xml_document& document, Losses& losses)
    : document_(document), losses_(losses) {
  Collector collector(by_id_, contexts_, bare_formats_);
  const_cast<pugi::xml_document&>(document_).traverse(collector);
}

pugi::xml_node Definitions::Find(const std::string& reference) const {
  const std::size_t hash = reference.find('#');
  const auto found =
      by_id_.find(hash == std::string::npos ? reference : reference.substr(hash + 1));
  return found == by_id_.end() ? pugi::xml_node() : found->second;
}

const TraceContext& Definitions::Context(pugi::xml_node context) {
  const auto found = resolved_.find(context.hash_value());
  if (found != resolved_.end()) return found->second;
  TraceContext& out = resolved_[context.hash_value()];
  out.format = PositionsAlone();
  Resolve(context, out, 0);
  return out;
}

const TraceContext& Definitions::DefaultContext() {
  if (!default_) {
    default_.emplace();
    default_->format = PositionsAlone();
    const pugi::xml_node named = Find("DefaultContext");
    if (named) {
      Resolve(named, *default_, 0);
    } else if (bare_formats_.size() == 1) {
      default_->format = ReadFormat(bare_formats_.front());
    } else if (contexts_.size() == 1) {
      Resolve(contexts_.front(), *default_, 0);
      losses_.Add("traces without a context; the document's only one taken");
    }
  }
  return *default_;
}

// What the context refers to first, then what it says itself.
void Definitions::Resolve(pugi::xml_node context, TraceContext& out, int depth) {
  if (depth > kDeepestReference) {
    losses_.Add("contexts that refer to one another without end");
    return;
  }
  const auto referred = [&](const char* attribute) {
    const std::string reference = AttributeOf(context, attribute);
    const pugi::xml_node node = reference.empty() ? pugi::xml_node() : Find(reference);
    if (!reference.empty() && !node) losses_.Add(std::string(attribute) + " to nothing");
    return node;
  };
  if (const pugi::xml_node base = referred("contextRef")) Resolve(base, out, depth + 1);
  for (const pugi::xml_node& source : {referred("inkSourceRef"), ChildOf(context, "inkSource")}) {
    if (source) ReadInkSource(source, out);
  }
  for (const pugi::xml_node& format :
       {referred("traceFormatRef"), ChildOf(context, "traceFormat")}) {
    if (format) out.format = ReadFormat(format);
  }
  for (const pugi::xml_node& brush : {referred("brushRef"), ChildOf(context, "brush")}) {
    if (brush) out.brush = ReadBrush(brush);
  }
  for (const pugi::xml_node& time : {referred("timestampRef"), ChildOf(context, "timestamp")}) {
    if (time) out.timestamp = ReadTimestamp(time);
  }
  if (ChildOf(context, "mapping") || ChildOf(context, "canvasTransform") ||
      !AttributeOf(context, "canvasTransformRef").empty()) {
    losses_.Add("mappings of channels and of the canvas not applied");
  }
}

void Definitions::ReadInkSource(pugi::xml_node ink_source, TraceContext& out) {
  const std::string reference = AttributeOf(ink_source, "traceFormatRef");
  const pugi::xml_node referred = reference.empty() ? pugi::xml_node() : Find(reference);
  const pugi::xml_node own = ChildOf(ink_source, "traceFormat");
  if (own || referred) out.format = ReadFormat(own ? own : referred);
  ReadResolutions(ink_source, out.format);
}

TraceFormat Definitions::ReadFormat(pugi::xml_node format) {
  TraceFormat out;
  for (const pugi::xml_node& child : format.children()) {
    if (IsNamed(child, "channel") || IsNamed(child, "regularChannel")) {
      ReadChannel(child, false, out);
    }
  }
  out.regular = out.roles.size();
  for (const pugi::xml_node& child : ChildOf(format, "intermittentChannels").children()) {
    if (IsNamed(child, "channel")) ReadChannel(child, true, out);
  }
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
  } else if (is_length && !unit.empty() && unit != "dev") {
    losses_.Add("unit '" + unit + "' of channel " + name + " is not known");
  } else if (role == kTime && !unit.empty() && unit != "dev") {
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
  for (const pugi::xml_node& property : list.children()) {
    if (!IsNamed(property, "channelProperty")) continue;
    if (AttributeOf(property, "name") != "resolution") continue;
    const int role = RoleOf(AttributeOf(property, "channel"));
    if (role != kX && role != kY) continue;
    ChannelMeaning& meaning = format.meanings[static_cast<std::size_t>(role)];
    if (meaning.has_unit && !meaning.whole) continue;
    std::string unit;
    for (const pugi::xml_node& channel : ChildOf(ink_source, "traceFormat").children()) {
      if (AttributeOf(channel, "name") == AttributeOf(property, "channel")) {
        unit = AttributeOf(channel, "units");
      }
    }
    if (const auto length = CountLength(property, unit)) {
      meaning.scale = *length;
      meaning.has_unit = true;
    }
  }
}

Brush Definitions::ReadBrush(pugi::xml_node brush, int depth) {
  Brush out;
  const std::string base = AttributeOf(brush, "brushRef");
  if (!base.empty() && depth < kDeepestReference) {
    if (const pugi::xml_node node = Find(base)) out = ReadBrush(node, depth + 1);
  }
  for (const pugi::xml_node& property : brush.children()) {
    if (!IsNamed(property, "brushProperty")) continue;
    const std::string name = AttributeOf(property, "name");
    const std::string value = AttributeOf(property, "value");
    const std::optional<double> number = ParseNumber(value);
    if (name == "color") {
      const std::optional<std::uint32_t> color = ParseColor(value);
      if (!color) losses_.Add("colour '" + value + "' is not known; black taken");
      out.color = (out.color & 0xFF000000) | (color.value_or(0) & 0x00FFFFFF);
    } else if (name == "transparency" && number && *number >= 0 && *number <= 255) {
      const auto alpha = static_cast<std::uint32_t>(255 - std::lround(*number));
      out.color = (out.color & 0x00FFFFFF) | alpha << 24;
    } else if (name == "width" && number && *number >= 0) {
      const std::string unit = AttributeOf(property, "units");
      std::optional<double> length = MicrometresOf(unit);
      if (!length) {
        // Twenty pixels are a broad marker; a larger number is that of a finer unit.
        length = MicrometresOf(*number <= 20 ? "px" : "himetric");
        losses_.Add(std::string("a brush without a unit of its width; ") +
                    (*number <= 20 ? "px" : "himetric") + " taken");
      }
      const double width = *number * *length;
      if (width < 1e6) out.width_um = static_cast<std::uint32_t>(std::lround(width));
    }
  }
  return out;
}

std::optional<WideMs> Definitions::ReadTimestamp(pugi::xml_node timestamp, int depth) {
  const std::string time = AttributeOf(timestamp, "time");
  const std::string text = AttributeOf(timestamp, "timeString");
  if (!time.empty()) {
    const std::optional<WideMs> value = ParseMilliseconds(time);
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
    return static_cast<WideMs>(*value);
  }
  const std::string base = AttributeOf(timestamp, "timestampRef");
  const pugi::xml_node node = base.empty() ? pugi::xml_node() : Find(base);
  if (!node || depth > kDeepestReference) return std::nullopt;
  const std::optional<WideMs> start = ReadTimestamp(node, depth + 1);
  const std::optional<WideMs> offset = ParseMilliseconds(AttributeOf(timestamp, "timeOffset"));
  if (!start) return std::nullopt;
  return *start + offset.value_or(0);
}

}  // namespace InkTool
