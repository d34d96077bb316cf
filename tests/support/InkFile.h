// Ink for tests, as the bytes of an STF2 file, and what such bytes hold.

#pragma once

#include <Stf2.h>

#include <cstdint>
#include <string>
#include <vector>

// The pen of ink that names no other, and its text form.
inline constexpr std::uint64_t kTestPen = 0x0123456789ABCDEF;
inline constexpr char kTestPenSerial[] = "0123-4567-89AB-CDEF";

// Ink under construction. Each function that adds an item returns the object, for chains.
class InkFile {
 public:
  explicit InkFile(std::uint64_t pen = kTestPen);
  ~InkFile();
  InkFile(const InkFile&) = delete;
  InkFile& operator=(const InkFile&) = delete;

  // A short stroke: pen down, two timed coordinates from `start_time_ms` on, pen up. A start time
  // of 0 means that nothing of the stroke has a time. `page` may be null for none.
  InkFile& AddStroke(const char* page, std::uint64_t start_time_ms);

  // A stroke of these samples.
  InkFile& AddStroke(const char* page, std::uint64_t start_time_ms,
                     const std::vector<Stf2Sample>& samples);

  InkFile& AddProperty(const char* key, const char* value);
  InkFile& AddMarker(const char* page, std::uint64_t time_ms, const char* name);

  // The file. Throws std::runtime_error if the library refuses.
  std::string bytes() const;

 private:
  InkDataHandle* ink_ = nullptr;
};

// The ink, sealed to a key pair that nobody keeps.
std::string Seal(const std::string& ink);

// What ink holds. Throws std::runtime_error for bytes that are no ink.
struct StrokeInInk {
  std::string page;
  std::uint64_t start_time_ms;

  bool operator==(const StrokeInInk& other) const {
    return page == other.page && start_time_ms == other.start_time_ms;
  }
};
std::vector<StrokeInInk> StrokesOf(const std::string& ink);
