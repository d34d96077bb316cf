// What a peer that writes one line gets back, byte for byte.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "LineDecoder.h"
#include "ServerUnderTest.h"
#include "support/Patience.h"
#include "support/WireClient.h"

namespace {

class WireRequest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.Listen());
    client_ = std::make_unique<WireClient>(server_.endpoint());
  }

  // Sends the line and returns the next one from the server.
  std::string Ask(const std::string& line) {
    client_->SendBytes(line + "\n");
    return client_->WaitForLine();
  }

  // A request that shows that nothing else has been answered before it.
  void ExpectNothingPending() {
    EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":"end","method":"Echo"})"),
              R"({"jsonrpc":"2.0","id":"end","result":{"status":"Success","result":null}})");
  }

  // What the server knows that its peer has sent.
  std::uint64_t CountSentByPeer() {
    std::uint64_t count = 0;
    server_.connections().at(0)->SendNotification("Note", Json::objectValue, &count);
    return count;
  }

  static std::string Repeat(const std::string& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i) repeated += text;
    return repeated;
  }

  static std::string Error(const std::string& id, int code, const std::string& message) {
    return R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":{"code":)" + std::to_string(code) +
           R"(,"message":")" + message + "\"}}";
  }

  ServerUnderTest server_;
  std::unique_ptr<WireClient> client_;
};

const char kBadId[] = R"(\"id\" must be a string of at most 128 bytes or an integer within 2^53-1)";

TEST_F(WireRequest, IsAnsweredWithStatusAndResult) {
  EXPECT_EQ(
      Ask(R"({"jsonrpc":"2.0","id":1,"method":"Echo","params":{"Page":"1.2.3.4"}})"),
      R"({"jsonrpc":"2.0","id":1,"result":{"status":"Success","result":{"Page":"1.2.3.4"}}})");
}

// Two requests in one write, with blank lines and blanks between them, and a third that is not
// complete.
TEST_F(WireRequest, BeginsAtAPlaceInAllThatItsPeerHasSent) {
  const std::string line = R"({"jsonrpc":"2.0","method":"Hold"})";
  const std::string sent = line + "\n\n \r\n \t" + line + "\r\n" + line;
  client_->SendBytes(sent);
  ASSERT_TRUE(Eventually([&] { return server_.begins_of_requests().size() == 2; }));
  const auto begins = server_.begins_of_requests();
  EXPECT_EQ(begins[0], 0u);
  EXPECT_EQ(begins[1], line.size() + 7);
  EXPECT_EQ(CountSentByPeer(), sent.size());
}

// The server's thread is busy: what the peer sends has arrived all the same, and counts.
TEST_F(WireRequest, HasArrivedBeforeItIsRead) {
  const std::string line = R"({"jsonrpc":"2.0","method":"Hold"})"
                           "\n";
  client_->SendBytes(line);
  ASSERT_TRUE(Eventually([&] { return server_.begins_of_requests().size() == 1; }));
  server_.BetweenCallbacks([&] {
    client_->SendBytes(line);
    EXPECT_EQ(CountSentByPeer(), 2 * line.size());
  });
  ASSERT_TRUE(Eventually([&] { return server_.begins_of_requests().size() == 2; }));
  EXPECT_EQ(server_.begins_of_requests().at(1), line.size());
}

// Another thread counts all the time: bytes that are just being read are neither missed nor counted
// twice.
TEST_F(WireRequest, ArrivesOnceWhileItIsRead) {
  const std::string lines = Repeat(R"({"jsonrpc":"2.0","method":"Echo"})"
                                   "\n",
                                   500);
  std::atomic<std::uint64_t> sent{0};
  std::atomic<bool> done{false};
  client_->SendBytes("\n");
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  std::thread counter([&] {
    for (std::uint64_t before = 0; !done;) {
      const std::uint64_t least = sent;
      const std::uint64_t counted = CountSentByPeer();
      EXPECT_GE(counted, std::max(before, least));
      before = counted;
    }
  });
  for (int i = 0; i < 20; ++i) {
    client_->SendBytes(lines);
    sent += lines.size();
  }
  done = true;
  counter.join();
  EXPECT_EQ(CountSentByPeer(), 1 + 20 * lines.size());
}

TEST_F(WireRequest, AnUnknownMethodIsAStatusAndNoError) {
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Draw"})"),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
}

TEST_F(WireRequest, ParamsMayBeAbsentNullOrAnObject) {
  for (const char* params : {"", R"(,"params":null)", R"(,"params":{})"}) {
    EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Draw")" + std::string(params) + "}"),
              R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
  }
}

