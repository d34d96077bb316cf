#include "Ink.h"

#include <Stf2.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "BenchRoot.h"

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

}  // namespace

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

std::vector<fs::path> WriteInkFiles(const fs::path& directory, std::size_t count, std::size_t bytes,
                                    std::size_t pages) {
  fs::create_directory(directory);
  std::vector<fs::path> files;
  for (std::size_t i = 0; i < count; ++i) {
    files.push_back(directory / ("ink" + std::to_string(i) + ".stf2"));
    WriteInk(files.back(), bytes, 1, i % pages, kImportTimeMs + i * 60000);
  }
  return files;
}

}  // namespace bench
