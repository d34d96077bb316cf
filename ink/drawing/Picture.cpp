#include "ink/drawing/Picture.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ink/PlainText.h"

namespace TalvoInk {
namespace {

// A contact sheet: as wide as A4, with cells in the proportions of A4 upright.
constexpr std::int64_t kContactWidthUm = 210000;
constexpr std::int64_t kContactMarginUm = 10000;
constexpr std::int64_t kContactGapUm = 5000;
constexpr std::int64_t kLabelUm = 5000;     // from a cell to its label's baseline
constexpr std::int64_t kLetterUm = 1740;    // of a label's letter, on average
constexpr std::int64_t kLeastLetters = 3;   // of a document's name
constexpr double kCellProportion = 1.4142;  // height by width

void Stack(Picture& picture) {
  Leaf leaf{0, picture.sheets.size(), 0, 0};
  for (Placed& placed : picture.sheets) {
    if (leaf.height != 0) leaf.height += kGapUm;
    placed.top = leaf.height;
    leaf.height += placed.sheet.height;
    leaf.width = std::max(leaf.width, placed.sheet.width);
  }
  picture.leaves.push_back(leaf);
}

void Spread(Picture& picture) {
  for (std::size_t i = 0; i < picture.sheets.size(); ++i) {
    const Sheet& sheet = picture.sheets[i].sheet;
    picture.leaves.push_back({i, i + 1, sheet.width, sheet.height});
  }
}

struct Cell {
  explicit Cell(int columns)
      : width((kContactWidthUm - 2 * kContactMarginUm - (columns - 1) * kContactGapUm) / columns),
        height(std::llround(double(width) * kCellProportion)),
        row(height + kLabelUm + kContactGapUm) {}
  const std::int64_t width, height, row;
};

// Puts the sheet into the middle of the cell's foot.
void PutIntoCell(Placed& placed, const Cell& cell, std::int64_t left, std::int64_t top) {
  Sheet& sheet = placed.sheet;
  sheet.Scale(std::min(double(cell.width) / double(sheet.width),
                       double(cell.height) / double(sheet.height)));
  placed.left = left + (cell.width - sheet.width) / 2;
  placed.top = top + cell.height - sheet.height;
  placed.label_baseline = top + cell.height + kLabelUm - 1000;
}

void ArrangeContacts(Picture& picture, const PictureOptions& options) {
  const Cell cell(options.columns);
  const auto columns = static_cast<std::size_t>(options.columns);
  const std::size_t rows = (picture.sheets.size() + columns - 1) / columns;
  std::size_t rows_of_leaf = rows;
  if (options.leaf_mm) {
    const std::int64_t room = std::llround(*options.leaf_mm * 1000) - 2 * kContactMarginUm;
    rows_of_leaf = static_cast<std::size_t>(std::max<std::int64_t>(room / cell.row, 1));
  }
  const auto height = [&](std::size_t count) {
    return 2 * kContactMarginUm + static_cast<std::int64_t>(count) * cell.row - kContactGapUm;
  };
  for (std::size_t row = 0; row < rows; row += rows_of_leaf) {
    const std::size_t end = std::min((row + rows_of_leaf) * columns, picture.sheets.size());
    picture.leaves.push_back(
        {row * columns, end, kContactWidthUm,
         options.leaf_mm ? std::llround(*options.leaf_mm * 1000) : height(rows_of_leaf)});
  }
  for (std::size_t i = 0; i < picture.sheets.size(); ++i) {
    const auto column = static_cast<std::int64_t>(i % columns);
    const auto row = static_cast<std::int64_t>(i / columns % rows_of_leaf);
    PutIntoCell(picture.sheets[i], cell, kContactMarginUm + column * (cell.width + kContactGapUm),
                kContactMarginUm + row * cell.row);
  }
}

bool BeginsLetter(char byte) {
  return (byte & 0xC0) != 0x80;
}

std::size_t LettersIn(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), BeginsLetter));
}

// UTF-8 of at most so many letters, of which the last stands for all that were cut.
std::string Shortened(const std::string& text, std::int64_t most) {
  std::int64_t letters = 0;
  std::size_t cut = text.size();  // behind all letters but the last that there is room for
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!BeginsLetter(text[at])) continue;
    if (letters + 1 == most) cut = at;
    if (++letters > most) return text.substr(0, cut) + "\xE2\x80\xA6";
  }
  return text;
}

// In UTF-8, whatever bytes it holds.
std::string Legible(const std::string& text) {
  return IsPlainText(text) ? text : EncodePercent(text);
}

// "letter  1.2.3.4": what tells the sheet from the others. A long name of a document is cut, so
// that no label reaches into the next.
std::string LabelOf(const Placed& placed, const Picture& picture, const Cell& cell) {
  const auto room = (cell.width + kContactGapUm) / kLetterUm;
  const std::string title = Shortened(Legible(placed.title), room);
  const std::string& document = picture.titles[placed.document];
  if (picture.titles.size() < 2 || document.empty()) return title;
  const auto left = room - static_cast<std::int64_t>(LettersIn(title)) - 2;
  return Shortened(Legible(document), std::max(left, kLeastLetters)) + "  " + title;
}

}  // namespace

Picture MakePicture(const std::vector<TitledInk>& documents, const PictureOptions& options) {
  Picture picture;
  picture.color = options.color;
  for (std::size_t i = 0; i < documents.size(); ++i) {
    picture.tips.emplace_back(*documents[i].ink);
    picture.titles.push_back(documents[i].title);
    Layout layout = LayOut(*documents[i].ink, picture.tips.back(), options.layout);
    std::size_t number = options.layout.number.value_or(0);
    for (Sheet& sheet : layout.sheets) {
      Placed& placed = picture.sheets.emplace_back();
      placed.title = sheet.page.value_or("page " + std::to_string(++number));
      placed.sheet = std::move(sheet);
      placed.document = i;
    }
    picture.points += layout.points;
    picture.strokes += layout.strokes;
    picture.strokes_off_paper += layout.strokes_off_paper;
  }
  if (options.arrangement == Arrangement::kStacked) Stack(picture);
  if (options.arrangement == Arrangement::kLeaves) Spread(picture);
  if (options.arrangement == Arrangement::kContact) {
    const Cell cell(options.columns);
    for (Placed& placed : picture.sheets) placed.label = LabelOf(placed, picture, cell);
    ArrangeContacts(picture, options);
  }
  return picture;
}

Look LookOf(const Stroke& stroke, const Sheet& sheet, const Picture& picture) {
  return {picture.color.value_or(stroke.color), sheet.tips->Of(stroke).darkens};
}

}  // namespace TalvoInk
