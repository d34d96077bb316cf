#include "ink/Summary.h"

#include <algorithm>
#include <map>

namespace TalvoInk {
namespace {

void TakeCoordinate(const Stroke& stroke, const Stf2Sample& sample, Summary& out,
                    PageSummary& page) {
  ++out.coordinates;
  const bool first = !out.has_bounds;
  out.has_bounds = true;
  out.left_um = first ? sample.x_um : std::min(out.left_um, sample.x_um);
  out.right_um = first ? sample.x_um : std::max(out.right_um, sample.x_um);
  out.top_um = first ? sample.y_um : std::min(out.top_um, sample.y_um);
  out.bottom_um = first ? sample.y_um : std::max(out.bottom_um, sample.y_um);
  out.least_force = first ? sample.force : std::min(out.least_force, sample.force);
  out.most_force = first ? sample.force : std::max(out.most_force, sample.force);
  if ((sample.flags & STF2_SAMPLE_HAS_TIME) == 0 || stroke.start_time_ms == 0) return;
  const std::uint64_t time = stroke.start_time_ms + sample.time_offset_ms;
  out.first_ms = page.timed || out.first_ms != 0 ? std::min(out.first_ms, time) : time;
  out.last_ms = std::max(out.last_ms, time);
  page.timed = true;
}

}  // namespace

Summary Summarize(const Ink& ink) {
  Summary out;
  out.pen = ink.pen;
  std::map<std::optional<std::string>, std::size_t> by_page;
  for (const Item& item : ink.items) {
    if (std::holds_alternative<Marker>(item)) ++out.markers;
    if (std::holds_alternative<Property>(item)) ++out.properties;
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    ++out.strokes;
    const auto [found, fresh] = by_page.emplace(stroke->page, out.pages.size());
    if (fresh) out.pages.push_back({stroke->page, 0, false});
    PageSummary& page = out.pages[found->second];
    ++page.strokes;
    out.samples += stroke->samples.size();
    for (const Stf2Sample& sample : stroke->samples) {
      if (sample.type == STF2_SAMPLE_COORDINATE) TakeCoordinate(*stroke, sample, out, page);
    }
  }
  return out;
}

}  // namespace TalvoInk
