#include "Losses.h"

namespace InkTool {
namespace {

// A file of nonsense could name a different thing in each of its lines.
constexpr std::size_t kMostLosses = 50;

}  // namespace

void Losses::Count(const std::string& what, std::size_t times) {
  for (auto& loss : losses_) {
    if (loss.first == what) {
      loss.second += times;
      return;
    }
  }
  if (losses_.size() < kMostLosses) {
    losses_.emplace_back(what, times);
  } else if (losses_.size() == kMostLosses) {
    losses_.emplace_back("more of this kind", 0);
  }
}

std::vector<std::string> Losses::Lines() const {
  std::vector<std::string> lines;
  for (const auto& [what, times] : losses_) {
    lines.push_back(times == 0 ? what : what + ": " + std::to_string(times));
  }
  return lines;
}

}  // namespace InkTool
