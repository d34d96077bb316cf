// PDF: a page for each leaf, with an outline of documents and their pages. Units on a page are
// micrometres from its top left corner, so that all numbers are whole.

#include <array>
#include <charconv>
#include <cmath>
#include <set>

#include "ink/InkError.h"
#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/drawing/Canvas.h"
#include "ink/drawing/Painter.h"
#include "ink/drawing/PdfFile.h"

namespace TalvoInk {
namespace {

constexpr double kPointUm = 25400 / 72.0;
constexpr double kMostPoints = 14400;  // of a page's side: what readers show

std::string Points(std::int64_t um) {
  return FormatNumber(double(um) / kPointUm, 4);
}

void AppendCorner(std::string& out, const Corner& corner, char operation) {
  std::array<char, 64> text;
  char* at = text.data();
  for (const std::int64_t number : {Near(corner.x), Near(corner.y)}) {
    at = std::to_chars(at, text.data() + text.size(), number).ptr;
    *at++ = ' ';
  }
  *at++ = operation;
  *at++ = '\n';
  out.append(text.data(), at);
}

// The bytes of a string for Helvetica in the Windows code page, whose characters up to 255 are
// Unicode's but for some; what it has not is a question mark.
std::string Latin(const std::string& utf8) {
  std::string out;
  for (std::size_t at = 0; at < utf8.size();) {
    const Utf8Sequence one = Utf8At(utf8, at);
    const bool known = one.length != 0 && one.code >= 0x20 && one.code < 0x100 &&
                       !(one.code >= 0x7F && one.code < 0xA0);
    const auto byte = static_cast<std::uint8_t>(known ? one.code : '?');
    out += Hexadecimal(&byte, 1);
    at += one.length == 0 ? 1 : one.length;
  }
  return "<" + out + ">";
}

class PdfPainter : public Painter {
 public:
  PdfPainter(const Picture& picture, const Sink& sink) : picture_(picture), file_(sink) {
    catalog_ = file_.Reserve();
    pages_ = file_.Reserve();
    resources_ = file_.Reserve();
  }

  void BeginLeaf(const Leaf& leaf) override {
    leaf_ = leaf;
    contents_.clear();
    BeginContent();
    text_ += "q " + FormatNumber(1 / kPointUm, 12) + " 0 0 -" + FormatNumber(1 / kPointUm, 12) +
             " 0 " + Points(leaf.height) + " cm\n";
  }

  void EndLeaf() override {
    text_ += "Q\n";
    EndContent();
    const int page = file_.Reserve();
    std::string contents;
    for (const int content : contents_) contents += Reference(content) + " ";
    file_.Write(page, "<</Type/Page/Parent " + Reference(pages_) + "/MediaBox[0 0 " +
                          Points(leaf_.width) + " " + Points(leaf_.height) + "]/Resources " +
                          Reference(resources_) + "/Contents[" + contents + "]>>");
    leaf_pages_.push_back(page);
  }

  void BeginSheet(const Placed& placed) override {
    sheet_ = placed.sheet;
    text_ += "q 1 0 0 1 " + std::to_string(placed.left) + " " + std::to_string(placed.top) +
             " cm 0 0 " + Extent() + " re W n\n";
  }
  void EndSheet() override { text_ += "Q\n"; }

  void Fill(const Look& look, const std::vector<Polygon>& polygons) override {
    const bool is_plain = look.color >> 24 == 255 && !look.darkens;
    if (!is_plain) text_ += "q " + StateOf(look);
    SetColor(look.color);
    for (const Polygon& polygon : polygons) {
      char operation = 'm';
      for (const Corner& corner : polygon) {
        AppendCorner(text_, corner, operation);
        operation = 'l';
      }
    }
    text_ += is_plain ? "f\n" : "f Q\n";
    HandOn();
  }

  // A group is an object of its own. The page's content ends before it and goes on behind it:
  // readers join the parts.
  void BeginGroup(const Look& look) override {
    group_ = look;
    EndContent();
    group_object_ = file_.BeginStream("/Type/XObject/Subtype/Form/BBox[0 0 " + Extent() +
                                      "]/Group<</S/Transparency/CS/DeviceRGB>>/Resources " +
                                      Reference(resources_));
    text_.clear();
  }

  void EndGroup() override {
    HandOn(true);
    file_.EndStream();
    BeginContent();
    ShowObject(group_object_, StateOf(group_));
  }

  void Show(const Backdrop& backdrop, double scale) override {
    if (backdrop_ == 0) {
      EndContent();
      backdrop_ = file_.BeginStream(
          "/Type/XObject/Subtype/Image/ColorSpace/DeviceRGB"
          "/BitsPerComponent 8/Width " +
          std::to_string(backdrop.width) + "/Height " + std::to_string(backdrop.height));
      file_.Append(backdrop.pixels);
      file_.EndStream();
      BeginContent();
    }
    const std::string height = std::to_string(std::llround(scale * backdrop.size.height_mm * 1000));
    ShowObject(backdrop_, std::to_string(std::llround(scale * backdrop.size.width_mm * 1000)) +
                              " 0 0 -" + height + " 0 " + height + " cm ");
  }

  void Write(const std::string& words, std::int64_t x, std::int64_t baseline,
             std::int64_t size) override {
    // Helvetica's letters and digits are half as wide as high, nearly all.
    const auto half = static_cast<std::int64_t>(words.size()) * size / 4;
    SetColor(kBlack);
    text_ += "BT /Helv " + std::to_string(size) + " Tf 1 0 0 -1 " + std::to_string(x - half) + " " +
             std::to_string(baseline) + " Tm " + Latin(words) + " Tj ET\n";
  }

