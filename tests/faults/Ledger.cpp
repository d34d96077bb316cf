#include "faults/Ledger.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "support/InkFile.h"

namespace {

constexpr char kSealedInk[] = "STFE";  // at byte 4 of sealed ink

// For every connection of the application, in their order, how many of its confirmations the
// service carried out, by the log of one life.
std::vector<std::size_t> CountCarriedOut(const std::string& log, const std::string& application) {
  const std::string connected = "Client '" + application + "' connected.";
  const std::string delivered = "Ink items to application '" + application + "'.";
  std::vector<std::size_t> counts;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(connected) != std::string::npos) counts.push_back(0);
    const bool is_delivery =
        line.find(" Delivered ") != std::string::npos && line.find(delivered) != std::string::npos;
    if (is_delivery && !counts.empty()) ++counts.back();
  }
  return counts;
}

// The pens whose routing info the start of a life found corrupted.
std::set<std::string> FindTornTables(const std::string& log) {
  const std::string words = "Corrupted Routing Info 'ROOT/";
  std::set<std::string> pens;
  for (auto at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) {
    const auto begin = at + words.size();
    pens.insert(log.substr(begin, log.find('/', begin) - begin));
  }
  return pens;
}

// What one application has confirmed, by pen; and what of it the service knows no more.
struct Confirmed {
  std::map<std::string, std::set<std::string>> known;
  std::set<std::string> forgotten;

  void Forget(const std::string& pen) {
    forgotten.insert(known[pen].begin(), known[pen].end());
    known.erase(pen);
  }
};

// Ink that nobody sent, of imports that were killed, is not to be told apart, and not judged.
void JudgeSession(const Ledger::Session& session, const std::set<std::string>& sent,
                  std::size_t carried_out, Confirmed& confirmed, Ledger::Verdict& verdict) {
  std::size_t confirmations = 0;
  for (const Ledger::Session::Event& event : session.events) {
    std::set<std::string>& done = confirmed.known[event.pen];
    if (event.is_offer) {
      if (sent.count(event.ink) == 0) continue;
      verdict.repeats += static_cast<long>(confirmed.forgotten.erase(event.ink));
      if (done.count(event.ink) == 0) continue;
      verdict.broken.push_back(session.application + " was offered " + event.ink + " again");
    } else if (confirmations++ < carried_out) {
      ++verdict.confirmations;
      if (event.delivered) done.insert(event.ink);
    }
  }
}

}  // namespace

std::string IdentityOf(const std::string& pen, const std::string& bytes) {
  if (bytes.size() > 8 && bytes.compare(4, 4, kSealedInk) == 0) {
    return "sealed/" + std::to_string(std::hash<std::string>()(bytes));
  }
  std::string identity = pen;
  char separator = '/';
  try {
    for (const StrokeInInk& stroke : StrokesOf(bytes)) {
      identity += separator + stroke.page + "@" + std::to_string(stroke.start_time_ms);
      separator = ',';
    }
  } catch (const std::runtime_error&) {
    return "no ink of " + std::to_string(bytes.size()) + " bytes";
  }
  return identity;
}

void Ledger::Session::Offer(const std::string& pen, const std::string& ink) {
  events.push_back({true, ink, pen, false});
}

void Ledger::Session::Confirm(const std::string& pen, const std::string& ink, bool delivered) {
  events.push_back({false, ink, pen, delivered});
}

void Ledger::Sent(const std::set<std::string>& inks) {
  const std::lock_guard<std::mutex> lock(mutex_);
  sent_.insert(inks.begin(), inks.end());
}

void Ledger::Answered(const std::set<std::string>& inks, const std::string& status) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (status != "Success") {
    ++refused_;
    return;
  }
  ++answers_;
  stored_.insert(inks.begin(), inks.end());
}

void Ledger::Unanswered() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++unanswered_;
}

Ledger::Session& Ledger::Open(const std::string& application, pid_t service) {
  const std::lock_guard<std::mutex> lock(mutex_);
  sessions_.push_back({application, service, {}});
  return sessions_.back();
}

void Ledger::Received(const std::string& application, const std::string& ink) {
  const std::lock_guard<std::mutex> lock(mutex_);
  received_[application].insert(ink);
}

long Ledger::Backlog(const std::string& application) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<long>(stored_.size()) - static_cast<long>(received_[application].size());
}

Ledger::Verdict Ledger::Judge(
    const std::vector<Life>& lives, const std::set<std::string>& steady,
    const std::function<bool(const std::string&, const std::string&)>& claims) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Verdict verdict;
  verdict.imports = answers_;
  verdict.refused = refused_;
  verdict.unanswered = unanswered_;
  std::map<std::string, Confirmed> confirmed;  // by application
  for (const Life& life : lives) {
    for (const std::string& pen : FindTornTables(life.log)) {
      ++verdict.torn_tables;
      for (auto& entry : confirmed) entry.second.Forget(pen);
    }
    std::map<std::string, std::vector<std::size_t>> carried_out;  // for each connection
    for (const std::string& application : steady) {
      carried_out[application] = CountCarriedOut(life.log, application);
    }
    std::map<std::string, std::size_t> connections;
    for (const Session& session : sessions_) {
      if (session.service != life.service || steady.count(session.application) == 0) continue;
      const std::vector<std::size_t>& counts = carried_out[session.application];
      const std::size_t number = connections[session.application]++;
      JudgeSession(session, sent_, number < counts.size() ? counts[number] : 0,
                   confirmed[session.application], verdict);
    }
  }
  for (const Session& session : sessions_) {
    for (const Session::Event& event : session.events) {
      if (!event.is_offer) continue;
      ++verdict.packages;
      if (sent_.count(event.ink) == 0) ++verdict.torn_packages;
    }
  }
  for (const std::string& application : steady) {
    const auto received = received_.find(application);
    for (const std::string& ink : stored_) {
      if (!claims(application, ink)) continue;
      if (received == received_.end() || received->second.count(ink) == 0) {
        verdict.broken.push_back(application + " never had " + ink);
      }
    }
  }
  return verdict;
}
