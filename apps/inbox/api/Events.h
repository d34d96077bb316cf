// Tells browsers of changes as they happen. The table "changes" is the source, whichever process
// has written to it. A browser that comes back after a while sends the number of the last change
// that it saw, and gets what it has missed.
//
// A browser that is told of a page gets the page as it is then, so that two changes may become one
// event, and one that comes twice does no harm.

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "application/ServiceLink.h"
#include "http/Handler.h"
#include "library/Library.h"
#include "stream/StreamLink.h"

namespace Inbox {

class Events {
 public:
  // Streams live on the thread of `queue`; the database is asked on `readers`. Both outlive this.
  Events(boost::asio::io_context& queue, boost::asio::thread_pool& readers, Library& library);

  // Somebody has committed something. Any thread; never waits.
  void OnCommit();

  // The state of the connection to the service; told to all browsers, and to each new one. Any
  // thread.
  void SetService(const Application::ServiceLink::State& state);

  // The state of the stream that ink comes from; told to all browsers, and to each new one. Any
  // thread.
  void OnStreamState(const StreamLink::State& state);

  // A browser that has seen the change `last_seen`, or none yet (-1). On the queue's thread.
  void Add(const std::shared_ptr<EventStream>& stream, std::int64_t last_seen);
  void Remove(const std::shared_ptr<EventStream>& stream);

 private:
  // Events, and the change up to which they tell.
  struct News {
    std::string text;
    std::int64_t last = 0;
  };

  // What a stream has missed is looked up first. Changes that happen during that wait here.
  struct Listener {
    bool is_ready = false;
    std::string waiting;
  };

  void Pump();
  News NewsAfter(std::int64_t change) const;
  std::string ToEvents(const std::vector<Change>& changes) const;
  void Send(const std::string& text);

  boost::asio::io_context& queue_;
  boost::asio::thread_pool& readers_;
  Library& library_;

  // Of the queue's thread.
  std::map<std::shared_ptr<EventStream>, Listener> streams_;
  std::int64_t told_ = -1;  // the last change that all streams know; -1: there was no stream yet
  bool is_pumping_ = false;
  bool is_more_ = false;
  Application::ServiceLink::State service_;
  std::string stream_text_;  // its event; empty: there is no stream
};

}  // namespace Inbox
