// The frame of a PDF: its objects, where they lie, and streams that are packed while they are
// written. What the pages show is the caller's. A PDF could be made by a drawing library, but none
// at hand writes half a million points in seconds: they spell each number with a dozen digits, and
// hold the page in memory.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ink/Gzip.h"
#include "ink/Sink.h"

namespace TalvoInk {

class PdfFile {
 public:
  explicit PdfFile(const Sink& sink);
  PdfFile(const PdfFile&) = delete;
  PdfFile& operator=(const PdfFile&) = delete;

  // A number for an object that will be written.
  int Reserve();

  // Writes the object: "<</Type/Page ...>>".
  void Write(int object, const std::string& body);

  // Begins a stream, of which one can be open at a time. `entries` are those of its dictionary
  // beside length and filter: "/Type/XObject/Subtype/Form".
  int BeginStream(const std::string& entries);
  void Append(std::string_view bytes) { packer_.Append(bytes); }
  void EndStream();

  // The table of all objects, which are written by now, and the end.
  void Finish(int catalog);

 private:
  void Put(std::string_view bytes);
  void BeginObject(int object);

  TextSink out_;
  std::uint64_t at_ = 0;               // bytes put
  std::vector<std::uint64_t> places_;  // of each object, from 1; 0 for one that is not written
  const Sink put_ = [this](std::string_view bytes) { Put(bytes); };
  Packer packer_;
  int length_ = 0;  // the object that tells the open stream's length
  std::uint64_t stream_begin_ = 0;
};

// "3 0 R": a reference to an object.
std::string Reference(int object);

// Text that any reader shows, as a string of a PDF.
std::string PdfText(const std::string& utf8);

}  // namespace TalvoInk
