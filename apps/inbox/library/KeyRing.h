// The key that opens sealed ink, if the user has named a file. The key is read when it is needed
// and again when the file has changed; so one on a stick that is plugged in later works, too.

#pragma once

#include <sys/stat.h>

#include <memory>
#include <mutex>
#include <string>

#include "content/PageInk.h"

namespace Inbox {

// Any thread.
class KeyRing {
 public:
  // The key in the file. Null, with the reason in `reason`, if the file is missing or can't be
  // read. An empty path means that there is no key.
  std::shared_ptr<const TalvoInk::KeyPair> Find(const std::string& file, std::string& reason);

 private:
  std::mutex mutex_;  // of all below
  std::string file_;
  struct stat status_ {};
  std::shared_ptr<const TalvoInk::KeyPair> key_;
};

}  // namespace Inbox
