// Ink on its way from a desktop through a stream to an inbox.

#include <gmock/gmock.h>

#include <boost/filesystem/operations.hpp>
#include <iterator>
#include <map>
#include <optional>

#include "ForwardWorld.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

namespace {

// Ink of many points: its package is of about `size_bytes`.
std::string LongInk(std::size_t size_bytes) {
  std::vector<Stf2Sample> samples(size_bytes / sizeof(Stf2Sample));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i].type = STF2_SAMPLE_COORDINATE;
    samples[i].x_um = static_cast<std::int32_t>(i);
    samples[i].time_offset_ms = static_cast<std::uint32_t>(i);
    samples[i].flags = STF2_SAMPLE_HAS_TIME;
  }
  samples.front().type = STF2_SAMPLE_PEN_DOWN;
  samples.back().type = STF2_SAMPLE_PEN_UP;
  return InkFile().AddStroke("1.2.3.4", 5000, samples).bytes();
}

// Waits until the stream would take again what it has: a message of another page tells when the
// window is over for what came before it.
bool WaitUntilForgotten(StreamPeer& peer) {
  return peer.Put("9.9.9.9", 1) && Eventually([&] { return peer.Put("9.9.9.9", 1); });
}

}  // namespace

TEST(ForwardRoad, InkReachesAnInboxOnAnotherMachine) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.5", 6000, 7)));
  EXPECT_TRUE(world.WaitUntilKept(2));
  EXPECT_THAT(world.Kept(), UnorderedElementsAre("0123-4567-89AB-CDEF 1.2.3.4 5000",
                                                 "0000-0000-0000-0007 1.2.3.5 6000"));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << "it was confirmed";
  EXPECT_TRUE(Eventually([&] { return StreamPeer(server.url()).HasTakenAll("library"); }));
  EXPECT_EQ(inbox.Stop(), 0);
  EXPECT_EQ(forward.Stop(), 0);
  EXPECT_THAT(forward.log(), Not(HasSubstr(" W Forward: ")));
}

TEST(ForwardRoad, WithoutAStreamInkStaysAndTheLogSaysWhatIsMissing) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url());
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  forward.Start();
  EXPECT_TRUE(
      forward.WaitForLog("ink of pen 0123-4567-89AB-CDEF stays with the service: there is "
                         "no stream INK on the server; --create-stream makes it"));
  EXPECT_FALSE(world.is_store_empty());
  StreamPeer(server.url()).Create();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
}

TEST(ForwardRoad, TheStreamIsMadeAsWanted) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream", "--max-age", "30d", "--max-size",
                                              "1GiB", "--duplicate-window", "5m"});
  forward.Start();
  ASSERT_TRUE(forward.WaitForLog("The stream INK is there."));
  StreamPeer peer(server.url());
  jsStreamInfo* info = nullptr;
  ASSERT_EQ(::js_GetStreamInfo(&info, peer.connection().stream(), "INK", nullptr, nullptr),
            NATS_OK);
  const std::int64_t second = 1000000000;
  EXPECT_EQ(info->Config->MaxAge, 30 * 24 * 3600 * second);
  EXPECT_EQ(info->Config->MaxBytes, 1 << 30);
  EXPECT_EQ(info->Config->Duplicates, 300 * second);
  EXPECT_EQ(info->Config->Replicas, 1);
  EXPECT_EQ(info->Config->Discard, js_DiscardNew);
  EXPECT_EQ(info->Config->Storage, js_FileStorage);
  ::jsStreamInfo_Destroy(info);
}

// A server refuses a window that is longer than its messages' age.
TEST(ForwardRoad, AStreamOfShortLivedInkHasAShortWindow) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream", "--max-age", "60s"});
  forward.Start();
  EXPECT_TRUE(forward.WaitForLog("The stream INK is there.")) << forward.log();
}

TEST(ForwardRoad, AStreamOfOtherSubjectsIsToldOf) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  const char* subjects[] = {"orders.*"};
  peer.Create([&](jsStreamConfig& config) { config.Subjects = subjects; });
  auto forward = world.Forward(server.url());
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  forward.Start();
  EXPECT_TRUE(
      forward.WaitForLog("the stream INK takes no messages of ink.>: its subjects are others"));
}

TEST(ForwardRoad, AStreamThatThrowsInkAwayIsToldOf) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create([](jsStreamConfig& config) {
    config.Retention = js_InterestPolicy;
    config.MaxMsgsPerSubject = 1;
    config.MaxBytes = 1 << 20;
    config.Storage = js_MemoryStorage;
  });
  auto forward = world.Forward(server.url());
  forward.Start();
  ASSERT_TRUE(forward.WaitForLog("The stream INK is there."));
  for (const char* told :
       {"drops its oldest ink when it is full", "drops ink that no consumer waits for",
        "keeps only the last messages of each page", "in its server's memory alone"}) {
    EXPECT_THAT(forward.log(), HasSubstr(told));
  }
}

