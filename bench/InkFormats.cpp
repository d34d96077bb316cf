// ink: large files of ink converted, drawn and replayed, beside a process that reads the same file
// and writes as many bytes as came out.

#include <sys/mman.h>
#include <sys/resource.h>

#include <cmath>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <stdexcept>

#include "BenchRoot.h"
#include "Process.h"
#include "Workloads.h"
#include "ink/Stf2File.h"
#include "ink/drawing/Render.h"
#include "ink/drawing/Replay.h"
#include "ink/file/InkFile.h"
#include "ink/inkml/InkMLWriter.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

using TalvoInk::Ink;
using TalvoInk::Sink;

constexpr std::size_t kStrokesOfPage = 1500;  // closely written
constexpr std::size_t kPoints = 50;           // of a stroke, half a second of writing
constexpr double kMostMemory = 4;             // times the input
constexpr std::size_t kScribbledPoints = 500000;
constexpr double kMostSeconds = 10;  // to draw them

// Loops along a line, as a hand writes them.
std::vector<Stf2Sample> Loops(double x, double y, std::size_t number) {
  std::vector<Stf2Sample> points(kPoints);
  for (std::size_t i = 0; i < kPoints; ++i) {
    const double turn = 0.35 * double(i), tilt = double(number % 7) / 7;
    points[i].time_offset_ms = static_cast<std::uint32_t>(i * 10);
    points[i].x_um = static_cast<std::int32_t>(x + 80 * double(i) + 900 * std::cos(turn));
    points[i].y_um = static_cast<std::int32_t>(y + 2000 * std::sin(turn + tilt));
    points[i].force = static_cast<std::uint16_t>(30000 + 15000 * std::sin(turn / 2));
    points[i].type = STF2_SAMPLE_COORDINATE;
    points[i].flags = STF2_SAMPLE_HAS_TIME;
  }
  return TalvoInk::DrawThrough(points);
}

Ink Handwriting(std::size_t bytes) {
  const std::size_t strokes = bytes / (kPoints * sizeof(Stf2Sample) + 100);
  Ink ink;
  ink.pen = 1;
  for (std::size_t i = 0; i < strokes; ++i) {
    TalvoInk::Stroke stroke;
    stroke.page = PageAddress(i / kStrokesOfPage);
    stroke.start_time_ms = 1700000000000 + i * 800;
    const std::size_t column = i % kStrokesOfPage % 31, row = i % kStrokesOfPage / 31;
    stroke.samples = Loops(10000 + 6000 * double(column), 15000 + 5500 * double(row), i);
    ink.items.emplace_back(std::move(stroke));
  }
  return ink;
}

