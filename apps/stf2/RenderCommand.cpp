// The command that draws ink: a picture for each file, for each page, or one for all.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <list>
#include <memory>

#include "Commands.h"
#include "Files.h"
#include "Packing.h"
#include "PdfPage.h"
#include "Refusal.h"
#include "Report.h"
#include "Session.h"
#include "cli/Shown.h"
#include "ink/InkError.h"
#include "ink/drawing/Render.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

// What --to or the output's name says.
PictureFormat FormatOf(const Options& options) {
  std::string name = options.format;
  if (name.empty() && !NamesFolder(options.output)) name = FormatExtensionOf(options.output);
  if (name.empty() || name == "svg") return PictureFormat::kSvg;
  if (name == "png") return PictureFormat::kPng;
  if (name == "pdf") return PictureFormat::kPdf;
  throw Refusal("'" + name + "' is not one of svg, png and pdf; --to says which is wanted");
}

const char* ExtensionFor(PictureFormat format) {
  return format == PictureFormat::kSvg ? ".svg" : format == PictureFormat::kPng ? ".png" : ".pdf";
}

// The name that the pattern makes: {name} is the input's, {page} the page's address, {n} counts.
std::string FillPattern(const std::string& pattern, const std::string& name,
                        const std::optional<std::string>& page, std::size_t number) {
  char count[32];
  std::snprintf(count, sizeof count, "%03zu", number);
  const std::pair<const char*, std::string> kParts[] = {
      {"{name}", SafeName(name)},
      {"{page}", page ? SafeName(*page) : "without-page"},
      {"{n}", count}};
  std::string out;
  for (std::size_t at = 0; at < pattern.size();) {
    const auto part =
        std::find_if(std::begin(kParts), std::end(kParts), [&](const auto& candidate) {
          return pattern.compare(at, std::string(candidate.first).size(), candidate.first) == 0;
        });
    out += part == std::end(kParts) ? std::string(1, pattern[at]) : part->second;
    at += part == std::end(kParts) ? 1 : std::string(part->first).size();
  }
  return out;
}

// One call of the command.
class Drawing {
 public:
  Drawing(const Options& options, Streams streams)
      : options_(options), session_(options, streams), render_(options.render) {
    if (options.first_page) render_.layout.number = 0;
    render_.tell = session_.TellFrom(kShareOfReading, 1);
  }

  int Run() {
    if (!Prepare()) return session_.status();
    if (IsOneForAll(options_)) {
      session_.Attempt(ShownOutput(options_.output), [this] { return DrawTogether(); });
    } else {
      session_.ForEachInput([this](const std::string& file) {
        return IsPattern(options_.output) ? DrawPages(file) : DrawFile(file);
      });
    }
    return session_.status();
  }

 private:
  // What holds for all files; a fault in it is told once.
  bool Prepare() {
    if (options_.background.empty()) return true;
    session_.Attempt(options_.background, [this] {
      render_.paper.backdrop = std::make_shared<const Backdrop>(
          ReadPdfPage(options_.background, options_.background_page, options_.render.dpi));
      return std::string();
    });
    return render_.paper.backdrop != nullptr;
  }

  // Hands the picture on, or refuses with the option that makes it smaller.
  Rendering Draw(const std::vector<TitledInk>& documents, PictureFormat format, const Sink& sink) {
    if (options_.render.fit && format != PictureFormat::kPng) {
      throw Refusal("--size counts pixels, which only a PNG has");
    }
    try {
      return Render(documents, format, render_, sink);
    } catch (const PictureSizeError& error) {
      const char* help = format == PictureFormat::kPng ? "; give a smaller --dpi or a --page-size"
                                                       : "; give a --page-size";
      throw Refusal(error.what() + std::string(help));
    }
  }

  Rendering DrawPacked(const std::vector<TitledInk>& documents, PictureFormat format,
                       const Sink& sink) {
    Rendering picture;
    Pack(
        IsPackedName(options_.output),
        [&](const Sink& packed) { picture = Draw(documents, format, packed); }, sink);
    return picture;
  }

