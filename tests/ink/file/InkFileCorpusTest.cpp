// Replays what fuzzing files of ink starts from and what it once found.

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "WalkInkFile.h"
#include "support/TestRoot.h"

namespace {

bool Walk(const std::string& bytes) {
  return WalkInkFile(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

TEST(InkFileCorpus, IsWalkedWithoutABrokenPromise) {
  int ink = 0;
  for (const char* folder : {"/inkfile", "/inkml"}) {
    for (const auto& entry :
         boost::filesystem::directory_iterator(std::string(FUZZ_CORPUS) + folder)) {
      SCOPED_TRACE(entry.path().string());
      ink += Walk(ReadFile(entry.path()));
    }
  }
  EXPECT_GE(ink, 10);
}

TEST(InkFileCorpus, MayBeCutAnywhere) {
  for (const auto& entry :
       boost::filesystem::directory_iterator(std::string(FUZZ_CORPUS) + "/inkfile")) {
    const std::string bytes = ReadFile(entry.path());
    for (std::size_t length = 0; length < bytes.size(); length += 1 + bytes.size() / 60) {
      Walk(bytes.substr(0, length));
    }
  }
}

}  // namespace
