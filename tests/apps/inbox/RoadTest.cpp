// Ink on its way from the service through the inbox to a browser.

#include <TalvoEncryption/Encryption.h>
#include <gmock/gmock.h>
#include <signal.h>

#include <boost/filesystem/operations.hpp>

#include "InboxProgram.h"
#include "apps/forward/NatsServer.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace fs = boost::filesystem;

namespace {

std::string InkOf(const std::string& page, std::uint64_t start_ms = 5000) {
  return InkFile().AddStroke(page.c_str(), start_ms).bytes();
}

// The process that has the file open: a launched program is nobody's child to ask. 0 if none has.
pid_t HolderOf(const fs::path& file) {
  boost::system::error_code ignored;
  for (const auto& process : fs::directory_iterator("/proc")) {
    const std::string name = process.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    for (fs::directory_iterator fd(process.path() / "fd", ignored), end; !ignored && fd != end;
         fd.increment(ignored)) {
      if (fs::read_symlink(fd->path(), ignored) == file) return std::stoi(name);
    }
  }
  return 0;
}

// Ink for the key, and a subscription to it.
void MakeSealedInk(InboxWorld& world, const std::string& key, const std::string& sealed) {
  world.root().Subscribe("Inbox", "encrypted-stf2");
  const std::string plain = world.path("note.stf2");
  WriteFile(plain, InkOf("1.2.3.4"));
  ASSERT_EQ(RunToEnd({STF2_TOOL, "keygen", "-o", key}).status, 0);
  ASSERT_EQ(RunToEnd({STF2_TOOL, "seal", "--key", key + ".pub", plain, "-o", sealed}).status, 0);
}

std::string OpenEvents(HttpPeer& peer, InboxProgram& inbox, const std::string& last = "") {
  std::string request = "GET /api/events HTTP/1.1\r\n";
  for (const auto& [name, value] : inbox.Ours()) request += name + ": " + value + "\r\n";
  if (!last.empty()) request += "Last-Event-ID: " + last + "\r\n";
  peer.Send(request + "\r\n");
  return peer.ReadUntil("\nid: ");
}

}  // namespace

TEST(InboxRoad, InkThatIsImportedAppears) {
  InboxWorld world;
  InboxProgram inbox;
  EXPECT_TRUE(world.Import(InkOf("1.2.3.4")));
  ASSERT_TRUE(inbox.WaitForPages(1));
  EXPECT_EQ(inbox.Pages()[0]["address"].asString(), "1.2.3.4");
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << "it was confirmed";
  EXPECT_EQ(inbox.Get("/api/pages/1/ink").Json()["strokes"].size(), 1u);
  EXPECT_THAT(inbox.Get("/api/pages/1/picture.png").body, StartsWith("\x89PNG"));
  EXPECT_EQ(inbox.Stop(), 0);
}

TEST(InboxRoad, TheServiceLaunchesIt) {
  InboxWorld world(QUILLPOST_INBOX);
  EXPECT_TRUE(world.Import(InkOf("1.2.3.4")));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  const auto launched = world.root().home() / ".local/share/quillpost/inbox.address";
  ASSERT_TRUE(Eventually([&] { return fs::exists(launched); }));
  const Finished second = RunToEnd({QUILLPOST_INBOX}, {{"XDG_DATA_HOME", ""}});
  EXPECT_EQ(second.output, ReadFile(launched));
  const pid_t inbox = HolderOf(world.root().home() / ".local/share/quillpost/inbox.lock");
  ASSERT_GT(inbox, 0);
  ::kill(inbox, SIGTERM);
  EXPECT_TRUE(Eventually([&] { return !fs::exists(launched); }));
}

