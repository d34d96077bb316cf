// Ink from SVG drawings (SVG 1.1): lines become strokes. Paths, polylines, polygons, lines,
// rectangles, circles and ellipses are read, with their transforms, colours, opacities and widths,
// by attributes and by style="", inherited as SVG says; curves and arcs become points that lie
// within 10 micrometres of them. Lengths without a unit are pixels of 1/96 inch.
//
// What is not a line is lost, and reported: fills (a shape without a line altogether), text,
// pictures, clones, style sheets, gradients, dashes, clip paths. There are no times and no force.

#pragma once

#include <string>

#include "ink/Ink.h"
#include "ink/Losses.h"
#include "ink/ReadOptions.h"

namespace TalvoInk {

// Reads the bytes of a whole drawing as ink of one page, without an address unless `options.page`
// names it; its size becomes a marker, "paper 210x297 mm plain". Throws InkError, with line and
// column, if the bytes are not SVG, for path data that is damaged, for a drawing of more than
// kMostSvgPoints points, and if no line is left.
Ink ReadSvg(const std::string& bytes, const ReadOptions& options, Losses& losses);

}  // namespace TalvoInk
