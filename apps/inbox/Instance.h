// That one inbox runs for each user, and how another start finds it.

#pragma once

#include <string>

namespace Inbox {

// The claim to be the inbox of a folder, as long as the object lives; a killed process loses it.
class Instance {
 public:
  // Throws std::runtime_error with the system's reason if the folder can't be written to.
  explicit Instance(const std::string& directory);
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  // False if another process runs the inbox.
  bool is_ours() const { return is_ours_; }

 private:
  int fd_ = -1;
  bool is_ours_ = false;
};

// Ends the inbox that runs in the folder, and waits until it has ended. False if none runs there.
// Throws std::runtime_error if it does not end.
bool EndRunning(const std::string& directory);

// The file with the address that opens the running inbox.
std::string AddressFile(const std::string& directory);

// Waits, a minute at most, until the running inbox has written its address. Empty if it does
// not.
std::string WaitForAddress(const std::string& directory);

// Shows the address in the user's browser. Without a browser it says so on standard error and
// returns false. Does not wait for the browser.
bool ShowInBrowser(const std::string& address);

}  // namespace Inbox