TEST(ForwardRoad, APackageBeyondTheMessageSizeTravelsInParts) {
  ForwardWorld world;
  NatsServer server(world.path("server"), "max_payload: 64KB\n");
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  const std::string bytes = LongInk(1 << 20);
  ASSERT_TRUE(world.Import(bytes));
  forward.Start();
  inbox.Start();
  EXPECT_TRUE(world.WaitUntilKept(1));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_GE(StreamPeer(server.url()).Count(), 16u);
  EXPECT_EQ(inbox.Stop(), 0);
  const std::string copy = world.path("copy.stf2").string();
  const Finished exported =
      RunToEnd({QUILLPOST_INBOX, "export", "-o", copy}, {{"XDG_DATA_HOME", ""}});
  ASSERT_EQ(exported.status, 0) << exported.error;
  EXPECT_EQ(StrokesOf(ReadFile(copy)), StrokesOf(bytes));
  EXPECT_GE(ReadFile(copy).size(), std::size_t{1} << 20);
}

// With the limit that a server has by itself.
TEST(ForwardRoad, SixtyMebibytesTravelInParts) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  const std::string bytes = LongInk(60 << 20);
  ASSERT_GE(bytes.size(), std::size_t{60} << 20);
  ASSERT_TRUE(world.Import(bytes));
  EXPECT_TRUE(world.WaitUntilKept(1)) << forward.log() << inbox.log();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_GT(StreamPeer(server.url()).Count(), 60u);
  EXPECT_EQ(world.PartsThatWait(), 0u);
  const std::string kept = world.KeptBytes();
  EXPECT_EQ(kept.size(), bytes.size());
  EXPECT_TRUE(kept == bytes) << "another ink";
}

// Killed again and again between two parts, it goes on with the next one.
TEST(ForwardRoad, InkWhosePartsAreInterruptedArrivesOnce) {
  ForwardWorld world;
  NatsServer server(world.path("server"), "max_payload: 16KB\n");
  StreamPeer peer(server.url());
  peer.Create();
  auto forward = world.Forward(server.url());
  auto inbox = world.Inbox(server.url());
  inbox.Start();
  const std::string bytes = LongInk(20 << 20);
  const Stream::OutgoingInk ink({kTestPenSerial, "1.2.3.4", "STF2", "", ""}, bytes, 16 << 10);
  ASSERT_TRUE(world.Import(bytes));
  for (int kills = 0; kills < 3; ++kills) {
    const std::uint64_t before = peer.Count();
    forward.Start();
    ASSERT_TRUE(Eventually([&] { return peer.Count() >= before + 3; })) << forward.log();
    forward.Kill();
    ASSERT_LT(peer.Count(), ink.parts()) << "it was in the middle";
    ASSERT_EQ(world.Kept().size(), 0u);
  }
  forward.Start();
  EXPECT_TRUE(world.WaitUntilKept(1)) << forward.log() << inbox.log();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(peer.Count(), ink.parts()) << "each part went once";
  EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("library"); }));
  EXPECT_TRUE(world.KeptBytes() == bytes) << "another ink";
  EXPECT_EQ(world.PartsThatWait(), 0u);
}

TEST(ForwardRoad, ADryRunShowsSubjectsAndTakesNothing) {
  ForwardWorld world;
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  Process forward({QUILLPOST_FORWARD, "--to", "nats://nobody.invalid", "--dry-run"});
  EXPECT_TRUE(forward.WaitForOutput("\n"));
  EXPECT_THAT(forward.output(), StartsWith("ink.0123-4567-89AB-CDEF.1.2.3.4 "));
  forward.Signal(SIGTERM);
  EXPECT_EQ(forward.Wait(), 0);
  EXPECT_FALSE(world.is_store_empty());
}

// The stream acknowledged a package, and forward died before the service heard of it. Long after
// the stream has forgotten the message's identity the package is handed on again.
TEST(ForwardRoad, WhatTheStreamHasIsConfirmedAndNotSentAgain) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create(100);
  auto forward = world.Forward(server.url());
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  forward.Start();
  ASSERT_TRUE(world.WaitUntilStoreIsEmpty());
  ASSERT_EQ(peer.Count(), 1u);
  EXPECT_EQ(forward.Stop(), 0);
  ASSERT_TRUE(WaitUntilForgotten(peer));
  const std::uint64_t count = peer.Count();
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  forward.Start();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(peer.Count(), count);
}

// The service ended between the stream's acknowledgement and its own confirmation, and offers the
// package once more to the same forward.
TEST(ForwardRoad, WhatWasAcknowledgedIsNotSentAgainIfTheServiceRestarts) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create(100);
  server.Kill();
  auto forward = world.Forward(server.url());
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  forward.Start();
  ASSERT_TRUE(forward.WaitForLog("stays with the service")) << forward.log();
  world.StopServiceInItsTracks();
  server.Start();
  ASSERT_TRUE(forward.WaitForLog("is in the stream"));
  ASSERT_TRUE(WaitUntilForgotten(peer));
  const std::uint64_t count = peer.Count();
  world.RestartKilledService();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(peer.Count(), count);
}

