#include <dlfcn.h>
#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "support/Process.h"

namespace {

constexpr char kFactory[] = "_ZN14TalvoQuillpost22CreateQuillpostServiceEv";

TEST(Exports, AreTheFactoryAndNothingElse) {
  const Finished nm =
      RunToEnd({"/usr/bin/nm", "--dynamic", "--defined-only", "--format=posix", QUILLPOST_LIBRARY});
  ASSERT_EQ(nm.status, 0) << nm.error;
  std::vector<std::string> symbols;
  std::istringstream lines(nm.output);
  for (std::string line; std::getline(lines, line);) {
    symbols.push_back(line.substr(0, line.find(' ')));
  }
  EXPECT_EQ(symbols, std::vector<std::string>{kFactory});
}

TEST(Exports, TheLibraryLoadsAndHasTheFactory) {
  void* const library = ::dlopen(QUILLPOST_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  EXPECT_NE(::dlsym(library, kFactory), nullptr);
  EXPECT_EQ(::dlsym(library, "_ZN14TalvoQuillpost7Service5StartEv"), nullptr);
}

}  // namespace
