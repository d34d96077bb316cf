#include <TalvoQuillpost/IService.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <type_traits>
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

// A host that was built against an older header calls these by their places: destructor, Start,
// Stop. A pointer to a virtual function holds its place's distance in bytes, and one more; the two
// entries of the destructor come first.
TEST(Exports, TheInterfaceHasItsOperationsInTheirPlaces) {
  typedef TalvoQuillpost::IService Interface;
  static_assert(std::is_abstract<Interface>::value &&
                    std::has_virtual_destructor<Interface>::value &&
                    std::is_base_of<boost::noncopyable, Interface>::value,
                "an interface that is never copied");
  const auto place = [](auto function) {
    std::size_t distance = 0;
    std::memcpy(&distance, &function, sizeof distance);
    return (distance - 1) / sizeof(void*);
  };
  EXPECT_EQ(place(&Interface::Start), 2u);
  EXPECT_EQ(place(&Interface::Stop), 3u);
}

}  // namespace
