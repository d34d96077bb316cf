// Cuts a stream of bytes into lines. Knows nothing of what a line holds. Belongs to one thread.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace IPC {

// The longest line in either direction, its LF included.
inline constexpr std::size_t kMaxLineBytes = std::size_t(1) << 20;

class LineDecoder {
 public:
  enum class Result {
    kLine,     // here is the next line
    kNoLine,   // no further line is complete
    kTooLong,  // the next line is longer than kMaxLineBytes, whether or not its end is there yet;
               // so is every later answer
  };

  // Takes the next bytes of the stream. Views of earlier lines end here.
  void Append(const char* bytes, std::size_t size);

  // The next line without its LF and the blanks before that, valid until the next Append. Lines of
  // blanks (space, tab, CR) alone are passed over.
  Result Next(std::string_view& line);

  // How many of the bytes that have been taken lie from the beginning of a line, which Next gave,
  // to the end.
  std::size_t CountFrom(std::string_view line) const {
    return static_cast<std::size_t>(bytes_.data() + bytes_.size() - line.data());
  }

  // The bytes that have been taken and not been given as lines.
  std::size_t size() const { return bytes_.size() - begin_; }

 private:
  std::string bytes_;
  std::size_t begin_ = 0;    // where the next line begins
  std::size_t scanned_ = 0;  // up to here there is no LF in the next line
};

}  // namespace IPC