TEST(InboxRoad, SurvivesTheServiceAndFindsItsSuccessor) {
  InboxWorld world;
  world.StopService();
  InboxProgram inbox;
  EXPECT_EQ(inbox.Get("/api/status").Json()["service"].asString(), "away");
  for (int round = 1; round <= 2; ++round) {
    world.StartService();
    EXPECT_TRUE(world.Import(InkOf("1.2.3." + std::to_string(round))));
    EXPECT_TRUE(inbox.WaitForPages(static_cast<std::size_t>(round)));
    EXPECT_EQ(inbox.Get("/api/status").Json()["service"].asString(), "connected");
    EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
    world.StopService();
    EXPECT_TRUE(Eventually(
        [&] { return inbox.Get("/api/status").Json()["service"].asString() == "away"; }));
  }
}

TEST(InboxRoad, WithoutASubscriptionItSaysSo) {
  TestRoot root;
  Process service({QUILLPOSTD, "--log-file", (root.path() / "log").string()});
  InboxProgram inbox;
  EXPECT_TRUE(Eventually([&] {
    return inbox.Get("/api/status").Json()["hindrance"].asString().find("no subscription") !=
           std::string::npos;
  }));
}

TEST(InboxRoad, TellsWhetherItsStreamIsThere) {
  InboxWorld world;
  NatsServer server(world.root().path() / "server");
  InboxProgram inbox({"--from", server.url(), "--consumer", "library"});
  const auto is_told = [&](const std::string& state, const std::string& hindrance) {
    return Eventually([&] {
      const Json::Value stream = inbox.Get("/api/status").Json()["stream"];
      return stream["state"].asString() == state && stream["hindrance"].asString() == hindrance;
    });
  };
  EXPECT_TRUE(is_told("away", "there is no stream INK"));
  const Process maker({QUILLPOST_FORWARD, "--to", server.url(), "--create-stream"});
  EXPECT_TRUE(is_told("connected", ""));
  server.Kill();
  EXPECT_TRUE(is_told("away", "the connection to the servers is lost"));
  server.Start();
  EXPECT_TRUE(is_told("connected", ""));
  HttpPeer events(inbox.port());
  EXPECT_THAT(OpenEvents(events, inbox), HasSubstr("event: stream\ndata: {\"hindrance\":\"\","));
}

TEST(InboxRoad, WithoutAStreamItTellsOfNone) {
  InboxWorld world;
  InboxProgram inbox;
  EXPECT_TRUE(inbox.Get("/api/status").Json()["stream"].isNull());
}

TEST(InboxRoad, InkThatCantBeReadIsKeptConfirmedAndShownAsSuch) {
  InboxWorld world;
  ASSERT_TRUE(world.Import(InkOf("1.2.3.4")));
  // Something other than this service has damaged the stroke that waits.
  for (const auto& entry : fs::recursive_directory_iterator(world.root().storage())) {
    if (entry.path().extension() == ".stf2") WriteFile(entry.path(), "damaged");
  }
  InboxProgram inbox;
  ASSERT_TRUE(inbox.WaitForPages(1));
  const Json::Value page = inbox.Pages()[0];
  EXPECT_EQ(page["kind"].asString(), "unreadable");
  EXPECT_EQ(page["address"].asString(), "1.2.3.4");
  EXPECT_EQ(page["pen"].asString(), kTestPenSerial);
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(inbox.Get("/api/pages/1/picture.svg").status, 409);
  EXPECT_EQ(inbox.Get("/api/export?pages=1&format=stf2").body, "damaged");
}

TEST(InboxRoad, SealedInkIsOpenedByTheKeyThatTheUserNames) {
  InboxWorld world;
  const std::string key = world.path("diary"), sealed = world.path("note.sealed.stf2");
  MakeSealedInk(world, key, sealed);
  auto inbox = std::make_unique<InboxProgram>();
  ASSERT_TRUE(world.Import(ReadFile(sealed)));
  ASSERT_TRUE(inbox->WaitForPages(1));
  EXPECT_EQ(inbox->Pages()[0]["kind"].asString(), "sealed");
  EXPECT_EQ(inbox->Get("/api/pages/1/ink").status, 409);
  EXPECT_EQ(inbox->Get("/api/export?pages=1&format=stf2").body, ReadFile(sealed));
  inbox->Stop();
  inbox = std::make_unique<InboxProgram>(std::vector<std::string>{"--key", key});
  EXPECT_EQ(inbox->Pages()[0]["kind"].asString(), "ink");
  EXPECT_EQ(inbox->Get("/api/pages/1/ink").Json()["strokes"].size(), 1u);
  inbox->Stop();
  inbox = std::make_unique<InboxProgram>();
  EXPECT_EQ(inbox->Pages()[0]["kind"].asString(), "ink") << "the key is remembered";
  inbox->Stop();
  inbox = std::make_unique<InboxProgram>(std::vector<std::string>{"--forget-key"});
  EXPECT_EQ(inbox->Pages()[0]["kind"].asString(), "sealed");
}

