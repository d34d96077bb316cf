// The text of one InkML trace, decoded: points separated by commas, values by white space or by
// nothing if a sign or a prefix tells them apart. Values may be explicit (!), differences (')
// or second differences ("), sticky for each channel; decimal with or without exponent,
// hexadecimal (#), truth values (T, F), "as before" (*) and "not reported" (?).
//
// "As before" goes by the channel's prefix: after ! the value stays, after ' the last velocity is
// added again, after " the last acceleration is added to the velocity again. From 0 and 5, the
// values "2 * * make 12, 21, 32: velocities 7, 9, 11. A channel at the end of the format that a
// point leaves out goes on in the same way, unless it is a position: a point without X or Y is not
// made up.
//
// This knows nothing of XML or of what the channels mean.

#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace TalvoInk {

// The channels that ink is made of; all others are read over.
enum Role { kX, kY, kForce, kTime, kSampleType, kSampleFlags, kRoles };

// A point's values by role, NaN if the trace reports none.
using TracePoint = std::array<double, kRoles>;

// A fault in the text, `offset` bytes from where the decoder was told that the text begins.
struct TraceFault {
  std::size_t offset;
  std::string reason;
};

class TraceDecoder {
 public:
  // More points than anyone draws in one go; a trace of more is refused.
  static constexpr std::size_t kMostPoints = 4000000;

  // `roles`: for each channel in the order of the trace format its role, or -1 to read it over.
  // The first `regular` of them stand in every point, the rest may be left out.
  TraceDecoder(std::vector<int> roles, std::size_t regular);

  // Decodes a piece of the text that begins at `offset`; pieces end where a comment stands, and no
  // value goes on from one into the next. Throws TraceFault.
  void Feed(const char* text, std::size_t size, std::size_t offset);

  // Ends the last point. No Feed after it. Throws TraceFault.
  void Finish(std::size_t offset);

  // The points that have a position.
  const std::vector<TracePoint>& points() const { return points_; }

  std::size_t unplaced() const { return unplaced_; }          // points left out: no X or Y reported
  std::size_t undeclared() const { return undeclared_; }      // values left out: no such channel
  std::size_t short_points() const { return short_points_; }  // points that end too early

 private:
  enum Order : unsigned char { kExplicit, kDifference, kSecondDifference };
  struct Channel {
    Order order = kExplicit;
    bool known = false;  // a value came before
    double value = 0;
    double velocity = 0;      // the last step
    double acceleration = 0;  // what the last step was longer than the one before
    bool moving = false;      // a step came before
  };

  void Value(const char*& at, const char* end, std::size_t offset);
  void Accept(double value, std::size_t offset);
  void Repeat(Channel& channel, std::size_t offset);
  void RepeatTheRest(std::size_t offset);
  void Put(double value);
  void EndPoint(std::size_t offset);

  const std::vector<int> roles_;
  const std::size_t regular_;
  std::vector<Channel> channels_;
  std::size_t next_ = 0;  // the channel of the next value
  TracePoint point_;
  std::vector<TracePoint> points_;
  std::size_t unplaced_ = 0;
  std::size_t undeclared_ = 0;
  std::size_t short_points_ = 0;
};

}  // namespace TalvoInk
