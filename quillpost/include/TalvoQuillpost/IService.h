// The ink service of one user, as its host process sees it.
//
// The host makes the service with CreateQuillpostService, calls Start once and Stop once, both
// from threads of its own and not at the same time, and then drops its reference. The service
// takes captured ink files from its clients, keeps their strokes in a store on disk, and hands
// them to the applications that have subscribed to their pages. It logs to the logger of the tag
// "Quillpost", if the host has opened one (Talvo/Logger.h). It changes neither the umask nor the
// signal dispositions nor the locale of the process. Its threads have the signal mask of the thread
// that calls Start: block there what threads of yours are to handle.

#pragma once

#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

namespace TalvoQuillpost {

class IService : boost::noncopyable {
 public:
  virtual ~IService() {}

  // Loads the store, listens on the user's endpoint and starts the service's threads. True if the
  // service runs. False, with the reason in the log, if the store can't be initialised or the
  // endpoint is taken; everything that was started has been stopped by then. Throws
  // boost::filesystem::filesystem_error if the store can't be read; here too nothing is left
  // running. A service that was stopped is not started again: make a new one. Blocks while the
  // routing info of all pens is read and synced: about 0.1 s for 50,000 waiting strokes.
  virtual bool Start() = 0;

  // Ends all connections, stops and joins the service's threads, and removes the endpoint. Work
  // that is still queued is dropped; ink stays in the store. Blocks for what is under way: an
  // import ends between two pages, and a routing pass between two, once 0.7 s have gone by, and the
  // clean-up after a start between two pens; what an
  // import has stored by then stays, and its client, if it is still there, is told Failed. On a
  // disk that takes long to sync, the sync comes on top. May be called again, after a failed Start,
  // or without Start.
  virtual void Stop() = 0;
};

// Makes a service, and nothing else: no thread, file or socket exists before Start.
__attribute__((visibility("default"))) boost::shared_ptr<IService> CreateQuillpostService();

}  // namespace TalvoQuillpost
