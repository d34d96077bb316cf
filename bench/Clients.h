// The ends of what is measured: one that brings messages, one that takes them and confirms each.
// The service's clients, those of its floors and those of other servers look the same here.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LineSocket.h"

namespace bench {

class Taker {
 public:
  virtual ~Taker() = default;

  // Confirms what was taken before, if anything, and waits for the next.
  virtual void Next() = 0;
};

class Putter {
 public:
  virtual ~Putter() = default;

  // Brings one message and waits until it was accepted.
  virtual void Put() = 0;
};

typedef std::function<std::unique_ptr<Taker>()> MakeTaker;
typedef std::function<std::unique_ptr<Putter>()> MakePutter;

// Takes ink of the pen with the number 1, from the service or its floor.
class InkTaker : public Taker {
 public:
  explicit InkTaker(int fd) : socket_(fd) {}

  // Connects to the service; ink comes as soon as the application is enabled.
  InkTaker() : InkTaker(LineSocket::ConnectToService()) {}
  void Enable(std::size_t application);

  void Next() override;

 private:
  LineSocket socket_;
  std::size_t taken_ = 0;
};

std::unique_ptr<Taker> TakeFromService(std::size_t application);

// Asks for one import and waits for the reply. Throws if it is refused.
void Import(LineSocket& socket, const std::filesystem::path& file);

// The same for many files; `waiting` requests wait for their replies at a time.
constexpr std::size_t kMostWaiting = 128;  // that the service lets wait
void ImportAll(LineSocket& socket, const std::vector<std::filesystem::path>& files,
               std::size_t waiting = kMostWaiting);

// Writes a new ink file of one page at `file` for each import, the first `pages` pages in turns.
// `first` is the number of the first, so that no two imports bring the same ink.
class InkPutter : public Putter {
 public:
  InkPutter(int fd, const std::filesystem::path& file, std::size_t bytes, std::size_t pages,
            std::size_t first);

  void Put() override;

 private:
  LineSocket socket_;
  const std::filesystem::path file_;
  const std::size_t bytes_;
  const std::size_t pages_;
  std::size_t number_;
};

// Times that other processes write and the benchmark reads, and a count that they share.
class SharedTimes {
 public:
  explicit SharedTimes(std::size_t count);
  ~SharedTimes();
  SharedTimes(const SharedTimes&) = delete;
  SharedTimes& operator=(const SharedTimes&) = delete;

  double* data() const { return times_; }
  std::atomic<std::size_t>& count() const;

 private:
  const std::size_t count_;
  const std::size_t bytes_;
  double* const times_;
};

}  // namespace bench
