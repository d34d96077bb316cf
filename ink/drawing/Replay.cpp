#include "ink/drawing/Replay.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "ink/InkError.h"
#include "ink/Units.h"
#include "ink/drawing/Canvas.h"
#include "ink/drawing/Outline.h"
#include "ink/drawing/Picture.h"
#include "ink/drawing/ReplayTimes.h"
#include "ink/drawing/SvgText.h"

namespace TalvoInk {
namespace {

constexpr double kStepMs = 40;  // of the SVG: what appears together
constexpr std::size_t kMostFrames = 100000;

// One stroke of the replay with its sheet's place in the picture.
struct Actor {
  const Stroke* stroke;
  const Placed* placed;
  std::size_t sheet_number;
};

// The strokes of a picture in the order of its sheets, and their times.
struct Play {
  Play(const Ink& ink, const ReplayOptions& options)
      : picture(PictureOf(ink, options)),
        actors(ActorsOf(picture)),
        times(StrokesOf(actors), options.max_pause_ms, options.speed) {}

  ReplayInfo Info() const {
    ReplayInfo info;
    info.pages = picture.sheets.size();
    info.strokes = picture.strokes;
    info.points = picture.points;
    info.duration_ms = times.duration_ms();
    info.assumed = times.assumed();
    return info;
  }

  // What the stroke looks like, piece by piece as it is drawn, placed on its sheet.
  std::vector<OutlinePiece> PiecesOf(std::size_t i, double step_ms) const {
    const Actor& actor = actors[i];
    const std::vector<double> points = times.Of(i);
    if (points.empty()) return {};
    const Sheet& sheet = actor.placed->sheet;
    std::vector<OutlinePiece> pieces =
        OutlinePiecesOf(*actor.stroke, sheet.tips->Of(*actor.stroke), points, step_ms);
    for (OutlinePiece& piece : pieces) {
      for (Polygon& polygon : piece.polygons) {
        for (Corner& corner : polygon) corner = sheet.Place(corner);
      }
    }
    return pieces;
  }

  Look LookOf(std::size_t i) const {
    return TalvoInk::LookOf(*actors[i].stroke, actors[i].placed->sheet, picture);
  }

  static Picture PictureOf(const Ink& ink, const ReplayOptions& options) {
    PictureOptions how;
    how.layout = options.layout;
    how.color = options.color;
    return MakePicture({{&ink, ""}}, how);
  }

  static std::vector<Actor> ActorsOf(const Picture& picture) {
    std::vector<Actor> actors;
    for (std::size_t i = 0; i < picture.sheets.size(); ++i) {
      const Placed& placed = picture.sheets[i];
      for (const Stroke* stroke : placed.sheet.strokes) actors.push_back({stroke, &placed, i});
    }
    return actors;
  }

  static std::vector<const Stroke*> StrokesOf(const std::vector<Actor>& actors) {
    std::vector<const Stroke*> strokes;
    for (const Actor& actor : actors) strokes.push_back(actor.stroke);
    return strokes;
  }

  const Picture picture;
  const std::vector<Actor> actors;
  const ReplayTimes times;
};

// The strokes that are being drawn, and a picture of all that are done.
class Film {
 public:
  Film(const Play& play, const ReplayOptions& options)
      : play_(play),
        options_(options),
        done_(MakeImage(play.picture.leaves.front(), options.dpi, options.transparent)) {}

