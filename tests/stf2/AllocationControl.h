// Watches and breaks the allocations of the libraries under test. Linking it replaces operator new
// and delete of the whole program, the libraries' included. One scope at a time; it concerns the
// thread that opened it.

#pragma once

#include <cstddef>
#include <string_view>

// Counts while it lives.
class AllocationCount {
 public:
  AllocationCount();
  ~AllocationCount();
  AllocationCount(const AllocationCount&) = delete;

  std::size_t blocks() const;
  std::size_t bytes() const;  // of all blocks together
  std::size_t largest_block() const;
};

// Lets `allowed` allocations pass while it lives and fails the next one, once.
class AllocationFailure {
 public:
  explicit AllocationFailure(std::size_t allowed);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;

  bool happened() const;
};

// Looks, while it lives, into every block that is released, whether the text is still in it. The
// text must outlive it.
class ReleasedText {
 public:
  explicit ReleasedText(std::string_view text);
  ~ReleasedText();
  ReleasedText(const ReleasedText&) = delete;

  std::size_t blocks() const;     // that were released
  std::size_t with_text() const;  // that still held it
};
