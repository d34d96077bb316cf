// The ink library with faults and pauses on demand, for what no ink file can provoke: running out
// of memory in the middle of one, an import that takes its time. A test program that links this
// calls its functions in the library's place; each does what it has been told to, and otherwise
// calls the library.

#pragma once

// Lets the call of the ink library's function `name` fail with `status`: the next one, or the one
// after `skip` further calls. Its outputs are null or 0 then, as the library's are. One fault at a
// time; a null name takes it back.
void LetInkCallFail(const char* name, int status, int skip = 0);

// Holds up the next calls of the ink library's function `name` for as long as the object lives or
// until LetGo. One at a time.
class InkCallPause {
 public:
  explicit InkCallPause(const char* name);
  ~InkCallPause();
  InkCallPause(const InkCallPause&) = delete;
  InkCallPause& operator=(const InkCallPause&) = delete;

  // Waits until a call is being held up. False when none comes in time.
  bool WaitUntilReached();

  void LetGo();
};
