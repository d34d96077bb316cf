#include "LineDecoder.h"

namespace IPC {
namespace {

// A connection that once sent a long line should not hold its memory for ever.
constexpr std::size_t kKeptBytes = 64 * 1024;

}  // namespace

void LineDecoder::Append(const char* bytes, std::size_t size) {
  bytes_.erase(0, begin_);
  scanned_ -= begin_;
  begin_ = 0;
  if (bytes_.empty() && bytes_.capacity() > kKeptBytes) std::string().swap(bytes_);
  bytes_.append(bytes, size);
}

LineDecoder::Result LineDecoder::Next(std::string_view& line) {
  for (;;) {
    const std::size_t end = bytes_.find('\n', scanned_);
    const std::size_t length = (end == std::string::npos ? bytes_.size() : end) - begin_;
    if (length >= kMaxLineBytes) return Result::kTooLong;
    if (end == std::string::npos) {
      scanned_ = bytes_.size();
      return Result::kNoLine;
    }
    line = std::string_view(bytes_).substr(begin_, length);
    begin_ = scanned_ = end + 1;
    const std::size_t text = line.find_first_not_of(" \t\r");
    if (text == std::string_view::npos) continue;
    line.remove_suffix(line.size() - 1 - line.find_last_not_of(" \t\r"));
    return Result::kLine;
  }
}

}  // namespace IPC