TEST_F(WireRequest, OtherParamsAreRefused) {
  for (const char* params : {"[]", "1", "\"x\"", "true"}) {
    EXPECT_EQ(
        Ask(R"({"jsonrpc":"2.0","id":"a","method":"Echo","params":)" + std::string(params) + "}"),
        Error("\"a\"", -32602, R"(\"params\" must be an object)"));
  }
}

TEST_F(WireRequest, OtherParamsWithoutAnIdAreNotAnswered) {
  client_->SendBytes(R"({"jsonrpc":"2.0","method":"Echo","params":[]})"
                     "\n");
  ExpectNothingPending();
  EXPECT_EQ(server_.requests(), std::vector<std::string>{"Echo"});
}

TEST_F(WireRequest, WithoutIdIsCarriedOutAndNotAnswered) {
  client_->SendBytes("{\"jsonrpc\":\"2.0\",\"method\":\"Draw\"}\n");
  ExpectNothingPending();
  EXPECT_EQ(server_.requests(), (std::vector<std::string>{"Draw", "Echo"}));
}

TEST_F(WireRequest, AnIdIsEchoedWithItsType) {
  for (const std::string& id :
       {std::string("0"), std::string("-7"), std::string("9007199254740991"),
        std::string("-9007199254740991"), std::string("\"\""), std::string("\"7\""),
        '"' + std::string(128, 'x') + '"', std::string("\"\\u000a\xC3\xA9\"")}) {
    EXPECT_EQ(
        Ask(R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"Draw"})"),
        R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":{"status":"NotSupported","result":null}})");
  }
}

TEST_F(WireRequest, EveryOtherIdIsRefusedWithIdNull) {
  for (const std::string& id :
       {std::string("null"), std::string("1.0"), std::string("1e2"), std::string("true"),
        std::string("[]"), std::string("{}"), std::string("9007199254740992"),
        std::string("-9007199254740992")}) {
    EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"Echo"})"),
              Error("null", -32600, kBadId))
        << id;
  }
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":")" + std::string(129, 'x') + R"(","method":"Echo"})"),
            Error("null", -32600, kBadId));
  EXPECT_TRUE(server_.requests().empty());
}

TEST_F(WireRequest, MissingAndWrongMembersAreRefusedWithTheirId) {
  const std::string version = R"(\"jsonrpc\" must be \"2.0\")";
  const std::string method = R"(\"method\" must be a string)";
  EXPECT_EQ(Ask(R"({"id":5,"method":"Echo"})"), Error("5", -32600, version));
  EXPECT_EQ(Ask(R"({"jsonrpc":"1.0","id":5,"method":"Echo"})"), Error("5", -32600, version));
  EXPECT_EQ(Ask(R"({"jsonrpc":2.0,"id":5,"method":"Echo"})"), Error("5", -32600, version));
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":5})"), Error("5", -32600, method));
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":5,"method":7})"), Error("5", -32600, method));
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","method":7})"), Error("null", -32600, method));
  EXPECT_EQ(Ask("{}"), Error("null", -32600, version));
}

TEST_F(WireRequest, AWrongMemberOutweighsWrongParams) {
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":5,"params":[]})"),
            Error("5", -32600, R"(\"method\" must be a string)"));
}

TEST_F(WireRequest, MembersOfOtherNamesAreIgnored) {
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Draw","Ink":[1]})"),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
}

TEST_F(WireRequest, ABatchIsRefused) {
  EXPECT_EQ(Ask(R"([{"jsonrpc":"2.0","id":1,"method":"Echo"}])"),
            Error("null", -32600, "batches are not supported"));
  EXPECT_EQ(Ask("\"Echo\""), Error("null", -32600, "a request is an object"));
}

TEST_F(WireRequest, InvalidJsonIsRefusedAndTheConnectionGoesOn) {
  EXPECT_EQ(Ask("Hello?"), Error("null", -32700, "not JSON: unexpected text at byte 1"));
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Echo",})"),
            Error("null", -32700, "not JSON: expected a member's name at byte 41"));
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":01,"method":"Echo"})"),
            Error("null", -32700, "not JSON: a number that begins with 0 at byte 24"));
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Echo"} {})"),
            Error("null", -32700, "not JSON: unexpected text after the value at byte 42"));
  EXPECT_EQ(Ask("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"\xFF\"}"),
            Error("null", -32700, "not JSON: invalid UTF-8 at byte 35"));
  EXPECT_EQ(Ask("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"\x01\"}"),
            Error("null", -32700, "not JSON: a control byte in a string at byte 35"));
  ExpectNothingPending();
}

