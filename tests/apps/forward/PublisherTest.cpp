// What becomes of a published message: taken, refused with a reason, or given up.

#include "Publisher.h"

#include <gmock/gmock.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ForwardWorld.h"

using Forward::Publisher;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// What was told of messages, in its order: "taken", "no stream", "refused: REASON".
class Told {
 public:
  Publisher::Done Listener() {
    return [this](Publisher::Answer answer, const std::string& reason) {
      const std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(answer == Publisher::Answer::kTaken      ? "taken" + reason
                       : answer == Publisher::Answer::kNoStream ? "no stream"
                                                                : "refused: " + reason);
    };
  }
  std::vector<std::string> lines() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }
  std::vector<std::string> WaitFor(std::size_t count) {
    EXPECT_TRUE(Eventually([&] { return lines().size() >= count; }));
    return lines();
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

// Somebody who takes ink as a stream does, and answers with what the test says, or not at all.
class FalseStream {
 public:
  explicit FalseStream(Stream::Connection& connection) : connection_(connection) {
    ::natsConnection_SubscribeSync(&subscription_, connection.get(), Stream::kAllInk);
    ::natsConnection_Flush(connection.get());
  }
  ~FalseStream() { ::natsSubscription_Destroy(subscription_); }
  FalseStream(const FalseStream&) = delete;
  FalseStream& operator=(const FalseStream&) = delete;

  Stream::MessagePtr Take() {
    natsMsg* message = nullptr;
    EXPECT_EQ(::natsSubscription_NextMsg(&message, subscription_, 30000), NATS_OK);
    return Stream::MessagePtr(message);
  }
  void Answer(const Stream::MessagePtr& message, const std::string& text) {
    ::natsConnection_PublishString(connection_.get(), ::natsMsg_GetReply(message.get()),
                                   text.c_str());
    ::natsConnection_Flush(connection_.get());
  }

 private:
  Stream::Connection& connection_;
  natsSubscription* subscription_ = nullptr;
};

class PublisherTest : public testing::Test {
 protected:
  PublisherTest() { publisher_.Listen(peer_.connection()); }

  void Publish(const std::string& stream = "INK") {
    publisher_.Publish(peer_.connection(), stream, ink_, 1, told_.Listener());
  }

  TestRoot root_;
  const std::string bytes_ = ForwardWorld::InkOf("1.2.3.4", 5000);
  const Stream::OutgoingInk ink_{
      {kTestPenSerial, "1.2.3.4", "STF2", "ada", "desk"}, bytes_, 1 << 20};
  Told told_;
  Publisher publisher_;  // before the library, which calls it until it ends
  NatsServer server_{root_.path() / "server"};
  StreamPeer peer_{server_.url()};
};

}  // namespace

TEST_F(PublisherTest, WhatTheStreamHasIsTaken) {
  peer_.Create();
  Publish();
  EXPECT_THAT(told_.WaitFor(1), ElementsAre("taken"));
  EXPECT_EQ(peer_.Count(), 1u);
}

TEST_F(PublisherTest, InkThatTheStreamKnowsIsTakenToo) {
  peer_.Create();
  Publish();
  Publish();
  EXPECT_THAT(told_.WaitFor(2), ElementsAre("taken", "taken"));
  EXPECT_EQ(peer_.Count(), 1u);
}

TEST_F(PublisherTest, WithoutAStreamTheMessageIsNobodys) {
  Publish();
  EXPECT_THAT(told_.WaitFor(1), ElementsAre("no stream"));
}

TEST_F(PublisherTest, ARefusalHasTheServersReason) {
  peer_.Create();
  Publish("ANOTHER");
  EXPECT_THAT(told_.WaitFor(1), ElementsAre(HasSubstr("refused: expected stream")));
}

TEST_F(PublisherTest, AnAnswerThatIsNotAStreamsIsARefusal) {
  FalseStream stream(peer_.connection());
  for (const char* answer : {"", "thanks", "[1]", R"({"stream":"INK"})",
                             R"({"stream":"INK","seq":0})", R"({"stream":"INK","seq":"1"})"}) {
    Publish();
    stream.Answer(stream.Take(), answer);
  }
  const auto told = told_.WaitFor(6);
  EXPECT_THAT(told, testing::Each("refused: the server's answer is not one of a stream"));
  Publish();
  stream.Answer(stream.Take(), R"({"error":{"code":503},"stream":"INK"})");
  EXPECT_EQ(told_.WaitFor(7).back(), "refused: the server does not say why");
}

TEST_F(PublisherTest, WhatIsGivenUpIsToldOnceAndItsAnswerIsDropped) {
  FalseStream stream(peer_.connection());
  Publish();
  Publish();
  const auto first = stream.Take(), second = stream.Take();
  publisher_.FailAll("the pen is dry");
  EXPECT_THAT(told_.lines(), ElementsAre("refused: the pen is dry", "refused: the pen is dry"));
  stream.Answer(first, R"({"stream":"INK","seq":1})");
  Publish();
  stream.Answer(stream.Take(), R"({"stream":"INK","seq":2})");
  EXPECT_THAT(told_.WaitFor(3),
              ElementsAre("refused: the pen is dry", "refused: the pen is dry", "taken"));
}

TEST_F(PublisherTest, WhatNobodyAnswersIsGivenUpInTime) {
  FalseStream stream(peer_.connection());
  Publish();
  publisher_.FailOverdue();
  EXPECT_THAT(told_.lines(), IsEmpty());
  EXPECT_TRUE(Eventually([&] {
    publisher_.FailOverdue();
    return !told_.lines().empty();
  }));
  EXPECT_THAT(told_.lines(), ElementsAre("refused: nobody has answered in time"));
}

TEST_F(PublisherTest, WhatCantBeSentThrowsAndIsNotTold) {
  peer_.connection().Close();
  EXPECT_THROW(Publish(), Stream::StreamError);
  publisher_.FailAll("the pen is dry");
  EXPECT_THAT(told_.lines(), IsEmpty());
}
