// What the clients of a service that is killed and started again have seen, and afterwards, with
// the service's logs beside it, what of that breaks a promise. Not a client itself: Crowd.h.
//
// Every import of a run is unlike every other, so the ink in a package names the import that it
// came from. A confirmation counts as carried out when the service has logged so: its lines stand
// in the order of the confirmations of one connection.

#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

// The identity of the ink in a package, or of one page of an import: "PEN/PAGE@TIME,PAGE@TIME", or
// "sealed/" with a number for sealed ink. Of bytes that are no ink it is one that nobody sent.
std::string IdentityOf(const std::string& pen, const std::string& bytes);

class Ledger {
 public:
  // One connection that an application's notifications were enabled on. Written to by the
  // application's thread.
  struct Session {
    struct Event {
      bool is_offer;
      std::string ink;
      std::string pen;
      bool delivered;  // of a confirmation
    };
    std::string application;
    pid_t service;
    std::vector<Event> events;

    void Offer(const std::string& pen, const std::string& ink);
    void Confirm(const std::string& pen, const std::string& ink, bool delivered);
  };

  // One life of the service.
  struct Life {
    pid_t service;
    std::string log;
  };

  struct Verdict {
    long imports = 0;        // that were answered Success
    long refused = 0;        // Failed
    long unanswered = 0;     // since the service had gone
    long packages = 0;       // offers
    long confirmations = 0;  // that were carried out
    long torn_packages = 0;  // of ink that nobody sent
    long torn_tables = 0;    // routing info that a start found corrupted
    long repeats = 0;        // offers after a carried out confirmation, allowed by a torn table
    std::vector<std::string> broken;  // one line for each promise that was broken
  };

  // All may be called from any thread.
  void Sent(const std::set<std::string>& inks);
  void Answered(const std::set<std::string>& inks, const std::string& status);
  void Unanswered();
  Session& Open(const std::string& application, pid_t service);

  // How many inks were answered Success that the application has not been offered yet.
  long Backlog(const std::string& application);
  void Received(const std::string& application, const std::string& ink);

  // Judges when all threads have ended. `claims` says of an application and an ink whether the
  // application is to have it; only applications of `steady` are judged, those whose subscription
  // never changes.
  Verdict Judge(const std::vector<Life>& lives, const std::set<std::string>& steady,
                const std::function<bool(const std::string&, const std::string&)>& claims) const;

 private:
  mutable std::mutex mutex_;  // guards all that follows, but for the sessions' events
  std::set<std::string> sent_;
  std::set<std::string> stored_;  // answered Success
  std::map<std::string, std::set<std::string>> received_;
  std::deque<Session> sessions_;
  long answers_ = 0;
  long refused_ = 0;
  long unanswered_ = 0;
};
