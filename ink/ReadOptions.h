// What a caller can state about ink that its document leaves out or gets wrong. Each reader uses
// the members for its format.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ink/Sink.h"

namespace TalvoInk {

// A unit that was assumed for positions without one, and the line for the user that says so.
struct AssumedUnit {
  double um;
  std::string told;
  bool is_invented = false;  // a scale, since no unit is plausible
};

// Every member may be left as it is: then the document alone decides.
struct ReadOptions {
  std::optional<std::uint64_t> pen;            // serial, instead of the document's
  std::optional<std::string> page;             // address, instead of the document's
  std::optional<std::uint64_t> start_time_ms;  // since 1970 (UTC), of ink without a time of day
  std::optional<double> unit_um;               // of positions that have no unit: InkML alone

  // InkML alone: the unit to assume for positions that have none, instead of what the document by
  // itself would suggest; unlike `unit_um` it is a guess, and is told as one. So documents that
  // belong together get one unit (see UnitEvidence).
  std::optional<AssumedUnit> assumed_unit;

  // InkML alone: each group of the document's root gets a page of its own: `page` with its last
  // field counted up in the order of the groups' first strokes; a group without strokes takes none.
  // All strokes outside of groups share one page, counted like that of a group. Needs `page`.
  bool page_for_each_group = false;

  TellShare tell;  // how far the reading is
};

}  // namespace TalvoInk
