// The store as a live view needs it: which stroke files there are and who has received them,
// without a look into the ink. Reads files of the store; changes nothing, takes no lock, needs no
// service.

#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <set>
#include <string>
#include <vector>

struct StrokeState {
  std::time_t arrived = 0;  // when its file was written
  std::uint64_t bytes = 0;
  std::map<std::string, bool> claims;  // by application ID: whether it has received the ink
};

typedef std::map<std::string, StrokeState> PenState;  // by "1.2.3.4/100_200.stf2"
typedef std::map<std::string, PenState> StoreState;  // by pen serial; without pens that have no ink

// One thing that happened between two looks.
struct StoreChange {
  enum Kind {
    kArrived,    // a stroke file came
    kConfirmed,  // an application has received it
    kLeft,       // its file is gone
  };
  Kind kind;
  std::string pen;
  std::string stroke;
  std::string application;  // of kConfirmed
};

// Ink that waits for one application, or that nobody wants.
struct WaitingInk {
  std::uint64_t files = 0;
  std::time_t since = 0;  // the arrival of the oldest
};

PenState ReadPenState(const std::string& pen);

// What happened to a pen's ink, in the order in which it can have happened. Ink leaves when every
// application that claims it has received it: those that had not at the first look have by the
// second.
std::vector<StoreChange> Compare(const std::string& pen, const PenState& before,
                                 const PenState& after);

// By application ID; those in `applications` also if nothing waits for them.
std::map<std::string, WaitingInk> WaitingFor(const StoreState& store,
                                             const std::set<std::string>& applications);

// Ink that no application claims.
WaitingInk Unclaimed(const StoreState& store);
