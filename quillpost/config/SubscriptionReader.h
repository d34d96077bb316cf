// The subscriptions of all applications, read afresh each time they are asked for. One object that
// is asked again and again, as a routing pass does for each page, parses a file only when its bytes
// have changed; and while a file can't be read, it remembers what it said.
//
// Belongs to one thread. Reads files, and keeps none open.

#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>

#include "common/File.h"
#include "config/FilesConfig.h"

namespace TalvoQuillpost {
namespace Config {

// What reading one file of the subscription directory gave.
enum class SubscriptionContent { kRead, kNoSubscription, kUnreadable };

class SubscriptionReader {
 public:
  // Reads the directory. Files that are no subscriptions are left out in silence. A subscription
  // that exists and can't be read because the system lacks something (a descriptor, memory, an
  // answer of the disk) counts as it was read last; if it never was, it is undecided. True, with no
  // applications, if there is no such directory. False if something else is in its place or its
  // place may not be looked at. Throws boost::filesystem::filesystem_error if it is there and can't
  // be listed.
  bool Read();

  // Calls `visit` with each application, in the order of their IDs.
  template <typename Visit>
  void ForEach(const Visit& visit) const {
    for (const auto& [id, file] : files_) {
      if (file.is_subscription) visit(file.app);
    }
  }

  // The IDs of applications whose claims are unknown: their files could not be read.
  const std::set<std::string>& undecided() const { return undecided_; }

 private:
  struct File {
    std::string bytes;
    bool is_subscription = false;
    App app;
    std::size_t reading = 0;  // the last one that found it
  };

  void ReadFile(int directory, const std::string& id, SubscriptionContent content);

  std::map<std::string, File> files_;  // by ID
  std::set<std::string> undecided_;
  std::size_t reading_ = 0;
  std::string buffer_;
};

}  // namespace Config
}  // namespace TalvoQuillpost
