// Ink as plain values: what a test compares. Reads through the public functions alone.

#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Stf2.h"

typedef std::vector<std::uint8_t> Bytes;

// One item; what its type does not have is empty or 0.
struct ItemModel {
  std::uint32_t type = 0;
  std::optional<std::string> page;
  std::optional<std::string> key;
  std::optional<std::string> value;
  std::optional<std::string> name;
  std::uint64_t time = 0;  // a marker's, or a stroke's start time
  std::uint32_t color = 0;
  std::uint32_t width = 0;
  std::vector<Stf2Sample> samples;
};
bool operator==(const ItemModel& a, const ItemModel& b);
std::ostream& operator<<(std::ostream& stream, const ItemModel& item);

ItemModel PropertyModel(const std::string& key, std::optional<std::string> value);
ItemModel MarkerModel(std::optional<std::string> page, std::uint64_t time,
                      std::optional<std::string> name);
ItemModel StrokeModel(std::optional<std::string> page, std::uint64_t start_time,
                      std::vector<Stf2Sample> samples = {}, std::uint32_t color = 0xFF000000,
                      std::uint32_t width = 0);

// Sample values: a coordinate with a time, one without, and the pen's touch and lift.
Stf2Sample Coordinate(std::uint32_t time_offset_ms, std::int32_t x_um, std::int32_t y_um,
                      std::uint16_t force = 1000);
Stf2Sample TimelessCoordinate(std::int32_t x_um, std::int32_t y_um);
Stf2Sample PenDown();
Stf2Sample PenUp();

// Ink data that is released with the object.
class Ink {
 public:
  explicit Ink(InkDataHandle* handle = nullptr) : handle_(handle) {}
  Ink(Ink&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  Ink& operator=(Ink&& other) noexcept;
  ~Ink() { Stf2InkDataFreeHandle(&handle_); }

  InkDataHandle* get() const { return handle_; }
  InkDataHandle** out() { return &handle_; }

 private:
  InkDataHandle* handle_;
};

// Each fails the running test where a function does not answer with success.
Ink MakeInk(std::uint64_t pen, const std::vector<ItemModel>& items);
Ink Parse(const Bytes& bytes);  // `bytes` must outlive it
std::vector<ItemModel> ItemsOf(const Ink& ink);
std::vector<Ink> Split(const Ink& ink);
Bytes Write(const Ink& ink);

// Appends all items of `from`.
int MergeAll(const Ink& into, const Ink& from);

// The status of opening the bytes; releases what was opened.
int StatusOf(const Bytes& bytes);
