// The ink of one page as it is shown and exported, whatever it was kept as. Plain values and
// functions; nothing here touches the database. Any thread.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ink/Ink.h"
#include "ink/KeyFile.h"
#include "ink/drawing/Layout.h"

namespace Inbox {

// What the numbers in the database's column "kind" mean.
enum class PageKind { kInk = 0, kSealed = 1, kUnreadable = 2 };

// "ink", "sealed", "unreadable".
const char* NameOf(PageKind kind);

// Ink and what a list of pages tells of it.
struct PageSummary {
  std::int64_t strokes = 0, points = 0;
  std::int64_t first_ms = 0, last_ms = 0;  // UTC; 0 if the pen knew no time
  TalvoInk::PaperBox paper;
};

constexpr TalvoInk::PaperBox kA4{0, 0, 210000, 297000};

// The ink's strokes on one page; the paper is the one that a marker states, else `usual`, and
// reaches as far as the ink, but never more than two metres from the page's corner: a pen's mistake
// must not make the writing a dot.
PageSummary SumUp(const TalvoInk::Ink& ink, const TalvoInk::PaperBox& usual = kA4);

// The smallest paper that holds both.
TalvoInk::PaperBox Join(const TalvoInk::PaperBox& a, const TalvoInk::PaperBox& b);

// Opened with the key. Ink of several pages becomes one page: they stand below one another. Throws
// TalvoInk::InkError with the reason if it can't be opened.
TalvoInk::Ink OpenSealed(const std::string& sealed, const TalvoInk::KeyPair& key);

// Reads the key file that the user named. Throws std::runtime_error with the reason.
void ReadKeyFile(const std::string& file, TalvoInk::KeyPair& key);

}  // namespace Inbox
