#include "ink/Statistics.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace TalvoInk {
namespace {

// What a page is reckoned with, stroke by stroke.
struct Reckoning {
  double timed_length_mm = 0;
  double force_sum = 0;
  std::optional<double> last_end_ms;  // a time of day
};

struct Times {
  double first, last;
  std::size_t count = 0;
};

Times TimesOf(const std::vector<Stf2Sample>& points) {
  Times times{0, 0};
  for (const Stf2Sample& point : points) {
    if ((point.flags & STF2_SAMPLE_HAS_TIME) == 0) continue;
    const double time = point.time_offset_ms;
    times.first = times.count == 0 ? time : std::min(times.first, time);
    times.last = times.count == 0 ? time : std::max(times.last, time);
    ++times.count;
  }
  return times;
}

std::optional<ForceStatistics> ForceOf(const std::vector<Stf2Sample>& points) {
  ForceStatistics force{0, 1, 0};
  for (const Stf2Sample& point : points) {
    const double share = point.force / 65535.0;
    force.mean += share / double(points.size());
    force.least = std::min(force.least, share);
    force.most = std::max(force.most, share);
  }
  return force.most > 0 ? std::optional<ForceStatistics>(force) : std::nullopt;
}

double LengthOf(const std::vector<Stf2Sample>& points) {
  double um = 0;
  for (std::size_t i = 1; i < points.size(); ++i) {
    um += std::hypot(double(points[i].x_um) - points[i - 1].x_um,
                     double(points[i].y_um) - points[i - 1].y_um);
  }
  return um / 1000;
}

StrokeStatistics Measure(const Stroke& stroke, Reckoning& page) {
  const std::vector<Stf2Sample> points = PositionsOf(stroke);
  const Times times = TimesOf(points);
  StrokeStatistics out;
  out.start_ms = stroke.start_time_ms;
  out.points = points.size();
  out.length_mm = LengthOf(points);
  out.force = ForceOf(points);
  if (times.count > 1) out.duration_ms = times.last - times.first;
  if (out.duration_ms && *out.duration_ms > 0) {
    out.speed_mm_s = out.length_mm / *out.duration_ms * 1000;
  }
  if (stroke.start_time_ms == 0 || times.count == 0) {
    page.last_end_ms.reset();
    return out;
  }
  const double begin = double(stroke.start_time_ms) + times.first;
  if (page.last_end_ms) out.pause_ms = begin - *page.last_end_ms;
  page.last_end_ms.reset();
  const bool end_is_known = times.count > 1 || points.size() == 1;
  if (end_is_known) page.last_end_ms = double(stroke.start_time_ms) + times.last;
  return out;
}

void Add(const StrokeStatistics& stroke, PageStatistics& page, Reckoning& reckoning) {
  page.points += stroke.points;
  page.length_mm += stroke.length_mm;
  if (stroke.duration_ms) {
    page.writing_ms = page.writing_ms.value_or(0) + *stroke.duration_ms;
    reckoning.timed_length_mm += stroke.length_mm;
  }
  if (stroke.pause_ms && *stroke.pause_ms > 0) {
    ++page.pauses;
    page.pause_ms += *stroke.pause_ms;
    page.longest_pause_ms = std::max(page.longest_pause_ms, *stroke.pause_ms);
  }
  if (stroke.force) {
    if (!page.force) page.force = ForceStatistics{0, 1, 0};
    page.force->least = std::min(page.force->least, stroke.force->least);
    page.force->most = std::max(page.force->most, stroke.force->most);
    reckoning.force_sum += stroke.force->mean * double(stroke.points);
  }
  page.strokes.push_back(stroke);
}

void Finish(PageStatistics& page, const Reckoning& reckoning) {
  if (page.writing_ms && *page.writing_ms > 0) {
    page.speed_mm_s = reckoning.timed_length_mm / *page.writing_ms * 1000;
  }
  if (!page.force) return;
  std::size_t pressed = 0;
  for (const StrokeStatistics& stroke : page.strokes) pressed += stroke.force ? stroke.points : 0;
  page.force->mean = reckoning.force_sum / double(pressed);
}

}  // namespace

std::vector<PageStatistics> StatisticsOf(const Ink& ink) {
  std::vector<PageStatistics> pages;
  std::vector<Reckoning> reckonings;
  std::map<std::optional<std::string>, std::size_t> by_page;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    const auto [found, fresh] = by_page.emplace(stroke->page, pages.size());
    if (fresh) {
      pages.emplace_back().page = stroke->page;
      reckonings.emplace_back();
    }
    Reckoning& reckoning = reckonings[found->second];
    Add(Measure(*stroke, reckoning), pages[found->second], reckoning);
  }
  for (std::size_t i = 0; i < pages.size(); ++i) Finish(pages[i], reckonings[i]);
  return pages;
}

}  // namespace TalvoInk
