// Small valid files: where fuzzing starts, and what the tests of hostile data mutate.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Named STF2 files, each with something that the others lack; a few hundred bytes each.
std::map<std::string, std::vector<std::uint8_t>> InkSeeds();

// The same, sealed to the fuzz key pair. No two calls give the same bytes.
std::map<std::string, std::vector<std::uint8_t>> SealedSeeds();