// Points all over a page of A4 without order, in strokes of a hundred: far more ink than a page
// holds.
Ink Scribble() {
  std::mt19937 random(1);
  Ink ink;
  for (std::size_t i = 0; i < kScribbledPoints / 100; ++i) {
    std::vector<Stf2Sample> points(100);
    for (Stf2Sample& point : points) {
      point.x_um = static_cast<std::int32_t>(random() % 210000);
      point.y_um = static_cast<std::int32_t>(random() % 297000);
      point.type = STF2_SAMPLE_COORDINATE;
    }
    TalvoInk::Stroke stroke;
    stroke.samples = TalvoInk::DrawThrough(points);
    ink.items.emplace_back(std::move(stroke));
  }
  return ink;
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Hands what `make` makes to a new file.
void WriteFile(const fs::path& path, const std::function<void(const Sink&)>& make) {
  std::ofstream file(path, std::ios::binary);
  make([&](std::string_view piece) {
    file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  });
  if (!file.flush()) throw std::runtime_error("can't write " + path.string());
}

Ink ReadInkOf(const fs::path& path) {
  TalvoInk::Losses losses;
  return TalvoInk::ReadInk(TalvoInk::Unpack(ReadFile(path)), {}, losses);
}

// The most memory that a process of its own takes for a job, in bytes.
double PeakOf(const std::function<void()>& job) {
  void* const shared =
      ::mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::runtime_error("no memory to share");
  long* const kibibytes = static_cast<long*>(shared);
  Child([&] {
    job();
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    *kibibytes = usage.ru_maxrss;
  }).Wait();
  const double peak = double(*kibibytes) * 1024;
  ::munmap(shared, sizeof(long));
  return peak;
}

struct Work {
  const char* name;
  bool from_inkml;  // else from STF2
  void (*write)(const Ink&, const Sink&);
};

void Draw(const Ink& ink, TalvoInk::PictureFormat format, const Sink& sink) {
  TalvoInk::RenderOptions options;
  options.layout.page_size = TalvoInk::PageSize{210, 297};
  if (format == TalvoInk::PictureFormat::kPng) options.layout.number = 0;
  TalvoInk::Render({{&ink, ""}}, format, options, sink);
}

const Work kWork[] = {
    {"InkML to STF2", true,
     [](const Ink& ink, const Sink& sink) { TalvoInk::WriteStf2(ink, sink); }},
    {"STF2 to InkML", false,
     [](const Ink& ink, const Sink& sink) { TalvoInk::WriteInkML(ink, sink); }},
    {"STF2 to SVG", false,
     [](const Ink& ink, const Sink& sink) { Draw(ink, TalvoInk::PictureFormat::kSvg, sink); }},
    {"STF2 to PDF", false,
     [](const Ink& ink, const Sink& sink) { Draw(ink, TalvoInk::PictureFormat::kPdf, sink); }},
    {"one page of STF2 to PNG", false,
     [](const Ink& ink, const Sink& sink) { Draw(ink, TalvoInk::PictureFormat::kPng, sink); }},
    {"STF2 to a replay", false,
     [](const Ink& ink, const Sink& sink) { TalvoInk::ReplayAsSvg(ink, {}, sink); }},
};

void Measure(const Work& work, const fs::path& input, const fs::path& output, const Sizes& sizes,
             Report& report) {
  Case result = {"ink", work.name, {}, {}, {}};
  result.sizes = {{"bytes", double(fs::file_size(input))}};
  double peak = 0;
  const auto job = [&] {
    const Ink ink = ReadInkOf(input);
    WriteFile(output, [&](const Sink& sink) { work.write(ink, sink); });
  };
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    result.service.seconds.push_back(TimeOf([&] { peak = std::max(peak, PeakOf(job)); }));
    const std::size_t bytes = fs::file_size(output);
    result.floor.seconds.push_back(TimeOf([&] {
      Child([&] {
        std::string copied = ReadFile(input);
        copied.resize(bytes);
        WriteFile(output, [&](const Sink& sink) { sink(copied); });
      }).Wait();
    }));
  }
  report.Add(result);
  const std::string name = std::string("ink: ") + work.name;
  report.AddFigure(name + ", MB a second",
                   double(fs::file_size(input)) / 1e6 / result.service.Median());
  report.AddAtMost(name + ", memory by input", peak / double(fs::file_size(input)), kMostMemory);
}

void MeasureScribble(const char* name, TalvoInk::PictureFormat format, Report& report) {
  const Ink ink = Scribble();
  // Of the processor: drawing is one thread, and the machine may have others.
  const std::clock_t begin = std::clock();
  Draw(ink, format, [](std::string_view) {});
  const double seconds = double(std::clock() - begin) / CLOCKS_PER_SEC;
  report.AddAtMost(
      std::string("ink: half a million points at random to ") + name + ", processor seconds",
      seconds, kMostSeconds);
}

}  // namespace

void RunInk(const Sizes& sizes, Report& report) {
  const BenchRoot root(sizes.directory);
  const fs::path stf2 = root.path() / "ink.stf2", inkml = root.path() / "ink.inkml";
  // In processes of their own: what they take must not be counted with the work's.
  Child([&] {
    WriteFile(stf2,
              [&](const Sink& sink) { TalvoInk::WriteStf2(Handwriting(sizes.ink_bytes), sink); });
  }).Wait();
  Child([&] {
    // InkML of as many bytes is less ink.
    const double share =
        double(sizes.ink_bytes) / double(TalvoInk::WriteInkML(Handwriting(sizes.ink_bytes)).size());
    WriteFile(inkml, [&](const Sink& sink) {
      TalvoInk::WriteInkML(Handwriting(static_cast<std::size_t>(double(sizes.ink_bytes) * share)),
                           sink);
    });
  }).Wait();
  for (const Work& work : kWork) {
    Measure(work, work.from_inkml ? inkml : stf2, root.path() / "out", sizes, report);
  }
  MeasureScribble("PDF", TalvoInk::PictureFormat::kPdf, report);
  MeasureScribble("PNG", TalvoInk::PictureFormat::kPng, report);
}

}  // namespace bench
