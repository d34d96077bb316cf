#include "http/Target.h"

#include <gtest/gtest.h>

using namespace Inbox;

namespace {

struct Parsed {
  bool is_good;
  std::string path;
  std::map<std::string, std::string> arguments;
};

Parsed Parse(const std::string& target) {
  Parsed parsed;
  parsed.is_good = ParseTarget(target, parsed.path, parsed.arguments);
  return parsed;
}

}  // namespace

TEST(Target, IsAPathWithArguments) {
  const Parsed parsed = Parse("/api/pages?q=caf%C3%A9+au+lait&limit=5&&flag");
  ASSERT_TRUE(parsed.is_good);
  EXPECT_EQ(parsed.path, "/api/pages");
  EXPECT_EQ(parsed.arguments.at("q"), "café au lait");
  EXPECT_EQ(parsed.arguments.at("limit"), "5");
  EXPECT_EQ(parsed.arguments.at("flag"), "");
}

TEST(Target, TheFirstOfTwoArgumentsCounts) {
  EXPECT_EQ(Parse("/?a=1&a=2").arguments.at("a"), "1");
}

TEST(Target, APathHasOneSpelling) {
  for (const char* target : {"", "api", "/web/%2e%2e/x", "/web\\x", "/a b", "/\xC3\xA9", "*",
                             "http://127.0.0.1/", "/web/app.js;x", "/web/app.js#x"}) {
    EXPECT_FALSE(Parse(target).is_good) << target;
  }
}

TEST(Target, ArgumentsAreText) {
  for (const char* target : {"/?q=%", "/?q=%2", "/?q=%zz", "/?q=%00", "/?q=%0d%0aX:y", "/?q=%ff",
                             "/?q=%C3", "/?%0a=x", "/?q=%C2%85"}) {
    EXPECT_FALSE(Parse(target).is_good) << target;
  }
}
