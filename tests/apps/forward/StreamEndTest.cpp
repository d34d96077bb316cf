// The inbox at the end of a stream.

#include <gmock/gmock.h>
#include <signal.h>

#include <boost/filesystem/operations.hpp>

#include "ForwardWorld.h"
#include "stream/Consumer.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const Stream::InkEnvelope kEnvelope = {kTestPenSerial, "1.2.3.4", "STF2", "ada", "desk"};

// Ink that needs five messages, and its outgoing form.
struct InParts {
  std::string bytes = InkFile()
                          .AddProperty("note", std::string(4000, 'x').c_str())
                          .AddStroke("1.2.3.4", 5000)
                          .bytes();
  Stream::OutgoingInk ink{kEnvelope, bytes, 2048 + bytes.size() / 5 + 1};
};

struct World : ForwardWorld {
  World() : server(path("server")), peer(server.url()) { peer.Create(); }

  NatsServer server;
  StreamPeer peer;
};

// Somebody who takes messages of the consumer "library" and never acknowledges them.
class OtherReader {
 public:
  explicit OtherReader(StreamPeer& peer) {
    jsSubOptions options;
    ::jsSubOptions_Init(&options);
    options.Stream = "INK";
    options.Consumer = "library";
    ::js_PullSubscribe(&reader_, peer.connection().stream(), "ink.>", "library", nullptr, &options,
                       nullptr);
  }
  ~OtherReader() { ::natsSubscription_Destroy(reader_); }
  OtherReader(const OtherReader&) = delete;
  OtherReader& operator=(const OtherReader&) = delete;

  // How many it has got, after a while.
  int Take(int most) {
    natsMsgList held{};
    ::natsSubscription_Fetch(&held, reader_, most, 250, nullptr);
    const int count = held.Count;
    ::natsMsgList_Destroy(&held);
    return count;
  }

 private:
  natsSubscription* reader_ = nullptr;
};

constexpr std::int64_t kAnHourNs = 3600LL * 1000000000;

// The consumer "library" as an inbox makes it, or with another time before it hands out again what
// was not acknowledged, or with another kind of acknowledgement.
void MakeConsumer(StreamPeer& peer, std::int64_t ack_wait_ns = 0, jsAckPolicy policy = js_AckAll) {
  jsConsumerConfig config;
  ::jsConsumerConfig_Init(&config);
  config.Durable = "library";
  config.AckPolicy = policy;
  config.AckWait = ack_wait_ns;
  config.FilterSubject = "ink.>";
  ASSERT_EQ(::js_AddConsumer(nullptr, peer.connection().stream(), "INK", &config, nullptr, nullptr),
            NATS_OK);
}

// The inbox, ended again, has parts 1 and 2, which came eight days ago.
bool LeaveOldParts(World& world, LoggingProgram& inbox, const InParts& parts) {
  inbox.Start();
  for (const std::uint32_t part : {1u, 2u}) world.peer.Put(parts.ink, part);
  const bool are_there = Eventually([&] { return world.PartsThatWait() == 2; });
  const bool has_ended = inbox.Stop() == 0;
  world.AgeParts(std::chrono::hours(8 * 24));
  return are_there && has_ended;
}

std::string Line(const std::string& page, std::uint64_t start_ms) {
  return std::string(kTestPenSerial) + " " + page + " " + std::to_string(start_ms);
}

}  // namespace

TEST(StreamEnd, PartsInAnyOrderMakeOneWhole) {
  World world;
  const InParts parts;
  ASSERT_EQ(parts.ink.parts(), 5u);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  for (const std::uint32_t part : {4u, 1u, 5u, 3u, 2u})
    EXPECT_TRUE(world.peer.Put(parts.ink, part));
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.4", 5000)));
}

TEST(StreamEnd, AnIncompleteSetIsToldOfAndSurvivesTheInbox) {
  World world;
  const InParts parts;
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  for (const std::uint32_t part : {1u, 5u}) world.peer.Put(parts.ink, part);
  const std::string told =
      "Ink of pen 0123-4567-89AB-CDEF, page 1.2.3.4, is not whole: 2 of 5 parts have come.";
  EXPECT_TRUE(inbox.WaitForLog(told));
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }))
      << "it holds nothing up";
  inbox.Kill();
  inbox.Start();
  for (const std::uint32_t part : {2u, 3u, 4u}) world.peer.Put(parts.ink, part);
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.4", 5000)));
}

