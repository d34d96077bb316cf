#include "api/Events.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "Inks.h"
#include "support/Patience.h"

using namespace Inbox;
using testing::HasSubstr;
using testing::Not;

namespace {

// A browser that notes what it is told. On the queue's thread alone.
class Browser : public EventStream {
 public:
  void Send(const std::string& events) override { told += events; }

  std::string told;
};

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

class EventsTest : public InboxFixture {
 protected:
  EventsTest() : readers_(database_), library_(readers_), events_(queue_, threads_, library_) {}
  ~EventsTest() override { threads_.join(); }

  // A browser that has seen that change, and was told what it has missed.
  std::shared_ptr<Browser> Open(std::int64_t last_seen = -1) {
    auto browser = std::make_shared<Browser>();
    events_.Add(browser, last_seen);
    RunUntil(*browser, "id: ");
    return browser;
  }

  // Runs the queue until the browser was told the text.
  void RunUntil(const Browser& browser, const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (browser.told.find(text) == std::string::npos && std::chrono::steady_clock::now() < end) {
      queue_.restart();
      queue_.run_one_for(std::chrono::milliseconds(100));
    }
    EXPECT_THAT(browser.told, HasSubstr(text));
  }

  void Commit(const std::string& ink) {
    Keep(ink);
    events_.OnCommit();
  }

  boost::asio::io_context queue_;
  boost::asio::thread_pool threads_{1};
  Readers readers_;
  Library library_;
  Events events_;
};

}  // namespace

TEST_F(EventsTest, ANewBrowserIsToldOfTheServiceAndWhereItIs) {
  Keep(InkOf("1.2.3.4"));
  EXPECT_EQ(Open()->told, "event: service\ndata: {\"service\":\"away\"}\n\nid: 1\n\n");
}

TEST_F(EventsTest, InkThatArrivesIsToldToAll) {
  const auto one = Open(), other = Open();
  Commit(InkOf("1.2.3.4"));
  for (const auto& browser : {one, other}) {
    RunUntil(*browser, "event: page\n");
    EXPECT_THAT(browser->told, HasSubstr("\"address\":\"1.2.3.4\""));
    EXPECT_THAT(browser->told, HasSubstr("\"new\":true"));
    EXPECT_THAT(browser->told, HasSubstr("\"strokes_from\":1"));
  }
}

TEST_F(EventsTest, ChangesOfOnePageAreOneEvent) {
  for (const int start_ms : {5000, 6000, 7000}) Keep(InkOf("1.2.3.4", start_ms));
  const auto browser = Open(1);
  RunUntil(*browser, "event: page\n");
  EXPECT_THAT(browser->told, HasSubstr("id: 3\n"));
  EXPECT_EQ(CountOf(browser->told, "event: page"), 1u);
  EXPECT_THAT(browser->told, HasSubstr("\"new\":false"));
  EXPECT_THAT(browser->told, HasSubstr("\"strokes_from\":2"));
}

TEST_F(EventsTest, PagesThatGoAndComeBackAreTold) {
  Keep(InkOf("1.2.3.4"));
  const auto browser = Open();
  keeper().Trash({1}, 1);
  events_.OnCommit();
  RunUntil(*browser, "event: gone\ndata: {\"pages\":[1]}\n");
  keeper().Restore({1});
  events_.OnCommit();
  RunUntil(*browser, "event: back\ndata: {\"pages\":[1]}\n");
}

TEST_F(EventsTest, WhoComesBackIsToldWhatWasMissed) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  const auto browser = std::make_shared<Browser>();
  events_.Add(browser, 1);
  RunUntil(*browser, "\"address\":\"1.2.3.5\"");
  EXPECT_THAT(browser->told, Not(HasSubstr("\"address\":\"1.2.3.4\"")));
}

TEST_F(EventsTest, WhoMissedMoreThanIsKeptStartsAnew) {
  Keep(InkOf("1.2.3.4"));
  const auto browser = std::make_shared<Browser>();
  events_.Add(browser, 77);  // from another database
  RunUntil(*browser, "event: reset\n");
  EXPECT_THAT(browser->told, HasSubstr("id: 1\n"));
}

TEST_F(EventsTest, WhoMissedAThousandChangesStartsAnew) {
  Keep(InkOf("1.2.3.4"));
  const auto change = [this](int count) {
    Transaction transaction(*connection_);
    for (int i = 0; i < count; ++i) keeper().SetTitle(1, std::to_string(i));
    transaction.Commit();
  };
  change(999);
  const auto few = std::make_shared<Browser>(), many = std::make_shared<Browser>();
  events_.Add(few, 1);
  RunUntil(*few, "event: page\n");
  change(1);
  events_.Add(many, 1);
  RunUntil(*many, "event: reset\n");
  EXPECT_THAT(few->told, Not(HasSubstr("event: reset")));
}

TEST_F(EventsTest, ThePurgedAreNotShown) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  keeper().Trash({2}, 1);
  keeper().Purge({2});
  Keep(InkOf("1.2.3.6"));
  const auto browser = Open(1);
  RunUntil(*browser, "\"address\":\"1.2.3.6\"");
  EXPECT_THAT(browser->told, Not(HasSubstr("\"address\":\"1.2.3.5\"")));
}

TEST_F(EventsTest, TheStateOfTheServiceIsToldAsItChanges) {
  const auto browser = Open();
  Application::ServiceLink::State state;
  state.is_connected = true;
  state.hindrance = "no \"subscription\"";
  events_.SetService(state);
  RunUntil(*browser, "\"hindrance\":\"no \\\"subscription\\\"\"");
  EXPECT_THAT(browser->told, HasSubstr("\"service\":\"connected\""));
  EXPECT_THAT(Open()->told, HasSubstr("\"service\":\"connected\""));
}

TEST_F(EventsTest, WhoHasLeftIsToldNothing) {
  const auto leaving = Open(), staying = Open();
  events_.Remove(leaving);
  const std::string before = leaving->told;
  Commit(InkOf("1.2.3.4"));
  RunUntil(*staying, "event: page\n");
  EXPECT_EQ(leaving->told, before);
}