  std::string Tell(const std::string& file, const std::string& path, const Rendering& picture) {
    if (picture.strokes_off_paper > 0) {
      session_.Note(file, "note: off the paper or over its edge: " +
                              FormatCount(picture.strokes_off_paper, "stroke") +
                              "; --fit shows all");
    }
    return ShownOutput(path) + " (" + InShort(picture) + ")";
  }

  std::string DrawFile(const std::string& file) {
    const PictureFormat format = FormatOf(options_);
    const Ink ink = session_.Load(file);
    const std::string path = session_.PathFor(file, StemOf(file) + ExtensionFor(format));
    Rendering picture;
    session_.Save(path, [&](const Sink& sink) {
      picture = DrawPacked({{&ink, StemOf(file)}}, format, sink);
    });
    return Tell(file, path, picture);
  }

  // A picture for each page; all of them or none.
  std::string DrawPages(const std::string& file) {
    const PictureFormat format = FormatOf(options_);
    const Ink ink = session_.Load(file);
    const auto folder = std::filesystem::path(options_.output).parent_path();
    if (!folder.empty()) OutputPath("", folder.string() + "/", "");
    const std::vector<std::optional<std::string>> pages = PagesOf(ink);
    OutputSet outputs(options_.force);
    Rendering sum;
    for (std::size_t i = 0; i < pages.size(); ++i) {
      if (options_.render.layout.page && options_.render.layout.page != pages[i]) continue;
      if (options_.first_page && i > 0) break;
      render_.layout.page.reset();
      render_.layout.number = i;
      const double begin = double(i) / double(pages.size()),
                   end = double(i + 1) / double(pages.size());
      const double rest = 1 - kShareOfReading;
      render_.tell =
          session_.TellFrom(kShareOfReading + begin * rest, kShareOfReading + end * rest);
      Rendering one;
      outputs.Add(FillPattern(options_.output, StemOf(file), pages[i], ++number_),
                  [&](const Sink& sink) {
                    one = DrawPacked({{&ink, ""}}, format, sink);
                  });
      sum.pages += one.pages;
      sum.strokes += one.strokes;
      sum.points += one.points;
      sum.strokes_off_paper += one.strokes_off_paper;
    }
    if (sum.pages == 0) throw Refusal("no strokes to draw");
    outputs.Commit();
    return Tell(file, options_.output, sum);
  }

  // All files in one picture: one that can't be read refuses it.
  std::string DrawTogether() {
    const PictureFormat format = FormatOf(options_);
    session_.AgreeOnUnit();
    std::list<Ink> inks;
    std::vector<TitledInk> documents;
    for (const std::string& file : ExpandGlobs(options_.inputs)) {
      try {
        inks.push_back(session_.Load(file));
        if (PagesOf(inks.back()).empty()) throw Refusal("no strokes to draw");
      } catch (const std::runtime_error& error) {  // Refusal and InkError
        throw Refusal(ShownInput(file), error.what());
      }
      documents.push_back({&inks.back(), StemOf(file)});
    }
    Rendering picture;
    session_.Save(options_.output,
                  [&](const Sink& sink) { picture = DrawPacked(documents, format, sink); });
    return FormatCount(documents.size(), "file") + ", " +
           Tell(options_.output, options_.output, picture);
  }

  const Options& options_;
  Session session_;
  RenderOptions render_;
  std::size_t number_ = 0;  // of pictures by a pattern
};

}  // namespace

bool IsPattern(const std::string& output) {
  return output.find("{page}") != std::string::npos || output.find("{n}") != std::string::npos;
}

bool IsOneForAll(const Options& options) {
  if (options.output.empty() || NamesFolder(options.output) || IsPattern(options.output)) {
    return false;
  }
  const bool is_pdf =
      options.format.empty() ? FormatExtensionOf(options.output) == "pdf" : options.format == "pdf";
  return (is_pdf || options.render.contact_sheet) && ExpandGlobs(options.inputs).size() > 1;
}

int RenderFiles(const Options& options, Streams streams) {
  return Drawing(options, streams).Run();
}

}  // namespace InkTool
