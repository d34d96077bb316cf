#include "WalkInkFile.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "ink/InkError.h"
#include "ink/Stf2File.h"
#include "ink/drawing/Outline.h"
#include "ink/drawing/Replay.h"
#include "ink/file/InkFile.h"
#include "ink/xopp/XoppWriter.h"

namespace {

using namespace TalvoInk;

void Expect(bool condition, const char* promise) {
  if (condition) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// None if the bytes are refused, which needs a reason.
std::optional<Ink> Read(const std::string& bytes, std::size_t& unpacked_size) {
  Losses losses;
  try {
    const InkBytes file = Unpack(bytes);
    unpacked_size = file.bytes.size();
    return ReadInk(file, {}, losses);
  } catch (const InkError& error) {
    Expect(error.what()[0] != '\0', "a refusal has a reason");
    return std::nullopt;
  }
}

std::size_t DrawnStrokes(const Ink& ink, std::size_t& samples) {
  const Tips tips(ink);
  std::size_t drawn = 0;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    samples += stroke->samples.size();
    if (OutlineOf(*stroke, tips.Of(*stroke)).empty()) continue;
    ++drawn;
    Expect(!BoxOf(*stroke, tips.Of(*stroke)).is_empty, "what is drawn takes room");
  }
  return drawn;
}

// None if the notebook's pages would be larger than any paper, or there is no stroke.
std::optional<Ink> ThroughNotebook(const Ink& ink) {
  Losses losses;
  std::size_t size = 0;
  try {
    return Read(WriteXopp(ink, losses), size);
  } catch (const InkError&) {
    return std::nullopt;
  }
}

}  // namespace

bool WalkInkFile(const std::uint8_t* data, std::size_t size) {
  std::size_t unpacked_size = 0;
  const std::optional<Ink> ink =
      Read(std::string(reinterpret_cast<const char*>(data), size), unpacked_size);
  if (!ink) return false;
  std::size_t samples = 0;
  const std::size_t drawn = DrawnStrokes(*ink, samples);
  // A curve of SVG is a few bytes that stand for up to a thousand points.
  const bool curved = Unpack({reinterpret_cast<const char*>(data), size}).format == InkFormat::kSvg;
  Expect(samples <= (curved ? 3000 : 3) * unpacked_size, "no more samples than the bytes can hold");
  std::optional<std::string> stf2;
  try {
    stf2 = WriteStf2(*ink);
  } catch (const InkError&) {  // text that STF2 can't hold
  }
  if (stf2) Expect(ReadStf2(*stf2) == *ink, "STF2 reads back as the ink that it was made of");
  if (drawn == 0) return true;
  ReplayInfo info;
  Expect(!ReplayAsSvg(*ink, {}, info).empty(), "what is drawn can be replayed");
  Expect(info.duration_ms >= 0, "a replay goes forward");
  const std::optional<Ink> notebook = ThroughNotebook(*ink);
  Expect(notebook.has_value(), "the notebook that is written can be read");
  std::size_t again = 0;
  Expect(DrawnStrokes(*notebook, again) == drawn, "the notebook has all strokes");
  return true;
}
