// The mappings of InkML (section 4 of the recommendation): from the values of a channel to those
// that are meant, and from the coordinates of a device to those of a canvas. Affine ones are
// applied; tables, formulas and products of mappings are not, which is told.

#pragma once

#include <optional>
#include <pugixml.hpp>

#include "ink/Affine.h"
#include "ink/inkml/InkMLReferences.h"

namespace TalvoInk {

// What is told of mappings that can't be applied, wherever they stand.
constexpr char kMappingsLost[] = "mappings of channels and of the canvas not applied";

// The mapping of one channel: a value v means gain * v + shift.
struct ChannelMapping {
  double gain = 1, shift = 0;
};

// From the coordinates of the device to those of the canvas.
struct CanvasMapping {
  Affine affine;
  std::optional<double> unit_um;  // of the canvas, if it states one; else the device's
};

// The mapping of a <channel>, its own or the one that it refers to; none if it has none that
// changes values. One that can't be applied goes into `losses`.
std::optional<ChannelMapping> ReadChannelMapping(pugi::xml_node channel,
                                                 const References& references, Losses& losses);

// The mapping of a <context>, by its <canvasTransform> and <canvas> or those that it refers to; as
// above.
std::optional<CanvasMapping> ReadCanvasMapping(pugi::xml_node context, const References& references,
                                               Losses& losses);

}  // namespace TalvoInk
