// What the readers of drawings in XML have in common: .xopp and SVG hold lines without times, pen
// or page, and every line is a stroke.

#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <utility>

#include "ink/Ink.h"
#include "ink/InkError.h"
#include "ink/Losses.h"
#include "ink/ReadOptions.h"
#include "ink/Sink.h"
#include "ink/xml/XmlDocument.h"
#include "ink/xml/XmlEncoding.h"
#include "ink/xml/XmlNodes.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {

class DrawingReader {
 protected:
  // All must outlive the reader.
  DrawingReader(const std::string& text, const ReadOptions& options, Losses& losses)
      : options_(options), losses_(losses), text_(text), teller_(options.tell, text.size()) {}

  [[noreturn]] void Refuse(pugi::xml_node node, const std::string& reason) const {
    throw InkError(PlaceIn(text_, OffsetOf(node)), reason);
  }

  // Refuses a document whose root is another element: "not SVG: the root element is <html>".
  void CheckRoot(pugi::xml_node root, const char* name, const char* format) const {
    if (IsNamed(root, name)) return;
    Refuse(root, std::string("not ") + format + ": the root element is <" + root.name() + ">");
  }

  // A stroke was made of the element.
  void Count(pugi::xml_node node) {
    ++strokes_;
    teller_.DoneTo(OffsetOf(node));
  }

  // The ink, after the last stroke.
  Ink Finish() {
    if (strokes_ > 0) losses_.Note("strokes without a time", strokes_);
    if (!options_.pen) losses_.AssumePen();
    ink_.pen = options_.pen.value_or(0);
    return std::move(ink_);
  }

  const ReadOptions& options_;
  Losses& losses_;
  Ink ink_;
  std::size_t strokes_ = 0;

 private:
  const std::string& text_;
  ShareTeller teller_;
};

// The ink that a reader of a format makes of a document's bytes.
template <typename Reader>
Ink ReadDrawing(const std::string& bytes, const ReadOptions& options, Losses& losses) {
  std::string room;
  const std::string& text = DecodeDocument(bytes, room);
  pugi::xml_document document;
  ParseXml(text, document);
  return Reader(text, options, losses).Read(document.document_element());
}

}  // namespace TalvoInk
