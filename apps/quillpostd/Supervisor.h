// How the process speaks with the service manager that started it, if one did.

#pragma once

#include <string>

// Tells a systemd-like service manager of the state of this process, by the datagram socket that
// it names in NOTIFY_SOCKET. Without that variable all functions do nothing.
class Supervisor {
 public:
  // Takes the variable out of the environment, so that no application that the service launches
  // speaks in its name. To be called before there are threads.
  Supervisor();

  // Each returns false if the message could not be sent, with errno set.
  bool Ready() const { return Send("READY=1"); }
  bool Stopping() const { return Send("STOPPING=1"); }

 private:
  bool Send(const std::string& state) const;

  std::string socket_;
};

// Whether standard error is the journal's stream, as JOURNAL_STREAM tells it.
bool IsStderrTheJournal();
