// When each point of a replay is drawn: the pen's own times, with long pauses shortened, at another
// speed. If the ink has no times, a hand's usual ones are assumed.

#pragma once

#include <cstddef>
#include <vector>

#include "ink/Ink.h"

namespace TalvoInk {

class ReplayTimes {
 public:
  // The strokes of the replay, which must outlive this object. Pauses longer than `max_pause_ms`,
  // between strokes and within them, become as long as that; then all is `speed` times as fast.
  ReplayTimes(std::vector<const Stroke*> strokes, double max_pause_ms, double speed);

  // For each point of PositionsOf(*strokes[i]) its time after the replay's beginning, never one
  // before the last, in milliseconds.
  std::vector<double> Of(std::size_t i) const;

  // The strokes, by their number, in the order in which they begin.
  const std::vector<std::size_t>& order() const { return order_; }

  double duration_ms() const { return duration_ms_; }

  // How many strokes have no times of their own.
  std::size_t assumed() const { return assumed_; }

 private:
  double Replayed(double time_ms) const;

  std::vector<std::vector<double>> times_;  // of each stroke's points, as the pen drew them
  struct Cut {
    double time_ms;   // from here on
    double taken_ms;  // this much is taken off
  };
  std::vector<Cut> cuts_;
  std::vector<std::size_t> order_;
  double speed_;
  double duration_ms_ = 0;
  std::size_t assumed_ = 0;
};

}  // namespace TalvoInk