TEST(StreamEnd, WhatComesAgainChangesNothing) {
  World world;
  const InParts parts;
  for (std::uint32_t part = 1; part <= 5; ++part) world.peer.Put(parts.ink, part);
  world.peer.Put("1.2.3.5", 6000);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  ASSERT_TRUE(world.WaitUntilKept(2));
  EXPECT_EQ(inbox.Stop(), 0);
  // Another consumer begins with the first message.
  auto again = world.Inbox(world.server.url(), {}, "again");
  again.Start();
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("again"); }));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.4", 5000), Line("1.2.3.5", 6000)));
  EXPECT_EQ(again.log().find("is not whole"), std::string::npos);
}

TEST(StreamEnd, APartThatComesAgainAloneIsNotWaitedFor) {
  World world;
  const InParts parts;
  for (std::uint32_t part = 1; part <= 5; ++part) world.peer.Put(parts.ink, part);
  world.peer.Put(parts.ink, 3, "another identity");
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.4", 5000)));
  EXPECT_EQ(world.PartsThatWait(), 0u);
}

TEST(StreamEnd, PartsOfInkThatCameInOnePieceAreForgotten) {
  World world;
  const InParts parts;
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  for (const std::uint32_t part : {1u, 2u}) world.peer.Put(parts.ink, part);
  ASSERT_TRUE(Eventually([&] { return world.PartsThatWait() == 2; }));
  // The server's limit was raised.
  world.peer.Put(Stream::OutgoingInk(kEnvelope, parts.bytes, 1 << 20));
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_EQ(world.PartsThatWait(), 0u);
}

TEST(StreamEnd, PartsWhoseRestNeverComesAreGivenUp) {
  World world;
  const InParts parts;
  auto inbox = world.Inbox(world.server.url());
  ASSERT_TRUE(LeaveOldParts(world, inbox, parts));
  inbox.Start();
  EXPECT_TRUE(
      inbox.WaitForLog("Ink of pen 0123-4567-89AB-CDEF, page 1.2.3.4, is given up: 2 of 5 parts "
                       "have come, and none for 7 days."));
  EXPECT_EQ(world.PartsThatWait(), 0u);
  // Its desktop is back, and begins with the first.
  for (std::uint32_t part = 1; part <= 5; ++part) {
    world.peer.Put(parts.ink, part, "again-" + std::to_string(part));
  }
  EXPECT_TRUE(world.WaitUntilKept(1));
}

// Somebody has imported it there.
TEST(StreamEnd, PartsOfInkThatIsThereByNowAreForgotten) {
  World world;
  const InParts parts;
  world.peer.Put(parts.ink, 1);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  ASSERT_TRUE(Eventually([&] { return world.PartsThatWait() == 1; }));
  const std::string file = world.path("imported.stf2").string();
  WriteFile(file, parts.bytes);
  ASSERT_EQ(RunToEnd({QUILLPOST_INBOX, "import", file}, {{"XDG_DATA_HOME", ""}}).status, 0);
  world.peer.Put(parts.ink, 2);
  EXPECT_TRUE(Eventually([&] { return world.PartsThatWait() == 0; }));
  EXPECT_TRUE(world.WaitUntilKept(1));
}

// The rest may be in the stream, which is read first.
TEST(StreamEnd, OldPartsAreWaitedForUntilTheStreamIsRead) {
  World world;
  const InParts parts;
  auto inbox = world.Inbox(world.server.url());
  ASSERT_TRUE(LeaveOldParts(world, inbox, parts));
  for (const std::uint32_t part : {3u, 4u, 5u}) world.peer.Put(parts.ink, part);
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_EQ(inbox.log().find("is given up"), std::string::npos);
}

TEST(StreamEnd, ARestartGoesOnWithTheSameConsumer) {
  World world;
  world.peer.Put("1.2.3.4", 5000);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_EQ(inbox.Stop(), 0);
  const std::int64_t made = world.peer.MakingOf("library");
  EXPECT_GT(made, 0);
  inbox.Start();
  world.peer.Put("1.2.3.5", 6000);
  EXPECT_TRUE(world.WaitUntilKept(2));
  EXPECT_EQ(world.peer.MakingOf("library"), made);
}

// It wants an acknowledgement for each message, and gets one for all.
TEST(StreamEnd, TheConsumerOfAnOlderInboxIsMadeAnew) {
  World world;
  MakeConsumer(world.peer, 0, js_AckExplicit);
  for (int i = 1; i <= 3; ++i) world.peer.Put("1.2.3." + std::to_string(i), 1000);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(3));
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_EQ(world.Kept(), world.peer.Ink());
}

