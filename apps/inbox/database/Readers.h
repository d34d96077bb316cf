// Connections for threads that read: one is lent to whoever asks, and taken back.

#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "database/Catalogue.h"
#include "database/Database.h"

namespace Inbox {

// Any thread.
class Readers {
 public:
  explicit Readers(const Database& database) : database_(database) {}

  // A catalogue of its holder's own, until the holder lets go of it.
  class Lease {
   public:
    Lease(Readers& readers, std::unique_ptr<Connection> connection)
        : readers_(readers), connection_(std::move(connection)), catalogue_(*connection_) {}
    ~Lease() { readers_.TakeBack(std::move(connection_)); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    Catalogue* operator->() { return &catalogue_; }
    Catalogue& operator*() { return catalogue_; }

   private:
    Readers& readers_;
    std::unique_ptr<Connection> connection_;
    Catalogue catalogue_;
  };

  // Opens another connection if all are lent. Throws SqliteError.
  Lease Lend() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!idle_.empty()) {
        auto connection = std::move(idle_.back());
        idle_.pop_back();
        return Lease(*this, std::move(connection));
      }
    }
    return Lease(*this, database_.OpenReader());
  }

 private:
  void TakeBack(std::unique_ptr<Connection> connection) {
    const std::lock_guard<std::mutex> lock(mutex_);
    idle_.push_back(std::move(connection));
  }

  const Database& database_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Connection>> idle_;
};

}  // namespace Inbox
