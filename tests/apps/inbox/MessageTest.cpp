#include "http/Message.h"

#include <gtest/gtest.h>

using namespace Inbox;

TEST(Message, AHeaderOrArgumentThatIsNotThereIsEmpty) {
  Request request;
  request.headers = {{"host", "localhost"}};
  request.query = {{"q", "ink"}};
  EXPECT_EQ(request.Header("host"), "localhost");
  EXPECT_EQ(request.Header("Host"), "");
  EXPECT_EQ(request.Argument("q"), "ink");
  EXPECT_EQ(request.Argument("p"), "");
}

TEST(Message, AnErrorIsASentenceInJson) {
  const Response response = MakeError(404, "there is no \"page\"\n");
  EXPECT_EQ(response.status, 404);
  EXPECT_EQ(response.type, "application/json");
  EXPECT_EQ(response.body, "{\"error\":\"there is no \\\"page\\\"\\n\"}\n");
  EXPECT_FALSE(response.is_event_stream);
}
