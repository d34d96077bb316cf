// import: one large file that is split into pages, and many small files.

#include <Stf2.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <stdexcept>

#include "LineSocket.h"
#include "Workloads.h"
#include "World.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::size_t kSamples = 100;        // of a stroke, one second of writing
constexpr std::size_t kStrokeOverhead = 80;  // bytes of a stroke beside its samples, at most
constexpr std::size_t kStrokeBytes = kSamples * sizeof(Stf2Sample) + kStrokeOverhead;

void AddStroke(InkDataHandle* ink, const std::string& page, std::uint64_t start_time_ms) {
  Stf2Sample samples[kSamples] = {};
  for (std::size_t i = 0; i < kSamples; ++i) {
    const auto step = static_cast<std::uint32_t>(i);
    samples[i] = {step * 10,
                  static_cast<std::int32_t>(step) * 150,
                  40000,
                  30000,
                  STF2_SAMPLE_COORDINATE,
                  STF2_SAMPLE_HAS_TIME};
  }
  samples[0].type = STF2_SAMPLE_PEN_DOWN;
  samples[kSamples - 1].type = STF2_SAMPLE_PEN_UP;
  if (Stf2InkDataAddStroke(ink, page.c_str(), start_time_ms, samples, kSamples, 0xFF000000, 0)) {
    throw std::runtime_error("can't make ink");
  }
}

// A file of at most `bytes` bytes whose strokes lie on `pages` pages, one page after the other.
void WriteInk(const fs::path& path, std::size_t bytes, std::size_t pages, std::size_t first_page,
              std::uint64_t start_time_ms) {
  InkDataHandle* ink = nullptr;
  Stf2InkDataCreate(1, &ink);
  const std::size_t strokes_of_page = std::max<std::size_t>(bytes / pages / kStrokeBytes, 1);
  for (std::size_t page = 0; page < pages; ++page) {
    for (std::size_t i = 0; i < strokes_of_page; ++i) {
      AddStroke(ink, PageAddress(first_page + page), start_time_ms += 1000);
    }
  }
  void* data = nullptr;
  std::uint32_t size = 0;
  if (Stf2WriterWriteDataHandle(ink, &data, &size)) throw std::runtime_error("can't write ink");
  std::ofstream(path, std::ios::binary).write(static_cast<const char*>(data), size);
  Stf2WriterFreeData(data);
  Stf2InkDataFreeHandle(&ink);
}

void WriteNew(const fs::path& path, const char* data, std::size_t bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0 || ::write(fd, data, bytes) != static_cast<ssize_t>(bytes)) {
    throw std::runtime_error("can't write " + path.string());
  }
  ::close(fd);
}

// Maps a file and writes its bytes to `count` new files.
void CopyToNewFiles(const fs::path& source, const fs::path& prefix, std::size_t count) {
  const int fd = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  ::fstat(fd, &status);
  const auto bytes = static_cast<std::size_t>(status.st_size);
  void* const data = ::mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, fd, 0);
  ::close(fd);
  if (data == MAP_FAILED) throw std::runtime_error("can't map " + source.string());
  const std::size_t share = bytes / count;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t end = i + 1 == count ? bytes : (i + 1) * share;
    WriteNew(prefix.string() + std::to_string(i), static_cast<const char*>(data) + i * share,
             end - i * share);
  }
  ::munmap(data, bytes);
}

void Import(LineSocket& socket, const fs::path& file) {
  socket.Send(R"({"jsonrpc":"2.0","id":1,"method":"ImportSTF2File","params":{"InkPackagePath":")" +
              file.string() + R"("}})");
  if (socket.Receive().find(R"("Success")") == std::string::npos) {
    throw std::runtime_error("the import was refused");
  }
}