// The server would hand out the third message first, and the other two half a minute later.
TEST(StreamEnd, InkThatADeadReaderHeldComesInItsOrder) {
  World world;
  for (int i = 1; i <= 3; ++i) world.peer.Put("1.2.3." + std::to_string(i), 1000);
  MakeConsumer(world.peer);
  OtherReader reader(world.peer);
  ASSERT_EQ(reader.Take(2), 2);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(3));
  EXPECT_EQ(world.Kept(), world.peer.Ink());
}

// As when the server dies before it has read an acknowledgement: it would hand the ink out again.
TEST(StreamEnd, ALostAcknowledgementIsMadeGood) {
  World world;
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  for (int i = 1; i <= 3; ++i) world.peer.Put("1.2.3." + std::to_string(i), 1000);
  ASSERT_TRUE(world.WaitUntilKept(3));
  EXPECT_EQ(inbox.Stop(), 0);
  ASSERT_EQ(
      ::js_DeleteConsumer(world.peer.connection().stream(), "INK", "library", nullptr, nullptr),
      NATS_OK);
  MakeConsumer(world.peer, kAnHourNs);
  ASSERT_EQ(OtherReader(world.peer).Take(3), 3);
  EXPECT_FALSE(world.peer.HasTakenAll("library"));
  inbox.Start();
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  world.peer.Put("1.2.3.4", 2000);
  EXPECT_TRUE(world.WaitUntilKept(4));
  EXPECT_EQ(world.Kept(), world.peer.Ink());
}

// As when the server that had it under way dies, and nobody writes for a while: no count tells of
// it.
TEST(StreamEnd, TheLastDeliveryThatIsLostIsNoticed) {
  World world;
  MakeConsumer(world.peer, kAnHourNs);  // until it would be handed out again
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  world.peer.Put("1.2.3.1", 1000);
  ASSERT_TRUE(world.WaitUntilKept(1));
  inbox.Signal(SIGSTOP);
  OtherReader reader(world.peer);
  std::uint64_t count = 1;
  // Until the inbox's own question is too old, the answers to it wait in its socket.
  ASSERT_TRUE(Eventually([&] {
    world.peer.Put("1.2.3." + std::to_string(++count), 1000);
    return reader.Take(1) == 1;
  }));
  inbox.Signal(SIGCONT);
  EXPECT_TRUE(world.WaitUntilKept(count)) << inbox.log();
  EXPECT_EQ(world.Kept(), world.peer.Ink());
}

// As when a network is cut: what the server has handed out does not arrive, and what follows does.
TEST(StreamEnd, ADeliveryThatIsLostIsNoticed) {
  World world;
  int count = 0;
  const auto put = [&] { world.peer.Put("1.2.3." + std::to_string(++count), 1000); };
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  put();
  ASSERT_TRUE(world.WaitUntilKept(1));
  inbox.Signal(SIGSTOP);
  OtherReader reader(world.peer);
  // Until the inbox's own question is too old, the answers to it wait in its socket.
  ASSERT_TRUE(Eventually([&] {
    put();
    return reader.Take(1) == 1;
  }));
  put();
  inbox.Signal(SIGCONT);
  EXPECT_TRUE(world.WaitUntilKept(static_cast<std::size_t>(count)));
  EXPECT_EQ(world.Kept(), world.peer.Ink());
}

TEST(StreamEnd, AKilledInboxTakesEachOnceAndInOrder) {
  World world;
  auto inbox = world.Inbox(world.server.url());
  int count = 0;
  for (int round = 0; round < 6; ++round) {
    inbox.Start();
    for (int i = 0; i < 40; ++i) {
      ++count;
      world.peer.Put("1.2.3." + std::to_string(count), 1000);
      // In the middle of the round's ink, wherever the inbox is with it.
      if (i == 25 && !world.WaitUntilKept(static_cast<std::size_t>(count) - 20)) break;
    }
    inbox.Kill();
  }
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(static_cast<std::size_t>(count)));
  EXPECT_EQ(world.Kept(), world.peer.Ink());
}

TEST(StreamEnd, AFilterTakesItsPagesAlone) {
  World world;
  auto inbox = world.Inbox(world.server.url(), {"--filter", "ink.*.1.2.*.*"});
  inbox.Start();
  world.peer.Put("1.3.3.3", 1000);
  world.peer.Put("1.2.3.3", 2000);
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.3", 2000)));
  EXPECT_EQ(inbox.Stop(), 0);
  auto other = world.Inbox(world.server.url(), {"--filter", "ink.>"});
  other.Start();
  EXPECT_TRUE(other.WaitForLog("the consumer library has another filter, 'ink.*.1.2.*.*'"));
}

