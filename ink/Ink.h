// The ink of one pen as programs work on it: a plain value that owns all it holds, can be copied
// and moved, and belongs to one thread at a time. It holds exactly what STF2 holds, so that reading
// and writing STF2 again changes nothing; other formats say what they could not keep (see
// Losses.h).
//
// Shapes and units, everywhere in this library:
//   positions   whole micrometres on the page, x to the right and y downward from its top left
//   corner,
//               31 bits and a sign: 2147 m each way; positions beside the paper are allowed
//   times       whole milliseconds; a time of day counts from 1970-01-01 UTC, and 0 means none
//   force       0 to 65535, of the pen's own range
//   colours     0xAARRGGBB, alpha 255 for opaque
//   text        UTF-8 without zero bytes; a missing text differs from an empty one

#pragma once

#include <Stf2.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace TalvoInk {

constexpr std::uint32_t kBlack = 0xFF000000;

// A stroke without a width of its own is this wide at medium force.
constexpr std::uint32_t kDefaultWidthUm = 500;

// The key of properties that tell the shape of a pen's tip (see Tips.h).
constexpr char kTipKey[] = "pen tip";

// Something that is known of the whole ink: a title, a device, an author.
struct Property {
  std::string key;
  std::optional<std::string> value;
};

// A moment, on a page if it names one: what an application marked while ink was written.
struct Marker {
  std::optional<std::string> page;
  std::uint64_t time_ms = 0;  // since 1970-01-01 UTC, 0 for none
  std::optional<std::string> name;
};

// What the pen drew between touching down and lifting. A sample whose flags say so has a time,
// which counts from the stroke's start; a start of 0 means that the time of day is not known.
// Samples of types and flags that nobody knows yet are kept, but not drawn.
struct Stroke {
  std::optional<std::string> page;
  std::uint64_t start_time_ms = 0;  // since 1970-01-01 UTC, 0 for none
  std::vector<Stf2Sample> samples;
  std::uint32_t color = kBlack;  // 0xAARRGGBB
  std::uint32_t width_um = 0;    // 0 for the default width
};

// The order of items is kept: it is the order in which they were written and are drawn.
using Item = std::variant<Property, Marker, Stroke>;

struct Ink {
  std::uint64_t pen = 0;
  std::vector<Item> items;
};

// Equal in every member.
bool SameSample(const Stf2Sample& a, const Stf2Sample& b);
bool SameSamples(const std::vector<Stf2Sample>& a, const std::vector<Stf2Sample>& b);
bool operator==(const Property& a, const Property& b);
bool operator==(const Marker& a, const Marker& b);
bool operator==(const Stroke& a, const Stroke& b);
bool operator==(const Ink& a, const Ink& b);

// The samples of a stroke drawn through `points`, which are coordinates: pen down where the first
// is, the points, pen up where the last is. Empty for no points.
std::vector<Stf2Sample> DrawThrough(const std::vector<Stf2Sample>& points);

// The coordinate samples of a stroke; those of a stroke that has none but the pen's touching down
// and lifting are taken from these, so that a dot is never lost.
std::vector<Stf2Sample> PositionsOf(const Stroke& stroke);

// The distinct pages of the ink's strokes in the order in which they first appear.
std::vector<std::optional<std::string>> PagesOf(const Ink& ink);

// The ink of several documents in their order, with the pen of the first. What they all say stays a
// property. What only some of them say would be repeated on every page that the ink is ever split
// into, so it becomes a marker ("KEY: VALUE") on each page of the documents that say it; tips stay
// properties (see Tips.h). `moved` counts the properties that were moved.
Ink Merge(std::vector<Ink> documents, std::size_t& moved);

// Adds the items of `more` behind those of `ink`, but for properties and markers that are in it
// already: the parts of a split ink all carry them. The pen stays.
void Append(Ink& ink, Ink more);

}  // namespace TalvoInk
