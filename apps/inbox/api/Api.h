// The interface that the browser's side uses, and any other program that the user lets in:
// docs/inbox-api.md describes it.
//
// Requests come in on the server's thread, which only takes them apart. What asks the database runs
// on two threads, and what draws or converts on two others: so a page that takes seconds to draw
// keeps nobody from a list of pages. Both queues are short, since a connection has one request at a
// time. A change waits for the writer (database/Writer.h) on a thread of the first kind; an import
// waits for the service on none.

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "api/Events.h"
#include "application/ServiceLink.h"
#include "database/Writer.h"
#include "http/Handler.h"
#include "http/Sessions.h"
#include "library/Library.h"
#include "stream/StreamLink.h"

namespace Inbox {

using Application::ServiceLink;

// The beginning of the names of files on their way to the service.
inline constexpr char kTransitName[] = "import-";

class Api : public Handler {
 public:
  // What it stands on, all of which must outlive it. `directory` is where a file
  // lies while it is imported.
  struct Parts {
    boost::asio::io_context& queue;
    Library& library;
    Writer& writer;
    Sessions& sessions;
    std::string directory;
  };
  explicit Api(const Parts& parts);

  // Waits for what is under way.
  ~Api() override;

  // The service, once there is a connection to look for it; null before and after.
  void SetLink(ServiceLink* link);

  // The stream, if ink comes from one; null before and after.
  void SetStream(StreamLink* stream);

  Events& events() { return events_; }

  void Handle(Request request, Reply reply) override;
  void OnStream(const Request& request, std::shared_ptr<EventStream> stream) override;
  void OnStreamEnd(const std::shared_ptr<EventStream>& stream) override;

  // What Handle answers to everything but imports, on the calling thread. For tests, too.
  Response Answer(const Request& request);

 private:
  Response AnswerGet(const Request& request);
  Response AnswerPost(const Request& request);
  Response OpenInbox(const Request& request);
  Response Status();
  Response ListPages(const Request& request);
  Response ListPens();
  Response ShowPage(const Request& request, std::int64_t page, const std::string& what);
  Response ExportPages(const Request& request);
  Response ChangePages(const Request& request, const std::string& what);
  Response ChangeTitle(const Request& request, std::int64_t page);

  void Import(Request request, const Reply& reply);
  void TakePad(const Request& request, const Reply& reply);
  void HandOver(const std::string& ink, const Json::Value& answer, const Reply& reply);

  Library& library_;
  Writer& writer_;
  Sessions& sessions_;
  const std::string directory_;
  std::mutex link_mutex_;  // of link_ and stream_
  ServiceLink* link_ = nullptr;
  StreamLink* stream_ = nullptr;
  boost::asio::thread_pool questions_;
  boost::asio::thread_pool drawing_;
  Events events_;
};

}  // namespace Inbox
