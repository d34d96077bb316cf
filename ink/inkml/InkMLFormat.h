// The channels of InkML's traces: which there are, and how their values are to be read.

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "ink/Losses.h"
#include "ink/inkml/InkMLMapping.h"
#include "ink/inkml/InkMLReferences.h"
#include "ink/inkml/TraceText.h"

namespace TalvoInk {

// How the values of one channel are to be read.
struct ChannelMeaning {
  ChannelMapping mapping;          // from the values in the trace, before all else
  double scale = 1;                // X, Y: micrometres of 1; T: milliseconds of 1
  bool has_unit = false;           // X, Y: the scale is known
  bool mirrored = false;           // orientation="-ve"
  bool whole = false;              // type="integer"
  std::optional<double> min, max;  // of the values
  std::string respect_to;          // T: the id of the timestamp that it counts from

  double Mapped(double value) const { return mapping.gain * value + mapping.shift; }
};

// The channels of a trace, in their order.
struct TraceFormat {
  std::vector<int> roles;  // see TraceDecoder
  std::string names;       // of the channels, "X, Y"
  std::size_t regular = 0;
  std::array<ChannelMeaning, kRoles> meanings;
  bool Has(Role role) const;
};

// X and Y alone: the channels of a document that names none.
TraceFormat PositionsAlone();

// What a <traceFormat> says, and the resolutions of the <inkSource> that it stands in. What it says
// and ink can't hold goes into `losses`.
TraceFormat ReadTraceFormat(pugi::xml_node format, const References& references, Losses& losses);

// A resolution tells the length of one count if the values are counts: those of device units,
// of no unit, and whole numbers. Decimal values in a unit of length are lengths already, and the
// resolution only says how fine the device is.
void ReadResolutions(pugi::xml_node ink_source, TraceFormat& format);

}  // namespace TalvoInk
