#include "content/PageInk.h"

#include <TalvoEncryption/Encryption.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

#include "ink/InkError.h"
#include "ink/PagePaper.h"
#include "ink/SealedInfo.h"
#include "ink/Stf2File.h"
#include "ink/Summary.h"
#include "ink/Time.h"
#include "ink/Tips.h"
#include "ink/drawing/Outline.h"

namespace Inbox {

using namespace TalvoInk;

namespace {

constexpr std::int64_t kFarthestUm = 2000000;
constexpr std::int64_t kMarginUm = 5000;  // between ink and the edge of paper that it reaches

PaperBox PaperOf(const Ink& ink, const PaperBox& usual) {
  PaperBox box = usual;
  for (const Item& item : ink.items) {
    const auto* marker = std::get_if<Marker>(&item);
    if (marker == nullptr) continue;
    if (const auto paper = ParsePaper(marker->name.value_or(""))) {
      box = {0, 0, std::llround(paper->size.width_mm * 1000),
             std::llround(paper->size.height_mm * 1000)};
    }
  }
  return box;
}

PaperBox Around(const Box& ink) {
  const auto bound = [](std::int64_t um) { return std::clamp(um, -kFarthestUm, kFarthestUm); };
  const std::int64_t left = bound(ink.left), top = bound(ink.top);
  PaperBox box{left, top, bound(ink.right) - left, bound(ink.bottom) - top};
  return box;
}

// The paper, with a margin beside the ink at each edge that the ink reaches.
PaperBox Reaching(const PaperBox& paper, const PaperBox& ink) {
  const std::int64_t right = paper.left + paper.width, bottom = paper.top + paper.height;
  const std::int64_t ink_right = ink.left + ink.width, ink_bottom = ink.top + ink.height;
  const std::int64_t left = ink.left < paper.left ? ink.left - kMarginUm : paper.left;
  const std::int64_t top = ink.top < paper.top ? ink.top - kMarginUm : paper.top;
  return {left, top, (ink_right > right ? ink_right + kMarginUm : right) - left,
          (ink_bottom > bottom ? ink_bottom + kMarginUm : bottom) - top};
}

void MoveDown(Ink& ink, std::int64_t way) {
  for (Item& item : ink.items) {
    auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    for (Stf2Sample& sample : stroke->samples) {
      sample.y_um = static_cast<std::int32_t>(
          std::clamp<std::int64_t>(sample.y_um + way, INT32_MIN, INT32_MAX));
    }
  }
}

void PutOnPage(Ink& ink, const std::optional<std::string>& page) {
  for (Item& item : ink.items) {
    if (auto* stroke = std::get_if<Stroke>(&item)) stroke->page = page;
    if (auto* marker = std::get_if<Marker>(&item)) marker->page = page;
  }
}

Ink Stack(const Ink& ink) {
  auto parts = SplitByPage(ink);
  if (parts.size() < 2) return ink;
  Ink stacked;
  stacked.pen = ink.pen;
  std::int64_t top = 0;
  for (auto& [page, part] : parts) {
    const PaperBox paper = SumUp(part).paper;
    MoveDown(part, top - paper.top);
    top += paper.height;
    PutOnPage(part, parts.front().first);
    Append(stacked, std::move(part));
  }
  return stacked;
}

}  // namespace

const char* NameOf(PageKind kind) {
  return kind == PageKind::kInk ? "ink" : kind == PageKind::kSealed ? "sealed" : "unreadable";
}

PaperBox Join(const PaperBox& a, const PaperBox& b) {
  const std::int64_t left = std::min(a.left, b.left), top = std::min(a.top, b.top);
  return {left, top, std::max(a.left + a.width, b.left + b.width) - left,
          std::max(a.top + a.height, b.top + b.height) - top};
}

PageSummary SumUp(const Ink& ink, const PaperBox& usual) {
  const Summary summary = TalvoInk::Summarize(ink);
  PageSummary out;
  out.strokes = static_cast<std::int64_t>(summary.strokes);
  out.points = static_cast<std::int64_t>(summary.coordinates);
  // Columns of the database are signed; a time beyond the year 9999 is a mistake of the pen's.
  out.first_ms = static_cast<std::int64_t>(std::min(summary.first_ms, kLastTimeMs));
  out.last_ms = static_cast<std::int64_t>(std::min(summary.last_ms, kLastTimeMs));
  out.paper = PaperOf(ink, usual);
  const Tips tips(ink);
  Box box;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke != nullptr) box.Take(BoxOf(*stroke, tips.Of(*stroke)));
  }
  if (!box.is_empty) out.paper = Reaching(out.paper, Around(box));
  return out;
}

Ink OpenSealed(const std::string& sealed, const KeyPair& key) {
  std::uint8_t* bytes = nullptr;
  std::uint32_t size = 0;
  const int status = OpenInkData(sealed.data(), static_cast<std::uint32_t>(sealed.size()),
                                 key.public_key.data(), key.secret_key.data(), &bytes, &size);
  if (status != TALVO_ENCRYPTION_SUCCESS) throw InkError(SealingFault(status));
  std::string plain(reinterpret_cast<const char*>(bytes), size);
  FreeBuffer(&bytes);
  try {
    const Ink ink = Stack(ReadStf2(plain));
    Wipe(plain);
    return ink;
  } catch (...) {
    Wipe(plain);
    throw;
  }
}

void ReadKeyFile(const std::string& file, KeyPair& key) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("can't open the key file " + file);
  constexpr std::size_t kMostBytes = 4096;  // a few lines
  std::string text(kMostBytes, '\0');
  in.read(&text[0], static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  try {
    ParseSecretKey(text, key);
  } catch (const InkError& error) {
    Wipe(text);
    throw std::runtime_error("the key file " + file + " " + error.what());
  }
  Wipe(text);
}

}  // namespace Inbox
