#include "api/Resources.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TestRoot.h"

using namespace Inbox;

TEST(Resources, EveryFileOfTheBrowsersSideIsInTheProgram) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(INBOX_FOLDER "/web")) {
    const std::string name = entry.path().filename();
    const std::string extension = entry.path().extension();
    if (extension == ".json") continue;  // for the type checker
    const Resource* const resource = FindResource(name);
    ASSERT_NE(resource, nullptr) << name;
    EXPECT_EQ(resource->Bytes(), ReadFile(entry.path().string())) << name;
    EXPECT_NE(TypeOfResource(name), "application/octet-stream") << name;
    ++files;
  }
  EXPECT_GT(files, 30);
}

TEST(Resources, NothingElseIs) {
  for (const char* name :
       {"", "index", "INDEX.HTML", "../README.md", "web/index.html", "tsconfig.json"})
    EXPECT_EQ(FindResource(name), nullptr) << name;
}

TEST(Resources, TheEndOfTheNameSaysTheType) {
  EXPECT_EQ(TypeOfResource("app.js"), "text/javascript; charset=utf-8");
  EXPECT_EQ(TypeOfResource("a.css.html"), "text/html; charset=utf-8");
  EXPECT_EQ(TypeOfResource("theme.css"), "text/css; charset=utf-8");
  EXPECT_EQ(TypeOfResource("icon.svg"), "image/svg+xml");
  EXPECT_EQ(TypeOfResource("icon.SVG"), "application/octet-stream");
  EXPECT_EQ(TypeOfResource("LICENSE"), "application/octet-stream");
}
