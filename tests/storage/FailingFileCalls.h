// Lets calls of this process fail that change a file of one name. A test program that links this
// calls its functions in the system's place; each does what it has been told to, and otherwise
// calls the system.

#pragma once

#include <string>

// From its making to its end, the call of that number, from 1, fails with the errno, or that call
// and all later ones. Of calls that write, sync, cut or close a file of this name that is open for
// writing; close closes all the same. One at a time.
class FailingFileCalls {
 public:
  enum class Lasting { kOnce, kFromThenOn };

  FailingFileCalls(const std::string& file_name, int call, int error, Lasting lasting);
  ~FailingFileCalls();
  FailingFileCalls(const FailingFileCalls&) = delete;
  FailingFileCalls& operator=(const FailingFileCalls&) = delete;

  // The first call that failed; empty if none has.
  std::string failed() const;
};
