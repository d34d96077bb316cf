// Random changes to a file, the same in every run for the same generator.

#pragma once

#include <cstdint>
#include <random>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUILLPOST_SLOW_BUILD 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUILLPOST_SLOW_BUILD 1
#endif

// How many a test tries; fewer where a sanitizer makes each ten times as slow.
#ifdef QUILLPOST_SLOW_BUILD
constexpr int kMutations = 10000;
#else
constexpr int kMutations = 100000;
#endif

// One to four changes: a bit, a byte, a 32-bit number that bounds like, a block moved or removed, a
// cut. Never empty.
std::vector<std::uint8_t> Mutate(std::vector<std::uint8_t> bytes, std::mt19937& random);