// Each repetition has a world of its own: the store stays as small as it is in the floor.
void RunLargeFile(const Sizes& sizes, std::size_t pages, Report& report) {
  Case result = {"import", "1 file of " + std::to_string(pages) + " pages", {}, {}, {}};
  result.sizes = {{"bytes", sizes.import_bytes}, {"pages", pages}};
  double peak_bytes = 0;
  double file_bytes = 0;
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    const World world(sizes.directory);
    const fs::path file = world.path() / "ink.stf2";
    WriteInk(file, sizes.import_bytes, pages, 0, 1700000000000);
    file_bytes = static_cast<double>(fs::file_size(file));
    fs::create_directory(world.path() / "floor");
    result.floor.seconds.push_back(
        TimeOf([&] { CopyToNewFiles(file, world.path() / "floor/", pages); }));
    const Daemon daemon(world);
    daemon.WaitUntilQuiet();
    LineSocket socket(LineSocket::ConnectToService());
    result.service.seconds.push_back(TimeOf([&] { Import(socket, file); }));
    peak_bytes = std::max(peak_bytes, static_cast<double>(daemon.PeakBytes()));
  }
  const double ratio = report.Add(result);
  const std::string name = "import: 1 file of " + std::to_string(pages) + " pages, ";
  if (pages == 1000) {
    report.AddAtMost(name + "x the floor", ratio, 2.0);
    report.AddAtMost(name + "peak memory, x the file", peak_bytes / file_bytes, 2.5);
  } else {
    report.AddFigure(name + "x the floor", ratio);
    report.AddAtMost(name + "peak memory, x the file", peak_bytes / file_bytes, 4.5);
  }
}

// The floor's side of the service: told a file, it copies it to a new one and answers.
void ServeFloor(LineSocket& socket, const fs::path& prefix, std::size_t files) {
  for (std::size_t i = 0; i < files; ++i) {
    CopyToNewFiles(socket.Receive(), prefix.string() + std::to_string(i) + ".", 1);
    socket.Send(R"({"jsonrpc":"2.0","id":1,"result":{"status":"Success","result":null}})");
  }
}

void MeasureSmallFloor(const World& world, const std::vector<fs::path>& files, std::size_t turn,
                       Samples& samples) {
  const fs::path directory = world.path() / ("floor" + std::to_string(turn));
  fs::create_directory(directory);
  const auto ends = LineSocket::Pair();
  Child server([&] {
    ::close(ends.second);
    LineSocket socket(ends.first);
    ServeFloor(socket, directory / "", files.size());
  });
  ::close(ends.first);
  LineSocket socket(ends.second);
  for (const fs::path& file : files) {
    samples.seconds.push_back(TimeOf([&] {
      socket.Send(file.string());
      socket.Receive();
    }));
  }
  server.Wait();
}

void RunSmallFiles(const Sizes& sizes, Report& report) {
  constexpr std::size_t kPages = 10;
  Case result = {"import", std::to_string(sizes.import_files) + " small files", {}, {}, {}};
  result.sizes = {{"files", sizes.import_files}, {"bytes", sizes.stroke_bytes}};
  for (std::size_t turn = 0; turn < sizes.repetitions; ++turn) {
    const World world(sizes.directory);
    world.Subscribe(1);
    std::vector<fs::path> files;
    for (std::size_t i = 0; i < sizes.import_files; ++i) {
      files.push_back(world.path() / ("ink" + std::to_string(i) + ".stf2"));
      WriteInk(files.back(), sizes.stroke_bytes, 1, i % kPages, 1700000000000 + i * 60000);
    }
    MeasureSmallFloor(world, files, turn, result.floor);
    const Daemon daemon(world);
    daemon.WaitUntilQuiet();
    LineSocket socket(LineSocket::ConnectToService());
    for (const fs::path& file : files) {
      result.service.seconds.push_back(TimeOf([&] { Import(socket, file); }));
    }
  }
  const double ratio = report.Add(result);
  report.AddAtMost("import: " + std::to_string(sizes.import_files) + " small files, x the floor",
                   ratio, 2.0);
}

}  // namespace

void RunImport(const Sizes& sizes, Report& report) {
  for (const std::size_t pages : sizes.import_pages) RunLargeFile(sizes, pages, report);
  RunSmallFiles(sizes, report);
}

}  // namespace bench
