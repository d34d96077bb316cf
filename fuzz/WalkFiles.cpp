#include "WalkFiles.h"

#include <json/value.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <string>

#include "common/Identifiers.h"
#include "config/FilesConfig.h"
#include "storage/ArchiveChange.h"
#include "storage/RoutingInfoFormat.h"

using namespace TalvoQuillpost;

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

// A file in memory that holds these bytes, as long as the object lives.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size)
      : descriptor_(::memfd_create("fuzz", MFD_CLOEXEC)) {
    Require(descriptor_ >= 0);
    Require(::write(descriptor_, data, size) == static_cast<ssize_t>(size));
  }
  ~MemoryFile() { ::close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  const int descriptor_;
};

bool Read(const std::string& bytes, Storage::StrokeMap& strokes) {
  try {
    strokes = Storage::ReadRoutingInfo(bytes);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

void WalkSubscription(const std::uint8_t* data, std::size_t size) {
  const MemoryFile file(data, size);
  Json::Value root;
  const bool is_taken = Config::LoadConfig(file.path(), root);
  Require(root.isObject() && root.empty() == !is_taken);
  if (!is_taken) return;
  Require(root["Title"].isString() && !root["Path"].asString().empty());
  for (const Json::Value& range : root["PageAddresses"]) {
    Require(Common::IsPageAddressInRange(range.asString(), range.asString()));
    Common::IsPageAddressInRange("1.2.3.4", range.asString());
  }
}

void WalkRoutingInfo(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  Storage::StrokeMap strokes;
  Storage::StrokeMap again;
  if (!Read(bytes, strokes)) return;
  const std::string archive = Storage::WriteRoutingInfo(strokes);
  Require(Read(archive, again) && Storage::WriteRoutingInfo(again) == archive);
  Require(Read(archive + bytes, again) && Storage::WriteRoutingInfo(again) == archive);
  Require(Storage::FinishChange(archive) == archive);
}
