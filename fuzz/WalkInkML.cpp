#include "WalkInkML.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "ink/Ink.h"
#include "ink/InkError.h"
#include "ink/Losses.h"
#include "ink/Stf2File.h"
#include "ink/Tips.h"
#include "ink/drawing/Outline.h"
#include "ink/inkml/InkMLReader.h"
#include "ink/inkml/InkMLWriter.h"

namespace {

using namespace TalvoInk;

void Expect(bool condition, const char* promise) {
  if (condition) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// None if the document is refused, which needs a reason.
std::optional<Ink> Read(const std::string& bytes, const ReadOptions& options) {
  Losses losses;
  try {
    return ReadInkML(bytes, options, losses);
  } catch (const InkError& refusal) {
    Expect(refusal.what()[0] != '\0', "a refusal has a reason");
    return std::nullopt;
  }
}

// None if STF2 can't hold the ink: text that is not UTF-8, samples of no type.
std::optional<std::string> Write(const Ink& ink) {
  try {
    return WriteStf2(ink);
  } catch (const InkError&) {
    return std::nullopt;
  }
}

void CheckInk(const Ink& ink, std::size_t size) {
  const Tips tips(ink);
  std::size_t samples = 0;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    samples += stroke->samples.size();
    for (const Polygon& polygon : OutlineOf(*stroke, tips.Of(*stroke))) {
      Expect(!polygon.empty(), "a polygon has corners");
    }
  }
  Expect(samples <= 3 * size, "no more samples than the bytes can hold");
  const std::optional<std::string> stf2 = Write(ink);
  if (!stf2) return;
  Expect(ReadStf2(*stf2) == ink, "STF2 reads back as the ink that it was made of");
  const std::optional<Ink> again = Read(WriteInkML(ink), {});
  Expect(again.has_value(), "the InkML that is written can be read");
  Expect(*again == ink, "InkML reads back as the ink that it was made of");
}

}  // namespace

bool WalkInkML(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::optional<Ink> ink = Read(bytes, {});
  if (ink) CheckInk(*ink, size);
  ReadOptions options;
  options.pen = 1;
  options.page.emplace("1.2.3.4");
  options.page_for_each_group = true;
  options.start_time_ms = 1700000000000;
  options.unit_um = 1000;
  if (const std::optional<Ink> addressed = Read(bytes, options)) CheckInk(*addressed, size);
  return ink.has_value();
}
