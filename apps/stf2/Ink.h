// The ink of one pen as the tool works on it: a plain value, made from an STF2 buffer or from
// InkML, and written as either. It holds exactly what STF2 holds, so that reading and writing
// again changes nothing.

#pragma once

#include <Stf2.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace InkTool {

constexpr std::uint32_t kBlack = 0xFF000000;

struct Property {
  std::string key;
  std::optional<std::string> value;
};

struct Marker {
  std::optional<std::string> page;
  std::uint64_t time_ms = 0;  // since 1970-01-01 UTC, 0 for none
  std::optional<std::string> name;
};

struct Stroke {
  std::optional<std::string> page;
  std::uint64_t start_time_ms = 0;  // since 1970-01-01 UTC, 0 for none
  std::vector<Stf2Sample> samples;
  std::uint32_t color = kBlack;  // 0xAARRGGBB
  std::uint32_t width_um = 0;    // 0 for the default width
};

using Item = std::variant<Property, Marker, Stroke>;

struct Ink {
  std::uint64_t pen = 0;
  std::vector<Item> items;
};

bool SameSample(const Stf2Sample& a, const Stf2Sample& b);
bool SameSamples(const std::vector<Stf2Sample>& a, const std::vector<Stf2Sample>& b);
bool operator==(const Property& a, const Property& b);
bool operator==(const Marker& a, const Marker& b);
bool operator==(const Stroke& a, const Stroke& b);
bool operator==(const Ink& a, const Ink& b);

// Whether the bytes call themselves a buffer of this kind, "STF2" or "STFE" (sealed); they may be
// damaged.
bool HasIdentifier(const std::string& bytes, const char* identifier);

// Reads a plain STF2 buffer. Throws Refusal where it is malformed or sealed.
Ink ReadStf2(const std::string& bytes);

// The ink as an STF2 buffer. Throws Refusal where it is too large for one.
std::string WriteStf2(const Ink& ink);

// The ink page by page, as the service splits it: each page of its strokes (none for strokes
// without one) with the ink of that page. Empty for ink without strokes.
std::vector<std::pair<std::optional<std::string>, Ink>> SplitByPage(const Ink& ink);

// The samples of a stroke drawn through `points`, which are coordinates: pen down where the first
// is, the points, pen up where the last is. Empty for no points.
std::vector<Stf2Sample> DrawThrough(const std::vector<Stf2Sample>& points);

// The coordinate samples of a stroke; those of a stroke that has none but the pen's touching down
// and lifting are taken from these, so that a dot is never lost.
std::vector<Stf2Sample> PositionsOf(const Stroke& stroke);

// The distinct pages of the ink's strokes in the order in which they first appear.
std::vector<std::optional<std::string>> PagesOf(const Ink& ink);

// Adds the items of `more` behind those of `ink`, but for properties and markers that are in it
// already: the parts of a split ink all carry them. The pen stays.
void Append(Ink& ink, Ink more);

// Whether the service accepts the text as the address of a page: four or five fields of digits or
// "*", joined by dots.
bool IsPageAddress(const std::string& text);

// Whether the text is the address of one page: four or five numbers of 31 bits, joined by dots.
bool IsOnePageAddress(const std::string& text);

}  // namespace InkTool
