#include "Packing.h"

#include <filesystem>

#include "ink/Gzip.h"

namespace InkTool {
namespace {

constexpr int kGzipLevel = 6;  // as usual
constexpr char kPackedSvg[] = "svgz";

}  // namespace

bool IsPackedName(const std::string& output) {
  const std::string extension = ExtensionOf(output);
  return extension == "gz" || extension == kPackedSvg;
}

std::string FormatExtensionOf(const std::string& output) {
  const std::string extension = ExtensionOf(output);
  if (extension == kPackedSvg) return "svg";
  return extension == "gz" ? ExtensionOf(std::filesystem::path(output).stem()) : extension;
}

void Pack(bool packed, const Writer& make, const TalvoInk::Sink& sink) {
  if (!packed) {
    make(sink);
    return;
  }
  TalvoInk::Packer packer(TalvoInk::Packer::Frame::kGzip, kGzipLevel, sink);
  make([&](std::string_view piece) { packer.Append(piece); });
  packer.Finish();
}

}  // namespace InkTool