  void Finish() override {
    const int outline = WriteOutline();
    std::string kids;
    for (const int page : leaf_pages_) kids += Reference(page) + " ";
    file_.Write(pages_, "<</Type/Pages/Count " + std::to_string(leaf_pages_.size()) + "/Kids[" +
                            kids + "]>>");
    WriteResources();
    file_.Write(catalog_, "<</Type/Catalog/Pages " + Reference(pages_) + "/Outlines " +
                              Reference(outline) + ">>");
    file_.Finish(catalog_);
  }

 private:
  struct Entry {
    std::string title;
    int page = 0;  // object
    std::vector<Entry> children;
  };

  void BeginContent() { contents_.push_back(file_.BeginStream("")); }
  void EndContent() {
    HandOn(true);
    file_.EndStream();
  }

  void HandOn(bool all = false) {
    if (!all && text_.size() < 65536) return;
    file_.Append(text_);
    text_.clear();
  }

  std::string Extent() const {
    return std::to_string(sheet_.width) + " " + std::to_string(sheet_.height);
  }

  void SetColor(std::uint32_t color) {
    for (const int shift : {16, 8, 0})
      text_ += FormatNumber((color >> shift & 255) / 255.0, 4) + " ";
    text_ += "rg\n";
  }

  // Sets the graphics state of a look; its name says what it is.
  std::string StateOf(const Look& look) {
    const std::uint32_t alpha = look.color >> 24;
    states_.emplace(alpha, look.darkens);
    return std::string("/") + (look.darkens ? 'M' : 'N') + std::to_string(alpha) + " gs ";
  }

  void ShowObject(int object, const std::string& state) {
    objects_.insert(object);
    text_ += "q " + state + "/X" + std::to_string(object) + " Do Q\n";
  }

  void WriteResources() {
    std::string states, objects;
    for (const auto& [alpha, darkens] : states_) {
      states += std::string("/") + (darkens ? 'M' : 'N') + std::to_string(alpha) + "<</ca " +
                FormatNumber(alpha / 255.0, 4) + "/BM/" + (darkens ? "Multiply" : "Normal") + ">>";
    }
    for (const int object : objects_) {
      objects += "/X" + std::to_string(object) + " " + Reference(object);
    }
    file_.Write(resources_, "<</ExtGState<<" + states + ">>/XObject<<" + objects +
                                ">>/Font<</Helv<</Type/Font/Subtype/Type1/BaseFont/Helvetica"
                                "/Encoding/WinAnsiEncoding>>>>>>");
  }

  // Documents with their pages; pages alone if there is one document.
  std::vector<Entry> Entries() const {
    std::vector<Entry> documents(picture_.titles.size());
    for (std::size_t i = 0; i < picture_.leaves.size(); ++i) {
      for (std::size_t k = picture_.leaves[i].begin; k < picture_.leaves[i].end; ++k) {
        const Placed& placed = picture_.sheets[k];
        Entry& document = documents[placed.document];
        if (document.children.empty()) document.page = leaf_pages_[i];
        document.children.push_back({placed.title, leaf_pages_[i], {}});
      }
    }
    if (documents.size() == 1) return documents.front().children;
    for (std::size_t i = 0; i < documents.size(); ++i) documents[i].title = picture_.titles[i];
    return documents;
  }

  int WriteOutline() {
    const int root = file_.Reserve();
    const std::string kids = WriteEntries(Entries(), root);
    file_.Write(root, "<</Type/Outlines" + kids + ">>");
    return root;
  }

  // Writes the entries, and answers what their parent says of them. Those of the root are open.
  std::string WriteEntries(const std::vector<Entry>& entries, int parent) {
    if (entries.empty()) return {};
    std::vector<int> objects;
    for (std::size_t i = 0; i < entries.size(); ++i) objects.push_back(file_.Reserve());
    for (std::size_t i = 0; i < entries.size(); ++i) {
      std::string body = "<</Title" + PdfText(entries[i].title) + "/Parent " + Reference(parent) +
                         "/Dest[" + Reference(entries[i].page) + "/Fit]";
      if (i > 0) body += "/Prev " + Reference(objects[i - 1]);
      if (i + 1 < entries.size()) body += "/Next " + Reference(objects[i + 1]);
      file_.Write(objects[i], body + WriteEntries(entries[i].children, objects[i]) + ">>");
    }
    const bool is_open = parent == objects.front() - 1;
    return "/First " + Reference(objects.front()) + "/Last " + Reference(objects.back()) +
           "/Count " + (is_open ? "" : "-") + std::to_string(entries.size());
  }

  const Picture& picture_;
  PdfFile file_;
  int catalog_, pages_, resources_;
  std::vector<int> leaf_pages_;
  Leaf leaf_;
  Sheet sheet_;
  std::string text_;           // of the open stream
  std::vector<int> contents_;  // of the open page
  Look group_{};
  int group_object_ = 0;
  int backdrop_ = 0;
  std::set<std::pair<std::uint32_t, bool>> states_;
  std::set<int> objects_;
};

}  // namespace

std::unique_ptr<Painter> MakePdfPainter(const Picture& picture, const Sink& sink) {
  for (const Leaf& leaf : picture.leaves) {
    if (double(std::max(leaf.width, leaf.height)) > kMostPoints * kPointUm) {
      throw PictureSizeError("the page would be larger than a PDF's 5 m");
    }
  }
  return std::make_unique<PdfPainter>(picture, sink);
}

}  // namespace TalvoInk