TEST(InboxRoad, ARunningInboxIsGivenAKeyAndLosesIt) {
  InboxWorld world;
  const std::string key = world.path("diary"), sealed = world.path("note.sealed.stf2");
  MakeSealedInk(world, key, sealed);
  InboxProgram inbox;
  ASSERT_TRUE(world.Import(ReadFile(sealed)));
  ASSERT_TRUE(inbox.WaitForPages(1));
  HttpPeer events(inbox.port());
  OpenEvents(events, inbox);
  const auto run = [](const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {QUILLPOST_INBOX};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return RunToEnd(command, {{"XDG_DATA_HOME", ""}});
  };
  EXPECT_EQ(run({"--key", world.path("no such key")}).status, 1);
  EXPECT_EQ(run({"--key", key}).status, 0);
  EXPECT_THAT(events.ReadUntil("event: page"), HasSubstr("\"kind\":\"ink\""));
  EXPECT_EQ(inbox.Pages()[0]["kind"].asString(), "ink");
  EXPECT_EQ(run({"--forget-key"}).status, 0);
  EXPECT_EQ(inbox.Pages()[0]["kind"].asString(), "sealed");
}

TEST(InboxRoad, ADroppedFileTakesTheWholeRoad) {
  InboxWorld world;
  InboxProgram inbox;
  ASSERT_TRUE(Eventually(
      [&] { return inbox.Get("/api/status").Json()["service"].asString() == "connected"; }));
  const HttpAnswer answer =
      inbox.Import("<ink xmlns=\"http://www.w3.org/2003/InkML\"><trace>1 1, 2 2</trace></ink>");
  EXPECT_EQ(answer.status, 202) << answer.body;
  EXPECT_EQ(answer.Json()["result"].asString(), "Success");
  EXPECT_GT(answer.Json()["told"].size(), 2u);
  ASSERT_TRUE(inbox.WaitForPages(1));
  EXPECT_THAT(inbox.Pages()[0]["address"].asString(), StartsWith("2147483647."));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_THAT(ReadFile(world.path("service.log")), HasSubstr("Delivered 1 Ink items"));
  EXPECT_EQ(inbox.Import("no ink").status, 422);
  EXPECT_EQ(inbox.Import("").status, 422);
  for (const auto& entry : fs::directory_iterator(world.root().home() / ".local/share/quillpost")) {
    EXPECT_NE(entry.path().filename().string().substr(0, 7), "import-") << "left behind";
  }
}

TEST(InboxRoad, ADroppedFileTakesItsPageOutOfTheTrash) {
  InboxWorld world;
  InboxProgram inbox;
  ASSERT_TRUE(world.Import(InkOf("1.2.3.4")));
  ASSERT_TRUE(inbox.WaitForPages(1));
  inbox.Post("/api/pages/trash", "{\"pages\":[1]}");
  ASSERT_EQ(inbox.Pages().size(), 0u);
  EXPECT_EQ(inbox.Import(InkOf("1.2.3.4")).status, 202);
  EXPECT_TRUE(inbox.WaitForPages(1));
}

TEST(InboxRoad, WithoutTheServiceADroppedFileIsRefused) {
  TestRoot root;
  InboxProgram inbox;
  EXPECT_EQ(inbox.Import(InkOf("1.2.3.4")).status, 503);
  EXPECT_EQ(inbox.Pages().size(), 0u);
}

