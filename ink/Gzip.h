// Bytes that are compressed, as many programs keep their ink: with gzip (RFC 1952), and within PDF
// without its header (RFC 1950).

#pragma once

#include <zlib.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "ink/Sink.h"

namespace TalvoInk {

// Whether the bytes begin like gzip; they may be damaged.
bool LooksGzipped(const std::string& bytes);

// The bytes that were compressed, those of several members one behind the other. Throws InkError
// for damage, and if there would be more than `most`: a few kilobytes can stand for gigabytes of
// zeros, and no more than `most` is ever held in memory.
std::string Gunzip(const std::string& bytes, std::size_t most);

// Compresses what it is handed, piece by piece. The sink must outlive it.
class Packer {
 public:
  enum class Frame { kGzip, kZlib };

  // `level` is zlib's, from 1 (fast) to 9.
  Packer(Frame frame, int level, const Sink& sink);
  ~Packer();
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  void Append(std::string_view bytes);

  // Ends the compressed bytes; what is appended then begins anew.
  void Finish();

 private:
  void Pack(std::string_view bytes, int flush);

  const Sink& sink_;
  z_stream stream_{};
};

// The bytes compressed, without a name or a time: the same bytes always give the same result.
std::string Gzip(const std::string& bytes);

}  // namespace TalvoInk
