#include "Backlog.h"

#include <fstream>

#include "Ink.h"
#include "ink/Stf2File.h"

namespace fs = std::filesystem;

namespace bench {

std::string MakeHandwriting(std::uint64_t pen, std::size_t page, std::uint64_t start_ms,
                            int points) {
  TalvoInk::Ink ink;
  ink.pen = pen;
  for (int i = 0; i < 10; ++i) {
    TalvoInk::Stroke stroke;
    stroke.page = PageAddress(page);
    stroke.start_time_ms = start_ms + static_cast<std::uint64_t>(i) * 1000;
    std::vector<Stf2Sample> line;
    for (int k = 0; k < points; ++k) {
      line.push_back({static_cast<std::uint32_t>(k) * 13, 20000 + i * 9000 + k * 200,
                      40000 + (k * k % 11) * 300, 30000, STF2_SAMPLE_COORDINATE,
                      STF2_SAMPLE_HAS_TIME});
    }
    stroke.samples = TalvoInk::DrawThrough(line);
    ink.items.emplace_back(std::move(stroke));
  }
  return TalvoInk::WriteStf2(ink);
}

void FillWithHandwriting(const BenchRoot& root, std::uint64_t pen, std::size_t files) {
  constexpr std::size_t kPages = 10;
  constexpr int kPoints = 60;  // 10 KB
  std::size_t number = 0;
  for (const fs::path& file : root.FillStore(pen, files, kPages, 0)) {
    std::ofstream(file, std::ios::binary)
        << MakeHandwriting(pen, number % kPages, kImportTimeMs + number * 60000, kPoints);
    ++number;
  }
}

}  // namespace bench
