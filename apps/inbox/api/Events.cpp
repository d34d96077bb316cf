#include "api/Events.h"

#include <Talvo/Logger.h>

#include <boost/asio/post.hpp>
#include <utility>

#include "api/PageJson.h"

namespace Inbox {
namespace {

// A browser that has missed more than this loads its pages anew, which is less work for both.
constexpr int kMostMissed = 1000;

std::string EventText(const char* name, const Json::Value& data, std::int64_t id = -1) {
  std::string text = std::string("event: ") + name + "\ndata: " + ToText(data) + "\n";
  if (id >= 0) text += "id: " + std::to_string(id) + "\n";
  return text + "\n";
}

std::string ServiceText(const Application::ServiceLink::State& state) {
  Json::Value data;
  data["service"] = state.is_connected ? "connected" : "away";
  if (!state.hindrance.empty()) data["hindrance"] = state.hindrance;
  return EventText("service", data);
}

// Gives the browser the number to come back with.
std::string IdText(std::int64_t id) {
  return "id: " + std::to_string(id) + "\n\n";
}

Json::Value PageList(std::int64_t page) {
  Json::Value data;
  data["pages"].append(Json::Int64(page));
  return data;
}

}  // namespace

Events::Events(boost::asio::io_context& queue, boost::asio::thread_pool& readers, Library& library)
    : queue_(queue), readers_(readers), library_(library) {}

void Events::OnCommit() {
  boost::asio::post(queue_, [this] { Pump(); });
}

void Events::SetService(const Application::ServiceLink::State& state) {
  boost::asio::post(queue_, [this, state] {
    service_ = state;
    Send(ServiceText(state));
  });
}

void Events::OnStreamState(const StreamLink::State& state) {
  boost::asio::post(queue_, [this, text = EventText("stream", ToJson(state))] {
    stream_text_ = text;
    Send(text);
  });
}

void Events::Send(const std::string& text) {
  for (auto& [stream, listener] : streams_) {
    if (listener.is_ready) {
      stream->Send(text);
    } else {
      listener.waiting += text;
    }
  }
}

// Reads the database once at a time. A commit during a reading asks for one more.
void Events::Pump() {
  if (streams_.empty() || told_ < 0) return;
  is_more_ = true;
  if (is_pumping_) return;
  is_pumping_ = true;
  is_more_ = false;
  boost::asio::post(readers_, [this, after = told_] {
    News news = NewsAfter(after);
    boost::asio::post(queue_, [this, news = std::move(news)] {
      is_pumping_ = false;
      told_ = news.last;
      if (!news.text.empty()) Send(news.text);
      if (is_more_) Pump();
    });
  });
}

void Events::Add(const std::shared_ptr<EventStream>& stream, std::int64_t last_seen) {
  streams_[stream];
  boost::asio::post(readers_, [this, stream, last_seen] {
    News news = NewsAfter(last_seen);
    boost::asio::post(queue_, [this, stream, news = std::move(news)] {
      const auto found = streams_.find(stream);
      if (found == streams_.end()) return;
      if (told_ < 0 || streams_.size() == 1) told_ = news.last;
      stream->Send(ServiceText(service_) + stream_text_ + IdText(news.last) + news.text +
                   found->second.waiting);
      found->second = {true, {}};
      Pump();
    });
  });
}

void Events::Remove(const std::shared_ptr<EventStream>& stream) {
  streams_.erase(stream);
}

Events::News Events::NewsAfter(std::int64_t change) const {
  News news;
  news.last = change;
  try {
    auto catalogue = library_.readers().Lend();
    if (change < 0) {
      news.last = catalogue->LastChange();
      return news;
    }
    const auto changes = catalogue->ChangesAfter(change, kMostMissed);
    if (!changes || changes->size() == static_cast<std::size_t>(kMostMissed)) {
      news.last = catalogue->LastChange();
      news.text = EventText("reset", Json::Value(Json::objectValue), news.last);
    } else if (!changes->empty()) {
      news.last = changes->back().id;
      news.text = ToEvents(*changes);
    }
  } catch (const std::exception& error) {
    if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Inbox")) {
      logger->Log(Talvo::kLogError, "Browsers can't be told of changes: %s", error.what());
    }
  }
  return news;
}

// Changes of one page become one event, at the place of the last.
std::string Events::ToEvents(const std::vector<Change>& changes) const {
  struct Ink {
    std::int64_t last = 0, stroke = 0;
    bool is_new = false;
  };
  std::map<std::int64_t, Ink> pages;
  const auto is_ink = [](const Change& change) {
    return change.kind == ChangeKind::kChanged || change.kind == ChangeKind::kNew;
  };
  for (const Change& change : changes) {
    if (!is_ink(change)) continue;
    Ink& ink = pages[change.page];
    ink.last = change.id;
    ink.is_new = ink.is_new || change.kind == ChangeKind::kNew;
    if (ink.stroke == 0) ink.stroke = change.stroke;
  }
  std::string text;
  for (const Change& change : changes) {
    if (change.kind == ChangeKind::kGone)
      text += EventText("gone", PageList(change.page), change.id);
    if (change.kind == ChangeKind::kBack)
      text += EventText("back", PageList(change.page), change.id);
    if (!is_ink(change) || pages[change.page].last != change.id) continue;
    const auto row = library_.FindPage(change.page);
    if (!row) continue;  // it has been purged since
    Json::Value data = ToJson(*row);
    data["new"] = pages[change.page].is_new;
    data["strokes_from"] = Json::Int64(pages[change.page].stroke);
    text += EventText("page", data, change.id);
  }
  return text;
}

}  // namespace Inbox
