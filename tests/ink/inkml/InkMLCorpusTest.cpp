// Replays what fuzzing InkML starts from and what it once found.

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "WalkInkML.h"
#include "support/TestRoot.h"

namespace {

bool Walk(const std::string& bytes) {
  return WalkInkML(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

TEST(InkMLCorpus, IsWalkedWithoutABrokenPromise) {
  int files = 0;
  int ink = 0;
  for (const auto& entry : boost::filesystem::directory_iterator(INKML_CORPUS)) {
    SCOPED_TRACE(entry.path().string());
    ink += Walk(ReadFile(entry.path()));
    ++files;
  }
  EXPECT_GE(files, 7);
  EXPECT_GE(ink, 5);
}

TEST(InkMLCorpus, MayBeCutAnywhere) {
  for (const auto& entry : boost::filesystem::directory_iterator(INKML_CORPUS)) {
    const std::string bytes = ReadFile(entry.path());
    if (bytes.size() > 4096) continue;
    for (std::size_t length = 0; length < bytes.size(); ++length) Walk(bytes.substr(0, length));
  }
}

}  // namespace