TEST(InboxRoad, ThePadWritesOnPagesOfItsOwn) {
  InboxWorld world;
  InboxProgram inbox;
  ASSERT_TRUE(Eventually(
      [&] { return inbox.Get("/api/status").Json()["service"].asString() == "connected"; }));
  const std::string stroke =
      "\"strokes\":[{\"color\":\"#ff0000\",\"width\":500,\"points\":[[0,1000,1000,0.5],"
      "[9,5000,5000,0.9]]}]}";
  const HttpAnswer first = inbox.Post("/api/pad", "{\"page\":\"\"," + stroke);
  ASSERT_EQ(first.status, 202) << first.body;
  const std::string page = first.Json()["page"].asString();
  ASSERT_TRUE(inbox.WaitForPages(1));
  EXPECT_EQ(inbox.Pages()[0]["address"].asString(), page);
  EXPECT_EQ(inbox.Pages()[0]["pen"].asString(),
            inbox.Get("/api/status").Json()["pad"]["pen"].asString());
  EXPECT_EQ(inbox.Post("/api/pad", "{\"page\":\"" + page + "\"," + stroke).status, 202);
  EXPECT_TRUE(Eventually([&] { return inbox.Pages()[0]["strokes"].asInt() == 2; }));
  EXPECT_EQ(inbox.Pages().size(), 1u);
  EXPECT_NE(inbox.Post("/api/pad", "{" + stroke).Json()["page"].asString(), page);
  EXPECT_EQ(inbox.Post("/api/pad", "{\"page\":\"1.2.3.4\"," + stroke).status, 422)
      << "paper is not written on here";
  EXPECT_EQ(inbox.Post("/api/pad", "{\"strokes\":[]}").status, 422);
}

TEST(InboxRoad, BrowsersAreToldOfWhatHappens) {
  InboxWorld world;
  InboxProgram inbox;
  HttpPeer events(inbox.port());
  OpenEvents(events, inbox);
  world.Import(InkOf("1.2.3.4", 5000));
  EXPECT_THAT(events.ReadUntil("\"new\":true"), HasSubstr("\"strokes_from\":1"));
  world.Import(InkOf("1.2.3.4", 6000));
  EXPECT_THAT(events.ReadUntil("\"new\":false"), HasSubstr("\"strokes_from\":2"));
  inbox.Post("/api/pages/1/title", "{\"title\":\"Letter\"}");
  events.ReadUntil("\"title\":\"Letter\"");
  inbox.Post("/api/pages/trash", "{\"pages\":[1]}");
  events.ReadUntil("event: gone\ndata: {\"pages\":[1]}");
  inbox.Post("/api/pages/restore", "{\"pages\":[1]}");
  events.ReadUntil("event: back\ndata: {\"pages\":[1]}");
  world.StopService();
  events.ReadUntil("event: service\ndata: {\"service\":\"away\"}");
}

TEST(InboxRoad, BrowsersAreToldWhatHindersInk) {
  TestRoot root;
  Process service({QUILLPOSTD, "--log-file", (root.path() / "log").string()});
  InboxProgram inbox;
  HttpPeer events(inbox.port());
  OpenEvents(events, inbox);
  EXPECT_THAT(events.ReadUntil("has no subscription"), HasSubstr("\"hindrance\":\"the inbox"));
}

TEST(InboxRoad, BrowsersAreToldOfEachPageOfABurst) {
  InboxWorld world;
  InboxProgram inbox;
  HttpPeer events(inbox.port());
  OpenEvents(events, inbox);
  std::vector<std::string> command = {QUILLPOST, "import"};
  for (int i = 1; i <= 40; ++i) {
    command.push_back(world.path("burst-" + std::to_string(i)));
    WriteFile(command.back(), InkOf("1.2.9." + std::to_string(i)));
  }
  EXPECT_EQ(RunToEnd(command).status, 0);
  for (int i = 1; i <= 40; ++i) {
    events.ReadUntil("\"address\":\"1.2.9." + std::to_string(i) + "\"");
  }
}

