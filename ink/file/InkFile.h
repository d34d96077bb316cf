// Ink from the bytes of a file, whatever its format: the entry point for programs that accept
// people's files. The content decides the format, not the file's name.

#pragma once

#include <string>

#include "ink/Ink.h"
#include "ink/Losses.h"
#include "ink/ReadOptions.h"

namespace TalvoInk {

// The largest file of ink, and the most bytes that a compressed one may unpack to. More is not
// handwriting.
constexpr std::size_t kMostInkBytes = std::size_t{256} << 20;

enum class InkFormat { kStf2, kSealedStf2, kInkML, kXopp, kSvg };

// "STF2", "sealed STF2", "InkML", "xopp", "SVG".
const char* NameOf(InkFormat format);

// The bytes of a file, unpacked if they were compressed, with the format that they seem to have.
// Bytes that are of no known format count as STF2, and reading them says what is wrong.
struct InkBytes {
  std::string bytes;
  InkFormat format = InkFormat::kStf2;
  bool was_gzipped = false;
};

// Throws InkError for damaged gzip and for what unpacks to more than kMostInkBytes.
InkBytes Unpack(std::string bytes);

// Reads the ink. For every format the options' pen and page replace the document's, and the start
// time is that of ink which has none. Throws SealedInkError for sealed ink, and what the format's
// reader throws.
Ink ReadInk(const InkBytes& file, const ReadOptions& options, Losses& losses);

}  // namespace TalvoInk
