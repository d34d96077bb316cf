// A running inbox in the test's root, and a browser that was let in.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "HttpPeer.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/TestRoot.h"

class InboxProgram {
 public:
  // Starts it and waits until it has printed its address. Throws std::runtime_error with what it
  // printed if it does not.
  explicit InboxProgram(const std::vector<std::string>& arguments = {},
                        const Process::Environment& changes = {});

  unsigned short port() const { return port_; }
  const std::string& address() const { return address_; }  // that opens it
  Process& process() { return *process_; }

  // Ends it by SIGTERM; its exit status.
  int Stop();

  // What our own page sends along: Host and the cookie. The first call shows the token.
  HttpHeaders Ours();

  HttpAnswer Get(const std::string& target);
  HttpAnswer Post(const std::string& target, const std::string& json);
  HttpAnswer Import(const std::string& bytes);

  // The list of pages; with one argument of the query, for instance "q=x".
  Json::Value Pages(const std::string& query = "");

  // Waits until the list has that many pages.
  bool WaitForPages(std::size_t count);

 private:
  std::unique_ptr<Process> process_;
  std::string address_;
  unsigned short port_ = 0;
  std::string cookie_;
};

// The service with the inbox among its subscribers.
class InboxWorld {
 public:
  // `program`: what the service launches for the inbox's ink.
  explicit InboxWorld(const std::string& program = "/nonexistent/inbox");

  void StartService();
  void StopService() { service_.reset(); }
  TestRoot& root() { return root_; }

  std::string path(const std::string& name) const { return (root_.path() / name).string(); }

  // Hands the service ink; true if it has taken it.
  bool Import(const std::string& bytes);

  // Waits until all ink has been confirmed.
  bool WaitUntilStoreIsEmpty();

 private:
  TestRoot root_;
  std::unique_ptr<Process> service_;
  int imports_ = 0;
};
