// Bytes that are compressed with gzip (RFC 1952), as many programs keep their ink.

#pragma once

#include <cstddef>
#include <string>

namespace TalvoInk {

// Whether the bytes begin like gzip; they may be damaged.
bool LooksGzipped(const std::string& bytes);

// The bytes that were compressed, those of several members one behind the other. Throws InkError
// for damage, and if there would be more than `most`: a few kilobytes can stand for gigabytes of
// zeros, and no more than `most` is ever held in memory.
std::string Gunzip(const std::string& bytes, std::size_t most);

// The bytes compressed, without a name or a time: the same bytes always give the same result.
std::string Gzip(const std::string& bytes);

}  // namespace TalvoInk