TEST_F(WireRequest, TooDeepNestingIsNotJson) {
  // The request and its params are two of the 64.
  const auto nested = [](int depth) {
    return R"({"jsonrpc":"2.0","id":1,"method":"Draw","params":{"x":)" + std::string(depth, '[') +
           std::string(depth, ']') + "}}";
  };
  EXPECT_EQ(Ask(nested(62)),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
  EXPECT_EQ(Ask(nested(63)),
            Error("null", -32700, "not JSON: more than 64 values within each other at byte 117"));
}

TEST_F(WireRequest, BlankLinesAndCarriageReturnsAreIgnored) {
  client_->SendBytes("\n\r\n \t \n");
  EXPECT_EQ(Ask(" {\"jsonrpc\":\"2.0\",\t\"id\":1,\r\"method\":\"Draw\"} \r"),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
  ExpectNothingPending();
}

TEST_F(WireRequest, OutputIsValidUtf8InOneLineWhateverTheOwnerSends) {
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  server_.connections().at(0)->SendNotification("Note", Params({{"Path", "in\xFFk\n.stf2"}}));
  EXPECT_EQ(client_->WaitForLine(),
            "{\"jsonrpc\":\"2.0\",\"method\":\"Note\",\"params\":{\"Path\":"
            "\"in\xEF\xBF\xBDk\\u000a.stf2\"}}");
}

TEST_F(WireRequest, AnOverLongLineIsAnsweredAndEndsTheConnection) {
  client_->SendBytes(std::string(IPC::kMaxLineBytes, 'x'));  // without an LF
  EXPECT_EQ(client_->WaitForLine(), Error("null", -32600, "a line holds at most 1048576 bytes"));
  EXPECT_EQ(client_->WaitForLine(), "");
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
  EXPECT_TRUE(server_.log().Has(
      2, "Quillpost:Test ended a connection that sent a line of more than 1048576 bytes"));
}

TEST_F(WireRequest, ALineOfTheFullLengthIsAnswered) {
  std::string line = R"({"jsonrpc":"2.0","id":1,"method":"Draw","params":{"x":")";
  line += std::string(IPC::kMaxLineBytes - line.size() - 4, 'x') + "\"}}";
  ASSERT_EQ(line.size() + 1, IPC::kMaxLineBytes);
  EXPECT_EQ(Ask(line),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"NotSupported","result":null}})");
}

TEST_F(WireRequest, TenBadLinesInARowEndTheConnection) {
  for (int i = 0; i < 9; ++i) ASSERT_NE(Ask("x"), "");
  ExpectNothingPending();  // a good one, from which counting begins anew
  for (int i = 0; i < 9; ++i) ASSERT_NE(Ask(i % 2 ? "x" : "[]"), "");
  client_->SendBytes(
      "x\n"
      R"({"jsonrpc":"2.0","id":1,"method":"Draw"})"
      "\n");
  EXPECT_EQ(client_->WaitForLine(), Error("null", -32700, "not JSON: unexpected text at byte 1"));
  EXPECT_EQ(client_->WaitForLine(), "");
  EXPECT_EQ(server_.requests(), std::vector<std::string>{"Echo"});
}

TEST_F(WireRequest, WrongParamsDoNotCountAsBadLines) {
  for (int i = 0; i < 20; ++i)
    ASSERT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Echo","params":[]})"),
              Error("1", -32602, R"(\"params\" must be an object)"));
  ExpectNothingPending();
}

TEST_F(WireRequest, WrongParamsEndARowOfBadLines) {
  for (int i = 0; i < 9; ++i) ASSERT_NE(Ask("x"), "");
  ASSERT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Echo","params":[]})"),
            Error("1", -32602, R"(\"params\" must be an object)"));
  for (int i = 0; i < 9; ++i) ASSERT_NE(Ask("x"), "");
  client_->SendBytes(R"({"jsonrpc":"2.0","method":"Echo","params":[]})"
                     "\n");
  for (int i = 0; i < 9; ++i) ASSERT_NE(Ask("x"), "");
  ExpectNothingPending();
}

TEST_F(WireRequest, AnExceptionOfTheOwnerIsAnsweredFailedAndLogged) {
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Throw"})"),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"Failed","result":null}})");
  EXPECT_TRUE(server_.log().Has(1, "Quillpost:Test: the request Throw failed: no ink"));
  ExpectNothingPending();
}

TEST_F(WireRequest, AReplyThatFitsNoLineIsAnsweredFailed) {
  // Each byte of the string takes six when it is written.
  const std::string ink(300000, '\x7f');
  EXPECT_EQ(Ask(R"({"jsonrpc":"2.0","id":1,"method":"Echo","params":{"Ink":")" + ink + "\"}}"),
            R"({"jsonrpc":"2.0","id":1,"result":{"status":"Failed","result":null}})");
  EXPECT_TRUE(server_.log().Has(2, "Quillpost:Test a reply of 1800075 bytes became \"Failed\""));
}

}  // namespace
