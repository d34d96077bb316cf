#include "ink/Gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

constexpr int kGzip = 16 + MAX_WBITS;  // zlib's way to say gzip's header and checksum
constexpr std::size_t kPiece = 256 * 1024;
constexpr std::size_t kMostAtOnce = std::numeric_limits<uInt>::max();

Bytef* BytesOf(const std::string& text) {
  return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
}

class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&stream_, kGzip) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Appends what one member, which begins at `at`, stands for, and answers where it ends.
  std::size_t Member(const std::string& bytes, std::size_t at, std::size_t most, std::string& out) {
    inflateReset(&stream_);
    std::string piece(kPiece, '\0');
    for (int status = Z_OK; status != Z_STREAM_END;) {
      stream_.next_in = BytesOf(bytes) + at;
      const std::size_t given = std::min(bytes.size() - at, kMostAtOnce);
      stream_.avail_in = static_cast<uInt>(given);
      stream_.next_out = BytesOf(piece);
      stream_.avail_out = static_cast<uInt>(piece.size());
      status = inflate(&stream_, Z_NO_FLUSH);
      if (status == Z_MEM_ERROR) throw std::bad_alloc();
      if (status == Z_BUF_ERROR) throw InkError("compressed bytes end too early");
      if (status != Z_OK && status != Z_STREAM_END) throw InkError("damaged gzip");
      at += given - stream_.avail_in;
      const std::size_t made = piece.size() - stream_.avail_out;
      if (made > most - out.size()) {
        throw InkError("larger than " + std::to_string(most >> 20) + " MiB when unpacked");
      }
      out.append(piece, 0, made);
    }
    return at;
  }

 private:
  z_stream stream_{};
};

}  // namespace

bool LooksGzipped(const std::string& bytes) {
  return bytes.size() >= 2 && bytes[0] == '\x1F' && bytes[1] == '\x8B';
}

std::string Gunzip(const std::string& bytes, std::size_t most) {
  Inflater inflater;
  std::string out;
  for (std::size_t at = 0; at < bytes.size();) at = inflater.Member(bytes, at, most, out);
  return out;
}

std::string Gzip(const std::string& bytes) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  if (bytes.size() > kMostAtOnce) throw InkError("too large to be compressed");
  std::string out(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = BytesOf(bytes);
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = BytesOf(out);
  stream.avail_out = static_cast<uInt>(out.size());
  const int status = deflate(&stream, Z_FINISH);
  out.resize(out.size() - stream.avail_out);
  deflateEnd(&stream);
  if (status != Z_STREAM_END) throw InkError("can't be compressed");
  return out;
}

}  // namespace TalvoInk
