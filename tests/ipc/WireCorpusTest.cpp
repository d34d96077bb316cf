// What the fuzzer begins with, and what it has found: every build goes through it.

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "WalkWire.h"
#include "support/TestRoot.h"

namespace {

TEST(WireCorpus, OfTheWireBreaksNoPromise) {
  int files = 0;
  for (const auto& entry : boost::filesystem::directory_iterator(WIRE_CORPUS)) {
    SCOPED_TRACE(entry.path().string());
    const std::string bytes = ReadFile(entry.path());
    WalkWire(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++files;
  }
  EXPECT_GE(files, 7);
}

// The same bytes in portions of any size are the same lines; and every beginning of them is safe.
TEST(WireCorpus, OfTheWireMayBeCutAnywhere) {
  for (const auto& entry : boost::filesystem::directory_iterator(WIRE_CORPUS)) {
    std::string bytes = ReadFile(entry.path());
    for (std::size_t length = 1; length <= bytes.size(); ++length) {
      bytes[0] = static_cast<char>(length % 64);
      WalkWire(reinterpret_cast<const std::uint8_t*>(bytes.data()), length);
    }
  }
}

}  // namespace
