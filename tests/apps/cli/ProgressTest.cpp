#include "cli/Progress.h"

#include <gtest/gtest.h>

namespace {

Progress Make(std::size_t files_done, std::size_t files, std::uint64_t bytes_done,
              std::uint64_t bytes, double seconds) {
  Progress progress;
  progress.files_done = files_done;
  progress.files = files;
  progress.bytes_done = bytes_done;
  progress.bytes = bytes;
  progress.elapsed = std::chrono::duration<double>(seconds);
  return progress;
}

constexpr std::size_t kWide = 200;

}  // namespace

TEST(FormatProgress, HasNoRateBeforeAnythingIsDone) {
  EXPECT_EQ("[                        ]  0/4 files  0%",
            FormatProgress(Make(0, 4, 0, 4096, 3), kWide));
}

TEST(FormatProgress, GoesByBytes) {
  EXPECT_EQ("[############            ]  1/4 files  50%  1.0 KiB/s  0:02 left",
            FormatProgress(Make(1, 4, 2048, 4096, 2), kWide));
  EXPECT_EQ("[######                  ]  1/2 files  25%  10.0 MiB/s  1:30 left",
            FormatProgress(Make(1, 2, 300u << 20, 1200u << 20, 30), kWide));
}

TEST(FormatProgress, GoesByFilesIfThereAreNoBytes) {
  EXPECT_EQ("[############            ]  1/2 files  50%  0 B/s  0:01 left",
            FormatProgress(Make(1, 2, 0, 0, 1), kWide));
}

TEST(FormatProgress, IsFullAtTheEndAlsoIfFilesGrew) {
  EXPECT_EQ("[########################]  2/2 files  100%  4.0 KiB/s  0:00 left",
            FormatProgress(Make(2, 2, 8192, 4096, 2), kWide));
}

TEST(FormatProgress, LeavesOutWhatDoesNotFit) {
  const Progress progress = Make(1, 4, 2048, 4096, 2);
  EXPECT_EQ("[############            ]  1/4 files  50%  1.0 KiB/s  0:02 left",
            FormatProgress(progress, 64));
  EXPECT_EQ("[############            ]  1/4 files  50%  1.0 KiB/s", FormatProgress(progress, 63));
  EXPECT_EQ("1/4 files  50%  1.0 KiB/s", FormatProgress(progress, 40));
  EXPECT_EQ("1/4 files  50%", FormatProgress(progress, 20));
  EXPECT_EQ("50%", FormatProgress(progress, 5));
  EXPECT_EQ("50%", FormatProgress(progress, 0));
}
