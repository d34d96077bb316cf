// The seeds and findings of the fuzz target for requests, in every build.

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "WalkHttp.h"
#include "support/TestRoot.h"

TEST(HttpCorpus, IsAnsweredAsPromisedAlsoWithDamagedBytes) {
  int walked = 0;
  for (const auto& entry : boost::filesystem::directory_iterator(HTTP_CORPUS)) {
    std::string bytes = ReadFile(entry.path());
    SCOPED_TRACE(entry.path().string());
    const auto walk = [&bytes] {
      WalkHttp(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    };
    walk();
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
      const char before = bytes[i];
      bytes[i] = static_cast<char>(bytes[i] ^ 0x15);
      walk();
      bytes[i] = before;
    }
    ++walked;
  }
  EXPECT_GT(walked, 10);
}
