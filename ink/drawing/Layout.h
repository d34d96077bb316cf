// Where the ink of each page stands on the sheet that shows it: which strokes a picture has, how
// large its sheets are, and how the ink is moved and scaled to fit them. Nothing is drawn here.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ink/Ink.h"
#include "ink/Paper.h"
#include "ink/Tips.h"
#include "ink/drawing/Polygon.h"

namespace TalvoInk {

// How ink stands on paper of a given size.
enum class Placement {
  kAsWritten,  // where the pen wrote it
  kCentred,    // in the middle, in its own size
  kFitted      // as large as the paper allows within the margin, in the middle
};

// A sheet of paper on the page: where its top left corner is in the pen's coordinates, and its
// size. All in micrometres.
struct PaperBox {
  std::int64_t left = 0, top = 0;
  std::int64_t width = 0, height = 0;
};

struct LayoutOptions {
  // The paper of these pages; their ink stands as it was written. Pages that are not named here
  // have what the other options say.
  std::map<std::optional<std::string>, PaperBox> papers;
  // Pages of ink that states their paper have that paper's size and ruling; their ink stands as it
  // was written.
  bool own_paper = false;
  std::optional<PageSize> page_size;  // none: as large as the ink with the margin around it
  Placement placement = Placement::kAsWritten;  // on paper of a given size
  std::optional<double> margin_mm;              // around the ink; none: 5, on paper 10
  std::optional<std::string> page;              // this page alone
  std::optional<std::size_t> number;            // the page with this number alone, from 0
};

// One page's sheet. All lengths are micrometres; the sheet's origin is its top left corner.
struct Sheet {
  std::optional<std::string> page;
  std::vector<const Stroke*> strokes;  // in the order in which they are drawn
  const Tips* tips = nullptr;          // of these strokes
  std::int64_t width = 0, height = 0;
  double scale = 1;               // of the ink on the sheet
  double move_x = 0, move_y = 0;  // added after scaling
  std::optional<Ruling> ruling;   // of the ink's own paper
  double paper_scale = 1;         // of the paper: less than 1 on a contact sheet

  // Where a corner of an outline is on the sheet.
  Corner Place(const Corner& corner) const;

  // Makes paper and ink smaller or larger together.
  void Scale(double factor);
};

struct Layout {
  std::vector<Sheet> sheets;  // in the order in which the pages first appear
  std::size_t points = 0;     // of all strokes
  std::size_t strokes = 0;
  std::size_t strokes_off_paper = 0;  // that have a point beyond the edge of their sheet
};

// The ink and its tips must outlive the layout. Throws InkError for ink without strokes, and for a
// page that has none.
Layout LayOut(const Ink& ink, const Tips& tips, const LayoutOptions& options);

}  // namespace TalvoInk
