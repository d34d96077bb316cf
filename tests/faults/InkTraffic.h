// The clients of one life of a service that will be cut off: a program that brings ink as long as
// the service lasts, and an application that takes and confirms what is offered. What they see goes
// to the account of the ink. The files that are brought lie outside of the service's world.

#pragma once

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>

#include "faults/InkAccount.h"

class WireClient;

// Makes imports that are all unlike: no two have a time in common. Pages "1.1.*.*" and "1.2.*.*"
// take turns.
class ParcelMaker {
 public:
  // Ink of one page each from one of a few pens, of a pen that has no ink yet, or of that many
  // pages.
  Parcel Make(int pages, std::uint64_t pen);

  // A pen that no parcel was made of.
  std::uint64_t NewPen() { return ++last_pen_; }

 private:
  std::uint64_t last_time_ms_ = 1700000000000;
  std::uint64_t last_pen_ = 0x1000;
};

class InkTraffic {
 public:
  enum class Load { kOneByOne, kPipelined, kHundredPages };

  // The applications of the traffic: Reader claims all pages, Absent "1.2.*.*", and never comes.
  static constexpr char kReader[] = "Reader";
  static constexpr char kAbsent[] = "Absent";

  // Begins. `files` is a directory for the files to import.
  InkTraffic(Load load, bool has_reader, const boost::filesystem::path& files, ParcelMaker& maker,
             InkAccount& account);

  // The service must have ended by then.
  ~InkTraffic();
  InkTraffic(const InkTraffic&) = delete;
  InkTraffic& operator=(const InkTraffic&) = delete;

  int replies() const { return replies_; }

 private:
  struct Pending {
    int request;
    Parcel parcel;
  };

  void Bring();
  void BringRound(WireClient& client);
  void TakeReply(WireClient& client);
  Parcel NextParcel();

  const Load load_;
  const boost::filesystem::path files_;
  ParcelMaker& maker_;
  InkAccount& account_;
  std::atomic<int> replies_{0};
  std::atomic<bool> is_over_{false};  // for the reader: only the service ends it
  std::deque<Pending> pending_;       // of the bringing thread
  int parcels_ = 0;                   // of the bringing thread
  std::thread bringer_;
  std::thread reader_;
};

// Takes and confirms what the service offers to the application until the connection ends or
// `is_over`. The account excuses what was confirmed of the pages that begin with `sole`,
// which no other application claims.
void ReadInk(const std::string& application, const std::string& sole, InkAccount& account,
             const std::atomic<bool>& is_over);
