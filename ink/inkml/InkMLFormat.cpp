#include "ink/inkml/InkMLFormat.h"

#include <algorithm>
#include <utility>

#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

constexpr std::size_t kMostChannels = 64;

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

// Micrometres of one count of a channel whose resolution is stated; none if it says nothing.
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

void ReadChannel(pugi::xml_node channel, bool intermittent, const References& references,
                 TraceFormat& format, Losses& losses) {
  if (format.roles.size() == kMostChannels) {
    losses.Add("more than " + std::to_string(kMostChannels) + " channels");
    return;
  }
  const std::string name = AttributeOf(channel, "name");
  format.names += (format.names.empty() ? "" : ", ") + name;
  const std::optional<ChannelMapping> mapping = ReadChannelMapping(channel, references, losses);
  int role = RoleOf(name);
  if (role >= 0 && format.Has(static_cast<Role>(role))) role = -1;
  if (role < 0) losses.Add("channel " + name + " dropped");
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
    losses.Add("unit '" + unit + "' of channel " + name + " is not known");
  } else if (role == kTime && !IsUnitless(unit)) {
    losses.Add("unit '" + unit + "' of channel T is not known; ms taken");
  }
  meaning.mapping = mapping.value_or(ChannelMapping());
  meaning.mirrored = AttributeOf(channel, "orientation") == "-ve";
  meaning.whole = AttributeOf(channel, "type") == "integer";
  meaning.min = ParseNumber(AttributeOf(channel, "min"));
  meaning.max = ParseNumber(AttributeOf(channel, "max"));
  meaning.respect_to = AttributeOf(channel, "respectTo");
  if (intermittent && is_length) losses.Add("channel " + name + " is not in every point");
}

}  // namespace

bool TraceFormat::Has(Role role) const {
  return std::find(roles.begin(), roles.end(), role) != roles.end();
}

TraceFormat PositionsAlone() {
  TraceFormat format;
  format.roles = {kX, kY};
  format.names = "X, Y";
  format.regular = 2;
  return format;
}

TraceFormat ReadTraceFormat(pugi::xml_node format, const References& references, Losses& losses) {
  TraceFormat out;
  const auto read_channels = [&](pugi::xml_node list, bool intermittent) {
    for (const pugi::xml_node& child : PartsOf(list)) {
      if (IsNamed(child, "channel")) ReadChannel(child, intermittent, references, out, losses);
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

void ReadResolutions(pugi::xml_node ink_source, TraceFormat& format) {
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

}  // namespace TalvoInk
