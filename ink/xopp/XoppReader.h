// Ink from .xopp, the notebooks of a note-taking program for the desktop: XML, mostly packed with
// gzip (see file/InkFile.h). Lengths are points (1/72 inch) from the top left corner of each page.
//
// Kept are the strokes with their colours, widths and pressure, and highlighters as ink that
// darkens. A page's size and ruling become a marker of the page, "paper 210x297 mm graph". Layers
// are merged, which is told, as is what is lost: text, pictures, fills, dashes, backgrounds. There
// are no times.

#pragma once

#include <string>

#include "ink/Ink.h"
#include "ink/Losses.h"
#include "ink/ReadOptions.h"

namespace TalvoInk {

// Reads the unpacked bytes of a whole notebook. Its pages have no addresses: with `options.page`
// they are counted up from it, one for each page of the notebook that has strokes; without it the
// ink of a single page has none, and that of several has the numbers "1", "2" and so on. Throws
// InkError, with line and column, if the bytes are not such a notebook, and for numbers that ink
// can't hold.
Ink ReadXopp(const std::string& bytes, const ReadOptions& options, Losses& losses);

}  // namespace TalvoInk