  // The picture at a time, which is later than that of the picture before.
  std::string At(double time_ms) {
    while (next_ < play_.times.order().size()) {
      const std::size_t i = play_.times.order()[next_];
      const std::vector<double> times = play_.times.Of(i);
      if (!times.empty() && times.front() > time_ms) break;
      drawing_.push_back({i, play_.PiecesOf(i, 1000 / options_.frames_per_second),
                          times.empty() ? 0 : times.back()});
      ++next_;
    }
    const Surface frame =
        MakeImage(play_.picture.leaves.front(), options_.dpi, options_.transparent);
    for (auto stroke = drawing_.begin(); stroke != drawing_.end();) {
      if (stroke->end_ms > time_ms) break;  // later strokes stay above it
      Draw(done_, *stroke, time_ms);
      stroke = drawing_.erase(stroke);
    }
    const Context copy(cairo_create(frame.get()));
    cairo_set_operator(copy.get(), CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(copy.get(), done_.get(), 0, 0);
    cairo_paint(copy.get());
    CheckCairo(cairo_status(copy.get()));
    for (const Drawing& stroke : drawing_) Draw(frame, stroke, time_ms);
    return WritePng(frame);
  }

 private:
  struct Drawing {
    std::size_t number;
    std::vector<OutlinePiece> pieces;
    double end_ms;
  };

  // All that is drawn of the stroke so far, as one shape: ink that shows through is not doubled.
  void Draw(const Surface& image, const Drawing& stroke, double time_ms) const {
    std::vector<Polygon> polygons;
    for (const OutlinePiece& piece : stroke.pieces) {
      if (piece.time_ms > time_ms) break;
      polygons.insert(polygons.end(), piece.polygons.begin(), piece.polygons.end());
    }
    const Context context = DrawOn(image, options_.dpi);
    SaveAndClip(context.get(), *play_.actors[stroke.number].placed);
    Fill(context.get(), play_.LookOf(stroke.number), polygons);
    CheckCairo(cairo_status(context.get()));
  }

  const Play& play_;
  const ReplayOptions& options_;
  const Surface done_;
  std::vector<Drawing> drawing_;
  std::size_t next_ = 0;
};

}  // namespace

ReplayInfo ReplayAsSvg(const Ink& ink, const ReplayOptions& options, const Sink& sink) {
  const Play play(ink, options);
  ShareTeller teller(options.tell, play.picture.points);
  TextSink out(sink);
  out.text = BeginSvg(play.picture.leaves.front(), options.transparent);
  std::size_t open = 0;  // the sheet whose group is open, from 1
  for (std::size_t i = 0; i < play.actors.size(); ++i) {
    const Actor& actor = play.actors[i];
    if (open != actor.sheet_number + 1) {
      if (open != 0) out.text += "</g>\n";
      out.text += BeginSheet(*actor.placed, actor.sheet_number);
      open = actor.sheet_number + 1;
    }
    std::size_t untold = actor.stroke->samples.size();
    out.text += "<g" + FillAttributes(play.LookOf(i), true) + ">\n";
    for (const OutlinePiece& piece : play.PiecesOf(i, kStepMs)) {
      out.text += "<path visibility=\"hidden\" d=\"";
      for (const Polygon& polygon : piece.polygons) AppendPath(out.text, polygon);
      out.text += "\"><set attributeName=\"visibility\" to=\"visible\" begin=\"" +
                  FormatNumber(piece.time_ms / 1000, 3) + "s\"/></path>\n";
      out.HandOn();
      if (untold > 0) {
        teller.Done(1);
        --untold;
      }
    }
    out.text += "</g>\n";
    teller.Done(untold);
  }
  out.text += "</g>\n</svg>\n";
  out.Finish();
  return play.Info();
}

std::string ReplayAsSvg(const Ink& ink, const ReplayOptions& options, ReplayInfo& info) {
  std::string svg;
  const Sink append = [&](std::string_view piece) { svg += piece; };
  info = ReplayAsSvg(ink, options, append);
  return svg;
}

ReplayInfo ReplayAsFrames(const Ink& ink, const ReplayOptions& options,
                          const std::function<void(std::size_t, const std::string&)>& take) {
  const Play play(ink, options);
  ReplayInfo info = play.Info();
  const double step = 1000 / options.frames_per_second;
  const double frames = std::ceil(info.duration_ms / step) + 2;
  if (!(frames <= double(kMostFrames))) {
    throw PictureSizeError("the film would have more than " + std::to_string(kMostFrames) +
                           " pictures");
  }
  info.frames = static_cast<std::size_t>(frames);
  Film film(play, options);
  ShareTeller teller(options.tell, info.frames);
  for (std::size_t i = 0; i < info.frames; ++i) {
    // Before the first stroke there is the empty paper.
    take(i, film.At(i == 0 ? -1 : double(i - 1) * step));
    teller.Done(1);
  }
  return info;
}

}  // namespace TalvoInk
