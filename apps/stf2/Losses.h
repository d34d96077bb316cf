// What could not be kept, or had to be assumed, while one file was read. Said to the user once a
// file; with --strict it is a refusal.

#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace InkTool {

class Losses {
 public:
  // Something lost or assumed: said once, however often it is added.
  void Add(const std::string& what) { Count(what, 0); }

  // Something lost `times` times, said once with the sum: "points without a position left out: 3".
  void Count(const std::string& what, std::size_t times);

  // Something that the user should know, but that loses nothing: no reason for a refusal.
  void Hint(const std::string& what) { hints_.push_back(what); }

  bool empty() const { return losses_.empty(); }
  std::vector<std::string> Lines() const;
  const std::vector<std::string>& hints() const { return hints_; }

 private:
  std::vector<std::pair<std::string, std::size_t>> losses_;  // in the order in which they came up
  std::vector<std::string> hints_;
};

}  // namespace InkTool
