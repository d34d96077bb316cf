// The lines of the wire by themselves, as both sides read and write them. What a server makes of
// each request is in WireRequestTest.cpp, what a client makes of each answer in
// StrangeServiceTest.cpp.

#include "Message.h"

#include <gtest/gtest.h>

namespace IPC {
namespace {

std::string_view WithoutEnd(const std::string& line) {
  EXPECT_EQ(line.back(), '\n');
  return std::string_view(line).substr(0, line.size() - 1);
}

ServerMessage Read(const std::string& line) {
  ServerMessage message;
  std::string reason;
  EXPECT_TRUE(ReadServerMessage(WithoutEnd(line), message, reason)) << reason;
  return message;
}

std::string ReasonOf(const std::string& line) {
  ServerMessage message;
  std::string reason;
  EXPECT_FALSE(ReadServerMessage(line, message, reason)) << line;
  return reason;
}

Json::Value Object(const std::string& name, const Json::Value& value) {
  Json::Value object(Json::objectValue);
  object[name] = value;
  return object;
}

TEST(Message, ARequestIsReadAsItWasWritten) {
  RequestMessage request;
  WireError error;
  const std::string line = RequestLine(7, "Import", Object("File", "/ink\n\"1\""));
  EXPECT_EQ(line,
            "{\"jsonrpc\":\"2.0\",\"id\":7,\"method\":\"Import\","
            "\"params\":{\"File\":\"/ink\\u000a\\\"1\\\"\"}}\n");
  ASSERT_TRUE(ReadRequest(WithoutEnd(line), request, error)) << error.message;
  EXPECT_TRUE(request.has_id);
  EXPECT_EQ(request.id, Json::Value(7));
  EXPECT_EQ(request.method, "Import");
  EXPECT_EQ(request.params, Object("File", "/ink\n\"1\""));
  EXPECT_EQ(RequestLine(-1, "Hello", Json::Value()),
            "{\"jsonrpc\":\"2.0\",\"id\":-1,\"method\":\"Hello\"}\n");
}

TEST(Message, AReplyIsReadAsItWasWritten) {
  const ServerMessage reply = Read(ReplyLine("a", "Success", Object("Version", "1")));
  EXPECT_EQ(reply.kind, ServerMessage::kReply);
  EXPECT_EQ(reply.id, Json::Value("a"));
  EXPECT_EQ(reply.status, "Success");
  EXPECT_EQ(reply.result, Object("Version", "1"));
}

TEST(Message, AnErrorIsReadAsItWasWritten) {
  const ServerMessage error = Read(ErrorLine(Json::Value(), {kNotJson, "not JSON"}));
  EXPECT_EQ(error.kind, ServerMessage::kError);
  EXPECT_TRUE(error.id.isNull());
  EXPECT_EQ(error.error.code, kNotJson);
  EXPECT_EQ(error.error.message, "not JSON");
}

TEST(Message, ANotificationIsReadAsItWasWritten) {
  const ServerMessage news = Read(NotificationLine("NewInk", Object("Pen", "1")));
  EXPECT_EQ(news.kind, ServerMessage::kNotification);
  EXPECT_EQ(news.name, "NewInk");
  EXPECT_EQ(news.params, Object("Pen", "1"));
  EXPECT_TRUE(Read(NotificationLine("NewInk", Json::Value())).params.isNull());
}

TEST(Message, NothingIsLeftOfTheMessageThatWasReadBefore) {
  ServerMessage message = Read(ReplyLine(1, "Success", Object("Version", "1")));
  std::string reason;
  ASSERT_TRUE(ReadServerMessage("{\"method\":\"NewInk\"}", message, reason));
  EXPECT_TRUE(message.id.isNull());
  EXPECT_EQ(message.status, "");
  EXPECT_TRUE(message.result.isNull());
  RequestMessage request;
  WireError error;
  ASSERT_TRUE(
      ReadRequest("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"a\",\"params\":{}}", request, error));
  ASSERT_TRUE(ReadRequest("{\"jsonrpc\":\"2.0\",\"method\":\"b\"}", request, error));
  EXPECT_FALSE(request.has_id);
  EXPECT_TRUE(request.id.isNull());
  EXPECT_TRUE(request.params.isNull());
}

TEST(Message, WhatIsNoMessageOfAServerIsRefusedWithTheReason) {
  EXPECT_EQ(ReasonOf("[]"), "a message that is not an object");
  EXPECT_EQ(ReasonOf("{}"), "\"method\" is not a string");
  EXPECT_EQ(ReasonOf("{\"method\":1}"), "\"method\" is not a string");
  EXPECT_EQ(ReasonOf("{\"method\":\"a\",\"params\":[]}"), "\"params\" is not an object");
  EXPECT_EQ(ReasonOf("{\"id\":1}"), "a result without status");
  EXPECT_EQ(ReasonOf("{\"id\":1,\"result\":[]}"), "a result without status");
  EXPECT_EQ(ReasonOf("{\"id\":1,\"result\":{\"status\":1}}"), "a result without status");
  EXPECT_EQ(ReasonOf("{\"id\":1,\"error\":1}"), "an error without code and message");
  EXPECT_EQ(ReasonOf("{\"id\":1,\"error\":{\"code\":1}}"), "an error without code and message");
  EXPECT_EQ(ReasonOf("{\"id\":1,\"error\":{\"code\":\"1\",\"message\":\"\"}}"),
            "an error without code and message");
  EXPECT_NE(ReasonOf("{"), "");
}

}  // namespace
}  // namespace IPC
