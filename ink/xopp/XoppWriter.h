// Ink as .xopp (see XoppReader.h), packed with gzip.

#pragma once

#include <string>

#include "ink/Ink.h"
#include "ink/Losses.h"
#include "ink/Sink.h"

namespace TalvoInk {

// Each page of the ink is a page of the notebook, in the order in which the pages first appear,
// with the size and ruling that its marker states, else on plain A4, larger if the ink reaches
// beyond. What a notebook can't hold goes into `losses`: the pen and the pages' addresses, times,
// properties and other markers, tips that are neither round nor a highlighter's. A stroke's last
// force is that of the point before. Throws InkError for ink without strokes, before the sink is
// handed anything.
void WriteXopp(const Ink& ink, Losses& losses, const Sink& sink);

// The same in memory.
std::string WriteXopp(const Ink& ink, Losses& losses);

}  // namespace TalvoInk