// How far it was read counts for that filter alone: what the next one asks for may be before it.
TEST(StreamEnd, AWiderFilterBeginsWithTheFirst) {
  World world;
  auto inbox = world.Inbox(world.server.url(), {"--filter", "ink.*.1.2.*.*"});
  inbox.Start();
  world.peer.Put("1.3.3.3", 1000);
  world.peer.Put("1.2.3.3", 2000);
  ASSERT_TRUE(world.WaitUntilKept(1));
  EXPECT_EQ(inbox.Stop(), 0);
  ASSERT_EQ(
      ::js_DeleteConsumer(world.peer.connection().stream(), "INK", "library", nullptr, nullptr),
      NATS_OK);
  auto wider = world.Inbox(world.server.url(), {"--filter", "ink.>"});
  wider.Start();
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.3", 2000), Line("1.3.3.3", 1000)))
      << "nothing twice";
}

TEST(StreamEnd, WithoutAFilterTheConsumerKeepsItsOwn) {
  World world;
  auto inbox = world.Inbox(world.server.url(), {"--filter", "ink.*.1.2.*.*"});
  inbox.Start();
  world.peer.Put("1.2.3.3", 1000);
  ASSERT_TRUE(world.WaitUntilKept(1));
  EXPECT_EQ(inbox.Stop(), 0);
  world.peer.Put("1.3.3.3", 2000);
  world.peer.Put("1.2.3.4", 3000);
  auto later = world.Inbox(world.server.url());
  later.Start();
  EXPECT_TRUE(world.WaitUntilKept(2));
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.3", 1000), Line("1.2.3.4", 3000)));
  EXPECT_EQ(later.Stop(), 0);
  // And with it again.
  world.peer.Put("1.2.3.5", 4000);
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(3));
  EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
  EXPECT_THAT(world.Kept(),
              ElementsAre(Line("1.2.3.3", 1000), Line("1.2.3.4", 3000), Line("1.2.3.5", 4000)));
}

// The server counts the messages that the filter leaves out among the delivered ones.
TEST(StreamEnd, InkThatAFilterLeavesOutIsNoLoss) {
  World world;
  Inbox::Consumer consumer(world.peer.connection(), "INK", "library", "ink.*.1.2.*.*");
  consumer.Resume(0);
  world.peer.Put("1.2.3.3", 1000);
  bool is_broken = false;
  std::vector<Inbox::Consumer::Message> taken;
  ASSERT_TRUE(Eventually([&] { return !(taken = consumer.Fetch(is_broken)).empty(); }));
  EXPECT_TRUE(consumer.HasLost()) << "it is not acknowledged";
  consumer.Acknowledge(taken.back());
  EXPECT_TRUE(Eventually([&] { return !consumer.HasLost(); }));
  world.peer.Put("1.3.3.3", 2000);
  EXPECT_TRUE(consumer.Fetch(is_broken).empty());
  EXPECT_FALSE(consumer.HasLost());
  world.peer.Put("1.2.3.4", 3000);
  EXPECT_TRUE(Eventually([&] { return consumer.HasLost(); }));
}

// As from a backup, or with what a power cut has left: later ink has numbers that the inbox knows.
TEST(StreamEnd, AStreamThatLostItsEndIsReadAgain) {
  World world;
  auto inbox = world.Inbox(world.server.url());
  const auto keep = [&](const std::string& page, std::uint64_t start_ms, std::size_t count) {
    EXPECT_TRUE(Eventually([&] { return world.peer.Put(page, start_ms); }));
    inbox.Start();
    EXPECT_TRUE(world.WaitUntilKept(count)) << inbox.log();
    EXPECT_TRUE(Eventually([&] { return world.peer.HasTakenAll("library"); }));
    EXPECT_EQ(inbox.Stop(), 0);
  };
  keep("1.2.3.1", 1000, 1);
  const boost::filesystem::path files = world.path("server");
  const boost::filesystem::path backup = world.path("backup");
  world.server.Kill();
  boost::filesystem::copy(files, backup, boost::filesystem::copy_options::recursive);
  world.server.Start();
  keep("1.2.3.2", 2000, 2);
  keep("1.2.3.3", 3000, 3);
  world.server.Kill();
  boost::filesystem::remove_all(files);
  boost::filesystem::rename(backup, files);
  world.server.Start();
  keep("1.2.3.4", 4000, 4);
  EXPECT_THAT(inbox.log(), HasSubstr("The stream INK ends with message 2, and was read up to 3 "
                                     "before: it is read from its beginning."));
  EXPECT_THAT(world.Kept(), ElementsAre(Line("1.2.3.1", 1000), Line("1.2.3.2", 2000),
                                        Line("1.2.3.3", 3000), Line("1.2.3.4", 4000)));
}

