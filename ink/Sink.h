// Where large outputs go, piece by piece, and how far long work is: what a program that writes
// files and has somebody waiting hands to the functions of this library.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace TalvoInk {

// Takes the next bytes of an output. What it throws ends the work and goes on to the caller.
using Sink = std::function<void(std::string_view)>;

// Is told from time to time which share of the work is done, from 0 to 1 and never less than
// before, on the thread that does the work. It may throw to cancel. May be empty.
using TellShare = std::function<void(double)>;

// Text on its way to a sink: `text` is appended to, and handed on in large pieces.
class TextSink {
 public:
  explicit TextSink(Sink sink) : sink_(std::move(sink)) {}

  std::string text;

  // To be called now and then: hands the text on if there is much of it.
  void HandOn() {
    if (text.size() >= kPiece) Finish();
  }

  // Hands on all that is left.
  void Finish() {
    sink_(text);
    text.clear();
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{64} << 10;
  const Sink sink_;
};

// Tells the share of a known amount of work, a thousand times at most.
class ShareTeller {
 public:
  // The work is the part of the whole from `begin` to `end`.
  ShareTeller(const TellShare& tell, std::size_t amount, double begin = 0, double end = 1)
      : tell_(tell), amount_(amount), begin_(begin), end_(end) {}

  // So much more of it is done.
  void Done(std::size_t amount) { DoneTo(done_ + amount); }

  // So much of it is done in all; less than before changes nothing.
  void DoneTo(std::size_t amount) {
    done_ = amount > done_ ? amount : done_;
    if (!tell_ || done_ < next_) return;
    next_ = done_ + amount_ / 1000 + 1;
    const double share = amount_ == 0 ? 1 : static_cast<double>(done_) / double(amount_);
    tell_(begin_ + (end_ - begin_) * (share < 1 ? share : 1));
  }

 private:
  const TellShare& tell_;
  const std::size_t amount_;
  const double begin_, end_;
  std::size_t done_ = 0;
  std::size_t next_ = 0;
};

}  // namespace TalvoInk
