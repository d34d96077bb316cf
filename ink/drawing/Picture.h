// What a picture of ink shows: the sheets of its pages, how they are arranged on the leaves of the
// picture, and how each stroke looks on its sheet. SVG, PNG, PDF and replays draw from it.

#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "ink/Tips.h"
#include "ink/drawing/Layout.h"

namespace TalvoInk {

constexpr std::int64_t kGapUm = 3000;  // between two pages of one picture

// Ink with a name that a reader knows it by, such as that of its file.
struct TitledInk {
  const Ink* ink = nullptr;
  std::string title;
};

enum class Arrangement {
  kStacked,  // all sheets below one another on one leaf
  kLeaves,   // each sheet is a leaf
  kContact   // all sheets small, in rows, with their names, on one leaf
};

struct PictureOptions {
  LayoutOptions layout;
  Arrangement arrangement = Arrangement::kStacked;
  int columns = 4;                     // of a contact sheet
  std::optional<double> leaf_mm;       // height of a contact sheet's leaves; none: one for all
  std::optional<std::uint32_t> color;  // instead of the strokes' own
};

// A sheet in its place.
struct Placed {
  Sheet sheet;
  std::size_t document = 0;         // the number of its document
  std::string title;                // the page's address, or its number if it has none
  std::string label;                // below it, on a contact sheet; else empty
  std::int64_t left = 0, top = 0;   // of the sheet on its leaf, in micrometres
  std::int64_t label_baseline = 0;  // on the leaf
};

// What is seen together: a page of a PDF, the whole of another picture.
struct Leaf {
  std::size_t begin = 0, end = 0;  // of its sheets, by their numbers
  std::int64_t width = 0, height = 0;
};

struct Picture {
  std::list<Tips> tips;  // of the documents
  std::vector<Placed> sheets;
  std::vector<Leaf> leaves;         // at least one
  std::vector<std::string> titles;  // of the documents
  std::size_t points = 0, strokes = 0, strokes_off_paper = 0;
  std::optional<std::uint32_t> color;  // instead of the strokes' own
};

// The ink must outlive the picture. Throws what LayOut throws.
Picture MakePicture(const std::vector<TitledInk>& documents, const PictureOptions& options);

// How a stroke's shape is filled.
struct Look {
  std::uint32_t color;
  bool darkens;  // multiplied with what is below
};

Look LookOf(const Stroke& stroke, const Sheet& sheet, const Picture& picture);

}  // namespace TalvoInk
