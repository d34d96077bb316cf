#include "api/Refusal.h"

#include <gtest/gtest.h>

using namespace Inbox;

namespace {

// The object in the body, as text; or the refusal.
std::string Parsed(const std::string& body) {
  Request request;
  request.body = body;
  try {
    return ParseBody(request)["a"].asString();
  } catch (const Refusal& refusal) {
    return std::to_string(refusal.status()) + " " + refusal.what();
  }
}

}  // namespace

TEST(Refusal, ABodyIsAnObject) {
  EXPECT_EQ(Parsed("{\"a\": \"ink\"}"), "ink");
  EXPECT_EQ(Parsed("{}"), "");
}

TEST(Refusal, EverythingElseIsRefused) {
  const std::string deep(40, '[');
  for (const std::string& bad :
       {std::string(), std::string("[1]"), std::string("\"a\""), std::string("{\"a\": 1,}"),
        std::string("{'a': 1}"), std::string("{} {}"), std::string("{} // why"),
        std::string("{\"a\": 1, \"a\": 2}"), "{\"a\": " + deep + std::string(40, ']') + "}",
        std::string(1 << 20, '{')}) {
    EXPECT_EQ(Parsed(bad), "400 the body is not a JSON object") << bad.substr(0, 50);
  }
}
