#include "RoutingInfoOf.h"

#include <cstdint>
#include <exception>

#include "common/File.h"
#include "storage/RoutingInfoFormat.h"

using namespace TalvoQuillpost;

bool ReadRoutingInfoOf(const std::string& pen, Storage::StrokeMap& strokes, std::string& reason) {
  constexpr int kAttempts = 5;
  const auto path = Storage::GetStorageRoot() / pen / "RoutingInfo.txt";
  strokes.clear();
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    Common::FileBytes bytes;
    const auto error = Common::ReadRegularFile(path, UINT64_MAX, bytes);
    if (error == boost::system::errc::no_such_file_or_directory) {
      reason.clear();
      return true;
    }
    if (error) {
      reason = "the file can't be read: " + error.message();
      return false;
    }
    try {
      strokes = Storage::ReadRoutingInfo(std::string(bytes.data.get(), bytes.size_bytes));
      reason.clear();
      return true;
    } catch (const std::exception& corruption) {
      reason = std::string("the file is corrupted: ") + corruption.what();
    }
  }
  return false;
}
