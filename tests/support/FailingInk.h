// The ink library with faults on demand, for failures that no ink file can provoke (such as running
// out of memory in the middle of one). A test program that links this calls the functions below in
// the library's place; each fails when it has been told to, and otherwise calls the library.

#pragma once

// Lets the call of the ink library's function `name` fail with `status`: the next one, or the one
// after `skip` further calls. Its outputs are null or 0 then, as the library's are. One fault at a
// time; a null name takes it back.
void LetInkCallFail(const char* name, int status, int skip = 0);
