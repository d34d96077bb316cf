// Random changes to a file, the same in every run for the same generator.

#pragma once

#include <cstdint>
#include <random>
#include <vector>

// How many a test tries.
constexpr int kMutations = 100000;

// One to four changes: a bit, a byte, a 32-bit number that bounds like, a block moved or removed, a
// cut. Never empty.
std::vector<std::uint8_t> Mutate(std::vector<std::uint8_t> bytes, std::mt19937& random);
