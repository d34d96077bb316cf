#include "ink/inkml/TraceText.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

namespace TalvoInk {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

bool IsWhite(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

TracePoint NoValues() {
  TracePoint point;
  point.fill(kNone);
  return point;
}

void SkipWhite(const char*& at, const char* end) {
  while (at != end && IsWhite(*at)) ++at;
}

// Whether at least one digit of a number stands here.
bool BeginsNumber(const char* at, const char* end) {
  const bool hexadecimal = at != end && *at == '#';
  if (at != end && (*at == '#' || *at == '.')) ++at;
  if (at == end) return false;
  const auto byte = static_cast<unsigned char>(*at);
  return hexadecimal ? std::isxdigit(byte) != 0 : std::isdigit(byte) != 0;
}

// A hexadecimal number behind its "#", or a decimal one. False if there is not one, or not one that
// is finite.
bool ParseMagnitude(const char*& at, const char* end, double& value) {
  if (at != end && *at == '#') {
    std::uint64_t bits = 0;
    const auto result = std::from_chars(at + 1, end, bits, 16);
    if (result.ec != std::errc()) return false;
    at = result.ptr;
    value = static_cast<double>(bits);
    return true;
  }
  if (at == end || !((*at >= '0' && *at <= '9') || *at == '.')) return false;
  const auto result = std::from_chars(at, end, value);
  if (result.ec == std::errc::result_out_of_range) return false;
  if (result.ec != std::errc() || !std::isfinite(value)) return false;
  at = result.ptr;
  return true;
}

}  // namespace

TraceDecoder::TraceDecoder(std::vector<int> roles, std::size_t regular)
    : roles_(std::move(roles)), regular_(regular), channels_(roles_.size()), point_(NoValues()) {}

void TraceDecoder::Feed(const char* text, std::size_t size, std::size_t offset) {
  const char* at = text;
  const char* const end = text + size;
  for (SkipWhite(at, end); at != end; SkipWhite(at, end)) {
    const std::size_t place = offset + static_cast<std::size_t>(at - text);
    if (*at == ',') {
      EndPoint(place);
      ++at;
    } else {
      Value(at, end, place);
    }
  }
}

void TraceDecoder::Finish(std::size_t offset) {
  EndPoint(offset);
}

// One value with its prefix and its sign.
void TraceDecoder::Value(const char*& at, const char* end, std::size_t offset) {
  const bool declared = next_ < channels_.size();
  if (*at == '!' || *at == '\'' || *at == '"') {
    const Order order = *at == '!' ? kExplicit : *at == '\'' ? kDifference : kSecondDifference;
    if (declared) channels_[next_].order = order;
    SkipWhite(++at, end);
    if (at == end) throw TraceFault{offset, "a prefix without a value"};
  }
  if (*at == '*' || *at == '?') {
    if (declared && *at == '*' && !channels_[next_].known) {
      throw TraceFault{offset, "'*' without a value before it"};
    }
    const bool repeats = declared && *at == '*';
    ++at;
    if (repeats) {
      Repeat(channels_[next_], offset);
    } else {
      Put(kNone);
    }
    return;
  }
  if (*at == 'T' || *at == 'F') {
    const double truth = *at++ == 'T' ? 1 : 0;
    if (declared) channels_[next_].order = kExplicit;
    Accept(truth, offset);
    return;
  }
  const bool negative = *at == '-';
  if (negative || *at == '+') SkipWhite(++at, end);
  double value = 0;
  if (!ParseMagnitude(at, end, value)) {
    throw TraceFault{
        offset, BeginsNumber(at, end) ? "a number that can't be held" : "not a value of a trace"};
  }
  Accept(negative ? -value : value, offset);
}

// The value that the channel comes to without a word: it stands, or a pen that moves goes on
// moving.
void TraceDecoder::Repeat(Channel& channel, std::size_t offset) {
  if (channel.order == kExplicit) channel.velocity = 0;
  if (channel.order != kSecondDifference) channel.acceleration = 0;
  channel.velocity += channel.acceleration;
  channel.value += channel.velocity;
  if (!std::isfinite(channel.value)) throw TraceFault{offset, "a number that can't be held"};
  Put(channel.value);
}

// Adds up differences as the channel's prefix says.
void TraceDecoder::Accept(double value, std::size_t offset) {
  if (next_ >= channels_.size()) {
    Put(value);
    return;
  }
  Channel& channel = channels_[next_];
  if (channel.order != kExplicit && !channel.known) {
    throw TraceFault{offset, "a difference without a value before it"};
  }
  const double given = value;
  if (channel.order == kSecondDifference) value += channel.velocity;
  if (channel.order != kExplicit) value += channel.value;
  if (!std::isfinite(value)) throw TraceFault{offset, "a number that can't be held"};
  const double velocity = channel.known ? value - channel.value : 0;
  const bool second = channel.order == kSecondDifference;
  channel.acceleration = second ? given : channel.moving ? velocity - channel.velocity : 0;
  channel.velocity = velocity;
  channel.moving = channel.known;
  channel.value = value;
  channel.known = true;
  Put(value);
}

void TraceDecoder::Put(double value) {
  if (next_ >= roles_.size()) {
    ++undeclared_;
  } else if (roles_[next_] >= 0) {
    point_[static_cast<std::size_t>(roles_[next_])] = value;
  }
  ++next_;
}

void TraceDecoder::RepeatTheRest(std::size_t offset) {
  while (next_ < channels_.size()) {
    const bool is_position = roles_[next_] == kX || roles_[next_] == kY;
    if (is_position || !channels_[next_].known) {
      Put(kNone);
    } else {
      Repeat(channels_[next_], offset);
    }
  }
}

void TraceDecoder::EndPoint(std::size_t offset) {
  if (next_ == 0) return;  // trailing and doubled commas
  if (next_ < regular_) ++short_points_;
  RepeatTheRest(offset);
  if (std::isnan(point_[kX]) || std::isnan(point_[kY])) {
    ++unplaced_;
  } else if (points_.size() == kMostPoints) {
    throw TraceFault{offset, "a trace of more than " + std::to_string(kMostPoints) + " points"};
  } else {
    points_.push_back(point_);
  }
  point_ = NoValues();
  next_ = 0;
}

}  // namespace TalvoInk
