// A page of a PDF as a picture to draw ink upon.
//
// PDFs come from strangers, and what reads them is large. So another program reads it (pdftoppm of
// poppler-utils) in a process of its own that may take 2 GiB of memory and 30 s of processor time,
// and can write no file; all that comes back is pixels. A PDF that makes it crash, run wild or fill
// the memory ends in a refusal.

#pragma once

#include <string>

#include "ink/drawing/Backdrop.h"

namespace InkTool {

// The page, counted from 1, of the PDF in a file, at this resolution. Blocks until it is drawn.
// Throws Refusal for what is not a PDF, a page that it does not have, a page of more than 100
// million pixels, and if pdftoppm is missing.
TalvoInk::Backdrop ReadPdfPage(const std::string& path, int page, double dpi);

}  // namespace InkTool
