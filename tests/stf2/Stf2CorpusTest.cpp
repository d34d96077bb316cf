// Replays what fuzzing starts from and what it once found.

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem.hpp>

#include "Seeds.h"
#include "Stf2.h"
#include "TalvoEncryption/Encryption.h"
#include "WalkInk.h"
#include "support/TestRoot.h"

namespace {

// Runs the walk over every file of the corpus; how many there are.
int Replay(const char* corpus, int (*walk)(const std::uint8_t*, std::size_t)) {
  int files = 0;
  for (const auto& entry :
       boost::filesystem::directory_iterator(boost::filesystem::path(QUILLPOST_CORPUS) / corpus)) {
    SCOPED_TRACE(entry.path().string());
    const std::string text = ReadFile(entry.path());
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    walk(bytes.data(), bytes.size());
    ++files;
  }
  return files;
}

TEST(Stf2Corpus, OfInkIsWalkedWithoutABrokenPromise) {
  EXPECT_GE(Replay("stf2", WalkInk), 5);
}

TEST(Stf2Corpus, OfSealedInkIsWalkedWithoutABrokenPromise) {
  EXPECT_GE(Replay("sealed", WalkSealed), 5);
}

TEST(Stf2Corpus, OfInkHoldsTheSeeds) {
  for (const auto& [name, bytes] : InkSeeds()) {
    const std::string text = ReadFile(boost::filesystem::path(QUILLPOST_CORPUS) / "stf2" / name);
    EXPECT_TRUE(
        std::equal(text.begin(), text.end(), bytes.begin(), bytes.end(),
                   [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; }))
        << name;
  }
}

TEST(Stf2Corpus, OfSealedInkOpens) {
  for (const auto& [name, unused] : InkSeeds()) {
    const std::string text = ReadFile(boost::filesystem::path(QUILLPOST_CORPUS) / "sealed" / name);
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    EXPECT_EQ(WalkSealed(bytes.data(), bytes.size()), TALVO_ENCRYPTION_SUCCESS) << name;
  }
}

}  // namespace