TEST(InboxRoad, ABrowserThatComesBackIsToldWhatItHasMissed) {
  InboxWorld world;
  InboxProgram inbox;
  world.Import(InkOf("1.2.3.4"));
  ASSERT_TRUE(inbox.WaitForPages(1));
  inbox.Post("/api/pages/1/title", "{\"title\":\"Missed\"}");
  {
    HttpPeer events(inbox.port());
    OpenEvents(events, inbox, "1");
    EXPECT_THAT(events.ReadUntil("Missed"), HasSubstr("id: 2\n"));
  }
  HttpPeer stranger(inbox.port());
  OpenEvents(stranger, inbox, "999");
  stranger.ReadUntil("event: reset");
}

TEST(InboxRoad, BrowsersAreToldOfWhatAnotherProcessPutsIn) {
  TestRoot root;
  InboxProgram inbox;
  HttpPeer events(inbox.port());
  OpenEvents(events, inbox);
  const std::string file = (root.path() / "ink.stf2").string();
  WriteFile(file, InkOf("1.2.3.4"));
  EXPECT_EQ(RunToEnd({QUILLPOST_INBOX, "import", file}, {{"XDG_DATA_HOME", ""}}).status, 0);
  events.ReadUntil("\"address\":\"1.2.3.4\"");
}

TEST(InboxRoad, APictureIsDrawnOnceAsLongAsThePageStaysTheSame) {
  InboxWorld world;
  InboxProgram inbox;
  world.Import(InkOf("1.2.3.4", 5000));
  ASSERT_TRUE(inbox.WaitForPages(1));
  HttpHeaders headers = inbox.Ours();
  const HttpAnswer first = HttpPeer(inbox.port()).Ask("GET", "/api/pages/1/picture.svg", headers);
  headers["If-None-Match"] = first.headers.at("etag");
  const HttpAnswer again = HttpPeer(inbox.port()).Ask("GET", "/api/pages/1/picture.svg", headers);
  EXPECT_EQ(again.status, 304);
  world.Import(InkOf("1.2.3.4", 6000));
  ASSERT_TRUE(Eventually([&] { return inbox.Pages()[0]["strokes"].asInt() == 2; }));
  EXPECT_EQ(HttpPeer(inbox.port()).Ask("GET", "/api/pages/1/picture.svg", headers).status, 200);
}

TEST(InboxRoad, ALongDrawingKeepsNobodyWaiting) {
  TestRoot root;
  const std::string file = (root.path() / "ink.stf2").string();
  InkFile ink;
  for (int stroke = 0; stroke < 3000; ++stroke) {
    std::vector<Stf2Sample> samples;
    for (int i = 0; i < 20; ++i) {
      samples.push_back({std::uint32_t(i), stroke * 7919 % 200000 + i * 300,
                         stroke * 104729 % 280000 + i % 3 * 900, 30000, STF2_SAMPLE_COORDINATE,
                         STF2_SAMPLE_HAS_TIME});
    }
    ink.AddStroke("1.2.3.4", static_cast<std::uint64_t>(stroke) + 1, samples);
  }
  WriteFile(file, ink.bytes());
  ASSERT_EQ(RunToEnd({QUILLPOST_INBOX, "import", file}, {{"XDG_DATA_HOME", ""}}).status, 0);
  InboxProgram inbox;
  std::vector<std::unique_ptr<HttpPeer>> drawings;
  std::string request = "GET /api/pages/1/picture.png?size=2000 HTTP/1.1\r\n";
  for (const auto& [name, value] : inbox.Ours()) request += name + ": " + value + "\r\n";
  for (int i = 0; i < 4; ++i) {
    drawings.push_back(std::make_unique<HttpPeer>(inbox.port()));
    drawings.back()->Send(request + "\r\n");
  }
  // All four are behind one another by now, or in the drawing; lists overtake them.
  for (int i = 0; i < 20; ++i) EXPECT_EQ(inbox.Get("/api/pages").status, 200);
  EXPECT_EQ(inbox.Get("/api/status").status, 200);
  for (const auto& drawing : drawings) EXPECT_EQ(drawing->ReadAnswer().status, 200);
}