TEST(ForwardRoad, AStreamThatIsGoneIsMadeAgain) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream"});
  forward.Start();
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  ASSERT_TRUE(world.WaitUntilStoreIsEmpty());
  StreamPeer peer(server.url());
  ASSERT_EQ(::js_DeleteStream(peer.connection().stream(), "INK", nullptr, nullptr), NATS_OK);
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.5", 6000)));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << forward.log();
  EXPECT_EQ(peer.Count(), 1u);
}

TEST(ForwardRoad, ALowerLimitOfAServerThatComesBackIsKept) {
  ForwardWorld world;
  NatsServer server(world.path("server"), "max_payload: 1MB\n");
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  ASSERT_TRUE(world.WaitUntilKept(1));
  server.Kill();
  server.SetSettings("max_payload: 64KB\n");
  server.Start();
  ASSERT_TRUE(world.Import(LongInk(1 << 19)));
  EXPECT_TRUE(world.WaitUntilKept(2)) << forward.log();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
}

namespace {

// The example of a consumer in Python, and what it has drawn.
struct Example {
  Example(ForwardWorld& world, const NatsServer& server) : folder(world.path("pages")) {
    const std::string tool = STF2_TOOL;
    const std::string path = tool.substr(0, tool.rfind('/')) + ":/usr/bin:/bin";
    process.emplace(
        std::vector<std::string>{"/usr/bin/python3", std::string(EXAMPLES) + "/stream_to_pdf.py",
                                 "127.0.0.1:" + std::to_string(server.port()), folder.string()},
        std::map<std::string, std::string>{{"PATH", path}, {"PYTHONDONTWRITEBYTECODE", "1"}});
  }

  std::size_t CountOfInk(const std::string& page) const {
    using Entry = boost::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Entry(folder / page), Entry()));
  }

  const boost::filesystem::path folder;
  std::optional<Process> process;
};

}  // namespace

TEST(ForwardRoad, TheExampleDrawsEachPage) {
  ForwardWorld world;
  NatsServer server(world.path("server"), "max_payload: 64KB\n");
  auto forward = world.Forward(server.url(), {"--create-stream"});
  forward.Start();
  ASSERT_TRUE(world.Import(LongInk(200000)));
  ASSERT_TRUE(world.WaitUntilStoreIsEmpty());
  Example example(world, server);
  const std::string page = (example.folder / "0123-4567-89AB-CDEF.1.2.3.4.pdf").string();
  EXPECT_TRUE(example.process->WaitForOutput(page)) << example.process->error();
  EXPECT_THAT(ReadFile(page), StartsWith("%PDF"));
  EXPECT_TRUE(Eventually([&] { return StreamPeer(server.url()).HasTakenAll("pdf"); }));
}

// Its sender came back to a server with another limit after four parts.
TEST(ForwardRoad, TheExampleDrawsInkThatIsCutAnew) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create();
  const Stream::InkEnvelope envelope = {kTestPenSerial, "1.2.3.4", "STF2", "ada", "desk"};
  const std::string bytes = LongInk(20000);
  const Stream::OutgoingInk in_five(envelope, bytes, 2048 + bytes.size() / 5 + 1);
  const Stream::OutgoingInk in_three(envelope, bytes, 2048 + bytes.size() / 3 + 1);
  for (const std::uint32_t part : {1u, 2u, 3u, 4u}) ASSERT_TRUE(peer.Put(in_five, part));
  for (const std::uint32_t part : {1u, 2u, 3u}) ASSERT_TRUE(peer.Put(in_three, part));
  Example example(world, server);
  const std::string page = (example.folder / "0123-4567-89AB-CDEF.1.2.3.4.pdf").string();
  EXPECT_TRUE(example.process->WaitForOutput(page)) << example.process->error();
}

// The same ink stands in the stream twice, and between the two a message that is not ink.
TEST(ForwardRoad, TheExampleDrawsInkThatComesAgainOnce) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create();
  const Stream::InkEnvelope envelope = {kTestPenSerial, "1.2.3.4", "STF2", "ada", "desk"};
  const std::string bytes = world.InkOf("1.2.3.4", 5000);
  const std::string junk = "junk";
  const Stream::OutgoingInk ink(envelope, bytes, 1 << 20);
  ASSERT_TRUE(peer.Put(ink));
  ASSERT_TRUE(peer.Put(Stream::OutgoingInk(envelope, junk, 1 << 20)));
  ASSERT_TRUE(peer.Put(ink, 1, "another identity"));
  ASSERT_TRUE(peer.Put("1.2.3.4", 6000));
  Example example(world, server);
  EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("pdf"); })) << example.process->error();
  EXPECT_EQ(example.CountOfInk("0123-4567-89AB-CDEF.1.2.3.4"), 2u);
  EXPECT_TRUE(example.process->WaitForError("neither STF2")) << example.process->error();
}

TEST(ForwardRoad, WithoutASubscriptionItSaysSo) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--application", "Nobody"});
  forward.Start();
  EXPECT_TRUE(
      forward.WaitForLog("the application Nobody gets no ink: it has no subscription; "
                         "'quillpost subscriptions add Nobody' makes one"));
}
