// Ink from InkML, as the world writes it. Lengths become micrometres and y grows downward; what
// InkML says and STF2 can't hold, and what it leaves out and had to be assumed, goes into Losses.
//
// Where InkML has no place of its own, annotations carry what STF2 knows:
//   <annotation type="pen">0123-4567-89AB-CDEF</annotation>   in <ink>: the pen
//   <annotation type="page">1.2.3.4</annotation>              in <ink> or <traceGroup>: the page of
//                                                             the traces below, the nearest counts
//   <annotation type="marker" page=".." time=".." name=".."/> in <ink>: a marker
//   <annotation type="property" key=".." value=".."/>         in <ink>: a property
//   <annotation type="KEY">VALUE</annotation>                 in <ink>: a property as well

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Ink.h"
#include "Losses.h"

namespace InkTool {

struct InkMLOptions {
  std::optional<std::uint64_t> pen;            // instead of the file's
  std::optional<std::string> page;             // instead of the file's
  bool page_for_each_group = false;            // counts the last field of `page` up, see below
  std::optional<std::uint64_t> start_time_ms;  // of ink whose time of day is not known
  std::optional<double> unit_um;               // of positions that have no unit
};

// Where each group of the document's root gets a page of its own, the pages are counted in the
// order of the groups' first strokes; a group without strokes takes none. All strokes outside of
// groups share one page, counted like that of a group.

// Whether the bytes look like XML rather than STF2.
bool LooksLikeXml(const std::string& bytes);

// Throws Refusal, with line and column, for what is no InkML and for numbers that ink can't hold.
// Costs two passes over the traces; memory for the document's tree and for the ink.
Ink ReadInkML(const std::string& bytes, const InkMLOptions& options, Losses& losses);

// "1.2.3.4" and 2 is "1.2.3.6". Throws Refusal where the last field would be no 32-bit number.
std::string PageAfter(const std::string& page, std::uint64_t count);

}  // namespace InkTool