// The first field of five may be left out of its address if it is 0.
TEST(StreamEnd, PartsOfAPageOfFiveFieldsMakeOneWhole) {
  World world;
  const InParts parts;
  const Stream::InkEnvelope envelope = {kTestPenSerial, "0.1.2.3.4", "STF2", "ada", "desk"};
  const Stream::OutgoingInk ink(envelope, parts.bytes, 2048 + parts.bytes.size() / 5 + 1);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  for (std::uint32_t part = 1; part <= ink.parts(); ++part) EXPECT_TRUE(world.peer.Put(ink, part));
  EXPECT_TRUE(world.WaitUntilKept(1)) << inbox.log();
}

TEST(StreamEnd, WhatIsNotInkHoldsNothingUp) {
  World world;
  natsMsg* made = nullptr;
  for (const char* subject : {"ink.nonsense", "ink.0123-4567-89AB-CDEF.1.2.3.4"}) {
    ASSERT_EQ(::natsMsg_Create(&made, subject, nullptr, "junk", 4), NATS_OK);
    const Stream::MessagePtr message(made);
    ASSERT_EQ(::js_PublishMsg(nullptr, world.peer.connection().stream(), made, nullptr, nullptr),
              NATS_OK);
  }
  world.peer.Put("1.2.3.5", 6000);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  EXPECT_TRUE(inbox.WaitForLog(
      "Message 1 of the stream is passed over: the subject 'ink.nonsense' is not ink.PEN.PAGE"));
  EXPECT_TRUE(world.WaitUntilKept(2));
  EXPECT_THAT(world.Kept(), ElementsAre("0123-4567-89AB-CDEF 1.2.3.4 ?", Line("1.2.3.5", 6000)));
}

TEST(StreamEnd, AStreamThatIsAnotherOneIsReadFromItsBeginning) {
  World world;
  auto inbox = world.Inbox(world.server.url());
  for (int i = 1; i <= 3; ++i) world.peer.Put("1.2.3." + std::to_string(i), 1000);
  inbox.Start();
  ASSERT_TRUE(world.WaitUntilKept(3));
  EXPECT_EQ(inbox.Stop(), 0);
  ASSERT_EQ(::js_DeleteStream(world.peer.connection().stream(), "INK", nullptr, nullptr), NATS_OK);
  world.peer.Create();
  for (int i = 4; i <= 5; ++i) world.peer.Put("1.2.3." + std::to_string(i), 1000);
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(5));
}

// Its numbers begin anew, and the inbox's place in the old one means nothing there.
TEST(StreamEnd, AStreamThatAServerLosesIsReadFromTheBeginningOfItsSuccessor) {
  World world;
  auto inbox = world.Inbox(world.server.url());
  for (int i = 1; i <= 3; ++i) world.peer.Put("1.2.3." + std::to_string(i), 1000);
  inbox.Start();
  ASSERT_TRUE(world.WaitUntilKept(3));
  world.server.Kill();
  boost::filesystem::remove_all(world.path("server") / "streams");
  world.server.Start();
  StreamPeer peer(world.server.url());
  peer.Create();
  for (int i = 4; i <= 5; ++i) peer.Put("1.2.3." + std::to_string(i), 1000);
  EXPECT_TRUE(world.WaitUntilKept(5)) << inbox.log();
}

TEST(StreamEnd, PartsThatDontMakeTheirWholeArePassedOver) {
  World world;
  const InParts parts;
  const std::string other(parts.bytes.size(), 'y');
  const Stream::OutgoingInk wrong(kEnvelope, other, 2048 + parts.bytes.size() / 5 + 1);
  for (std::uint32_t part = 2; part <= parts.ink.parts(); ++part) world.peer.Put(parts.ink, part);
  const Stream::MessagePtr mixed = wrong.Make(1);
  ::natsMsgHeader_Set(mixed.get(), "Quillpost-Whole", parts.ink.identity().c_str());
  ASSERT_EQ(
      ::js_PublishMsg(nullptr, world.peer.connection().stream(), mixed.get(), nullptr, nullptr),
      NATS_OK);
  auto inbox = world.Inbox(world.server.url());
  inbox.Start();
  EXPECT_TRUE(inbox.WaitForLog("is not what its parts say it is, and is passed over."));
  for (std::uint32_t part = 1; part <= parts.ink.parts(); ++part) {
    world.peer.Put(parts.ink, part, "again-" + std::to_string(part));
  }
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_EQ(world.KeptBytes(), parts.bytes);
}
