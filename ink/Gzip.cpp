#include "ink/Gzip.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

constexpr int kGzip = 16 + MAX_WBITS;  // zlib's way to say gzip's header and checksum
constexpr std::size_t kPiece = 256 * 1024;
constexpr std::size_t kMostCounted = std::numeric_limits<uInt>::max();  // by zlib

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
      const std::size_t given = std::min(bytes.size() - at, kMostCounted);
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

Packer::Packer(Frame frame, int level, const Sink& sink) : sink_(sink) {
  const int window = frame == Frame::kGzip ? kGzip : MAX_WBITS;
  if (deflateInit2(&stream_, level, Z_DEFLATED, window, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
}

Packer::~Packer() {
  deflateEnd(&stream_);
}

void Packer::Pack(std::string_view bytes, int flush) {
  std::array<char, 16384> piece;
  stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream_.avail_in = static_cast<uInt>(bytes.size());
  do {
    stream_.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream_.avail_out = static_cast<uInt>(piece.size());
    deflate(&stream_, flush);
    sink_({piece.data(), piece.size() - stream_.avail_out});
  } while (stream_.avail_out == 0);
}

void Packer::Append(std::string_view bytes) {
  for (; bytes.size() > kMostCounted; bytes.remove_prefix(kMostCounted)) {
    Pack(bytes.substr(0, kMostCounted), Z_NO_FLUSH);
  }
  Pack(bytes, Z_NO_FLUSH);
}

void Packer::Finish() {
  Pack({}, Z_FINISH);
  deflateReset(&stream_);
}

std::string Gzip(const std::string& bytes) {
  std::string out;
  const Sink append = [&](std::string_view piece) { out += piece; };
  Packer packer(Packer::Frame::kGzip, Z_DEFAULT_COMPRESSION, append);
  packer.Append(bytes);
  packer.Finish();
  return out;
}

}  // namespace TalvoInk
