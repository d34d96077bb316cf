// The identity of one digital pen: a 64-bit number and the one text form it has in the system.

#pragma once

#include <cstdint>
#include <string>

namespace TalvoCppUtils {

// A value; immutable, comparable, safe to use from any thread.
class PenId {
 public:
  explicit PenId(std::uint64_t number) : number_(number) {}

  std::uint64_t number() const { return number_; }

  // Sixteen upper-case hexadecimal digits in four groups joined by hyphens:
  // 81985529216486895 is "0123-4567-89AB-CDEF".
  std::string string() const;

  // Reads the text form, in upper or lower case. False, with `pen` untouched, for anything else.
  static bool Parse(const std::string& text, PenId& pen);

  friend bool operator==(const PenId& a, const PenId& b) { return a.number_ == b.number_; }
  friend bool operator!=(const PenId& a, const PenId& b) { return a.number_ != b.number_; }
  friend bool operator<(const PenId& a, const PenId& b) { return a.number_ < b.number_; }

 private:
  std::uint64_t number_;
};

}  // namespace TalvoCppUtils
