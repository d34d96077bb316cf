#include "ink/drawing/ReplayTimes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace TalvoInk {
namespace {

// How a hand writes that was not timed.
constexpr double kUsualSpeed = 60;   // micrometres of a millisecond: 6 cm a second
constexpr double kUsualPause = 250;  // between two strokes

bool IsTimed(const std::vector<Stf2Sample>& points) {
  const auto has_time = [](const Stf2Sample& point) {
    return (point.flags & STF2_SAMPLE_HAS_TIME) != 0;
  };
  return points.size() > 1 ? std::count_if(points.begin(), points.end(), has_time) > 1
                           : !points.empty() && has_time(points.front());
}

// The times of the points after `begin` at the usual speed.
std::vector<double> UsualTimes(const std::vector<Stf2Sample>& points, double begin) {
  std::vector<double> times;
  double time = begin;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (i > 0) {
      time += std::hypot(double(points[i].x_um) - points[i - 1].x_um,
                         double(points[i].y_um) - points[i - 1].y_um) /
              kUsualSpeed;
    }
    times.push_back(time);
  }
  return times;
}

// The points' own times; one without a time has that of the point before, and none goes back.
std::vector<double> OwnTimes(const std::vector<Stf2Sample>& points, double begin) {
  std::vector<double> times;
  double last = begin;
  for (const Stf2Sample& point : points) {
    if ((point.flags & STF2_SAMPLE_HAS_TIME) != 0) {
      last = std::max(last, begin + point.time_offset_ms);
    }
    times.push_back(last);
  }
  return times;
}

}  // namespace

ReplayTimes::ReplayTimes(std::vector<const Stroke*> strokes, double max_pause_ms, double speed)
    : speed_(speed) {
  double end = 0;  // of the stroke before
  for (const Stroke* stroke : strokes) {
    const std::vector<Stf2Sample> points = PositionsOf(*stroke);
    const bool timed = IsTimed(points);
    const bool dated = stroke->start_time_ms != 0;
    const double begin = dated || timed ? double(stroke->start_time_ms) : end + kUsualPause;
    times_.push_back(timed ? OwnTimes(points, begin) : UsualTimes(points, begin));
    if (!timed && points.size() > 1) ++assumed_;
    if (!times_.back().empty()) end = times_.back().back();
  }
  std::vector<double> all;
  for (const auto& times : times_) all.insert(all.end(), times.begin(), times.end());
  std::sort(all.begin(), all.end());
  double taken = all.empty() ? 0 : all.front();
  cuts_.push_back({taken, taken});
  for (std::size_t i = 1; i < all.size(); ++i) {
    const double pause = all[i] - all[i - 1];
    if (pause <= max_pause_ms) continue;
    taken += pause - max_pause_ms;
    cuts_.push_back({all[i], taken});
  }
  duration_ms_ = all.empty() ? 0 : Replayed(all.back());
  order_.resize(strokes.size());
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  const auto begins = [&](std::size_t i) { return times_[i].empty() ? 0 : times_[i].front(); };
  std::stable_sort(order_.begin(), order_.end(),
                   [&](std::size_t a, std::size_t b) { return begins(a) < begins(b); });
}

double ReplayTimes::Replayed(double time_ms) const {
  const auto after = [](double time, const Cut& cut) { return time < cut.time_ms; };
  const auto next = std::upper_bound(cuts_.begin(), cuts_.end(), time_ms, after);
  const double taken = next == cuts_.begin() ? cuts_.front().taken_ms : std::prev(next)->taken_ms;
  return (time_ms - taken) / speed_;
}

std::vector<double> ReplayTimes::Of(std::size_t i) const {
  std::vector<double> times = times_[i];
  for (double& time : times) time = Replayed(time);
  return times;
}

}  // namespace TalvoInk
