#include "ink/file/InkFile.h"

#include <algorithm>
#include <utility>

#include "ink/Gzip.h"
#include "ink/InkError.h"
#include "ink/SealedInfo.h"
#include "ink/Stf2File.h"
#include "ink/inkml/InkMLReader.h"
#include "ink/svg/SvgReader.h"
#include "ink/xml/XmlDocument.h"
#include "ink/xopp/XoppReader.h"

namespace TalvoInk {
namespace {

// Gives the stroke a time of day. If no sample has flags, those up to the first coordinate get one.
void Start(Stroke& stroke, std::uint64_t time_ms) {
  stroke.start_time_ms = time_ms;
  const auto timed = [](const Stf2Sample& sample) { return sample.flags != 0; };
  if (std::any_of(stroke.samples.begin(), stroke.samples.end(), timed)) return;
  for (Stf2Sample& sample : stroke.samples) {
    sample.flags |= STF2_SAMPLE_HAS_TIME;
    if (sample.type == STF2_SAMPLE_COORDINATE) break;
  }
}

// What the caller states, for formats whose readers don't look at it.
void Address(Ink& ink, const ReadOptions& options) {
  if (options.pen) ink.pen = *options.pen;
  for (Item& item : ink.items) {
    auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    if (options.page) stroke->page = options.page;
    if (options.start_time_ms && stroke->start_time_ms == 0) Start(*stroke, *options.start_time_ms);
  }
}

InkFormat FormatOf(const std::string& bytes) {
  if (LooksLikeXml(bytes)) {
    const std::string root = RootNameOf(bytes);
    return root == "xournal" ? InkFormat::kXopp
           : root == "svg"   ? InkFormat::kSvg
                             : InkFormat::kInkML;
  }
  return ReadSealedInfo(bytes) ? InkFormat::kSealedStf2 : InkFormat::kStf2;
}

}  // namespace

const char* NameOf(InkFormat format) {
  switch (format) {
    case InkFormat::kStf2:
      return "STF2";
    case InkFormat::kSealedStf2:
      return "sealed STF2";
    case InkFormat::kInkML:
      return "InkML";
    case InkFormat::kXopp:
      return "xopp";
    case InkFormat::kSvg:
      return "SVG";
  }
  return "";
}

InkBytes Unpack(std::string bytes) {
  InkBytes file;
  file.was_gzipped = LooksGzipped(bytes);
  file.bytes = file.was_gzipped ? Gunzip(bytes, kMostInkBytes) : std::move(bytes);
  file.format = FormatOf(file.bytes);
  return file;
}

Ink ReadInk(const InkBytes& file, const ReadOptions& options, Losses& losses) {
  if (file.format == InkFormat::kInkML) return ReadInkML(file.bytes, options, losses);
  const bool is_notebook = file.format == InkFormat::kXopp;
  Ink ink = is_notebook                      ? ReadXopp(file.bytes, options, losses)
            : file.format == InkFormat::kSvg ? ReadSvg(file.bytes, options, losses)
                                             : ReadStf2(file.bytes);
  ReadOptions rest = options;
  if (is_notebook) rest.page.reset();  // its pages have been counted
  Address(ink, rest);
  return ink;
}

}  // namespace TalvoInk
