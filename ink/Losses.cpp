#include "ink/Losses.h"

namespace TalvoInk {
namespace {

constexpr std::size_t kMostLosses = 50;

}  // namespace

void Losses::Count(const std::string& what, std::size_t times) {
  Count(losses_, what, times);
}

void Losses::Note(const std::string& what, std::size_t times) {
  Count(notes_, what, times);
}

void Losses::Count(List& list, const std::string& what, std::size_t times) {
  for (auto& entry : list) {
    if (entry.first == what) {
      entry.second += times;
      return;
    }
  }
  if (list.size() < kMostLosses) {
    list.emplace_back(what, times);
  } else if (list.size() == kMostLosses) {
    list.emplace_back("more of this kind", 0);
  }
}

std::vector<std::string> Losses::LinesOf(const List& list) {
  std::vector<std::string> lines;
  for (const auto& [what, times] : list) {
    lines.push_back(times == 0 ? what : what + ": " + std::to_string(times));
  }
  return lines;
}

}  // namespace TalvoInk
