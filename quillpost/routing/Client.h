// One connected application that has enabled notifications: its connection, the packages that it
// was offered and has not confirmed, and the thread on which all delivery to it runs.
//
// "EnableNotifications" makes it and files it in the service's client map; StopDelivery
// must be called before it leaves the map. Shared pointers to it are held by the map and by every
// job that is posted for it.

#pragma once

#include <IPC/Server.h>

#include <boost/filesystem/path.hpp>
#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "common/EventQueue.h"
#include "storage/StrokeCopy.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {

struct Client : boost::noncopyable {
  // One package in flight: offered, and not yet confirmed.
  struct InkPackage {
    std::string pen;
    std::set<Storage::StrokeID> strokes;
    std::set<std::string> page_addresses;
    boost::filesystem::path path;  // the package file
    // The bytes that the application had sent when the package was offered: a confirmation that
    // begins among them is for an earlier package. Belongs to the delivery thread.
    std::uint64_t sent_by_peer = 0;
  };

  // Starts the delivery thread, which idles until work is posted.
  Client();

  // The delivery thread must have been joined: anything else is a fatal assertion.
  ~Client();

  // Whether a confirmation that begins at that byte of the connection is for the pen's package in
  // flight: false if the application began to send it before the package was offered. On the
  // delivery thread.
  bool IsForPackage(const std::string& pen, std::uint64_t confirmation_begin);

  // Deletes the files of the packages in flight, and forgets them. After the delivery
  // thread was joined.
  void DropPackages();

  // The function of the delivery thread.
  void Delivery();

  // Stops the delivery queue, drops what is queued, and joins the delivery thread. A second call
  // does nothing. Throws boost::thread_resource_error on the delivery thread itself.
  void StopDelivery();

  // Both are set before the first work is posted. The connection is released after the delivery
  // thread was joined, under the service's clients mutex.
  boost::shared_ptr<IPC::Server::Connection> connection;
  std::string application_id;

  // By pen: at most one package of each pen is in flight. Entries come and go on the delivery
  // thread; the rollback of a lost connection is the exception, and runs beside it.
  std::map<std::string, InkPackage> packages;  // guarded by packages_mutex
  bool ended = false;                          // guarded by packages_mutex: nothing more is offered
  boost::mutex packages_mutex;                 // held to change these and to delete package files

  // By pen, while a package of it is in flight: the stroke that will probably be offered next.
  // Belongs to the delivery thread.
  std::map<std::string, std::unique_ptr<Storage::StrokeCopy>> ready;

  EventQueue delivery_queue;
  boost::thread delivery_thread;  // last: it runs the queue from the moment it exists
};

}  // namespace TalvoQuillpost
