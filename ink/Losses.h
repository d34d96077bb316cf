// What could not be kept, or had to be assumed, while one document was read: lines for its reader,
// in English, in the order in which they came up. One object serves one reading. A caller that
// wants nothing lost reads with an empty object and refuses the ink unless it is still empty.

#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace TalvoInk {

class Losses {
 public:
  // Something lost or assumed: told once, however often it is added.
  void Add(const std::string& what) { Count(what, 0); }

  // Something lost `times` times, told once with the sum: "points without a position left out: 3".
  void Count(const std::string& what, std::size_t times);

  // Something that the ink lacks, told like a loss: nothing is lost or made up, so it is not a
  // reason to refuse the ink. "strokes without a time: 3".
  void Note(const std::string& what, std::size_t times = 0);

  // The ink names no pen, so that pen 0 was taken. It loses nothing and is not a reason to refuse.
  void AssumePen() { is_pen_assumed_ = true; }

  bool empty() const { return losses_.empty(); }

  // At most 51 lines each: a file of nonsense could lose a different thing in each of its lines.
  std::vector<std::string> Lines() const { return LinesOf(losses_); }
  std::vector<std::string> Notes() const { return LinesOf(notes_); }
  bool is_pen_assumed() const { return is_pen_assumed_; }

 private:
  using List = std::vector<std::pair<std::string, std::size_t>>;  // in the order they came up
  static void Count(List& list, const std::string& what, std::size_t times);
  static std::vector<std::string> LinesOf(const List& list);

  List losses_;
  List notes_;
  bool is_pen_assumed_ = false;
};

}  // namespace TalvoInk
