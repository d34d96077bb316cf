// What a caller can state about InkML that the document leaves out, or states otherwise.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ink/Sink.h"
#include "ink/inkml/InkMLUnits.h"

namespace TalvoInk {

// Every member may be left as it is: then the document alone decides.
struct InkMLOptions {
  std::optional<std::uint64_t> pen;            // serial, instead of the document's
  std::optional<std::string> page;             // address, instead of the document's
  std::optional<std::uint64_t> start_time_ms;  // since 1970 (UTC), of ink without a time of day
  std::optional<double> unit_um;               // of positions that have no unit

  // The unit to assume for positions that have none, instead of what the document alone would
  // suggest; unlike `unit_um` it is a guess, and is told as one. So documents that belong together
  // get one unit (see UnitEvidence).
  std::optional<AssumedUnit> assumed_unit;

  // Each group of the document's root gets a page of its own: `page` with its last field counted up
  // in the order of the groups' first strokes; a group without strokes takes none. All strokes
  // outside of groups share one page, counted like that of a group. Needs `page`.
  bool page_for_each_group = false;

  TellShare tell;  // how far the reading is
};

}  // namespace TalvoInk
