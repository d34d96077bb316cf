#include <array>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdint>

#include "Commands.h"
#include "InkSender.h"
#include "Output.h"
#include "cli/Progress.h"

namespace fs = boost::filesystem;

namespace {

std::uint64_t SizeOf(const fs::path& file) {
  boost::system::error_code error;
  const std::uint64_t size = fs::file_size(file, error);
  return error ? 0 : size;
}

class Importer {
 public:
  explicit Importer(const ImportOptions& options)
      : options_(options),
        sender_(std::chrono::duration_cast<std::chrono::milliseconds>(
                    std::chrono::duration<double>(options.wait)),
                options.convert ? &options.converter : nullptr) {
    progress_.files = options.files.size();
    for (const std::string& file : options.files) progress_.bytes += SizeOf(file);
  }

  int Run() {
    const int status = sender_.Connect();
    for (const std::string& file : options_.files) ImportFile(file);
    line_.Clear();
    const auto unsent = CountOf(SendResult::kUnsent);
    if (unsent > 0) Complain(FormatCount(unsent, "file") + " not sent");
    if (options_.json) PrintResults();
    if (status != kDone) return status;
    if (unsent + CountOf(SendResult::kUnanswered) > 0) return kNoService;
    return CountOf(SendResult::kFailed) == 0 ? kDone : kRefused;
  }

 private:
  void ImportFile(const std::string& file) {
    progress_.elapsed = std::chrono::steady_clock::now() - start_;
    line_.Draw(progress_);
    const std::uint64_t size = SizeOf(file);
    std::string reason;
    const SendResult result = sender_.Send(file, reason, [this] { line_.Clear(); });
    ++progress_.files_done;
    progress_.bytes_done += size;
    Report(file, result, reason);
  }

  void Report(const std::string& file, SendResult result, const std::string& reason) {
    line_.Clear();
    ++counts_[static_cast<std::size_t>(result)];
    if (!reason.empty()) Complain(Printable(file + ": " + reason));
    if (!options_.json) PrintLine(ToText(result) + (" " + Printable(file)));
    Json::Value entry;
    entry["file"] = file;
    entry["path"] = fs::absolute(file).string();
    entry["status"] = ToText(result);
    if (!reason.empty()) entry["reason"] = reason;
    results_.append(entry);
  }

  Json::ArrayIndex CountOf(SendResult result) const {
    return counts_[static_cast<std::size_t>(result)];
  }

  void PrintResults() const {
    Json::Value document;
    document["files"] = results_;
    document["imported"] = CountOf(SendResult::kSuccess);
    document["failed"] = CountOf(SendResult::kFailed);
    document["unanswered"] = CountOf(SendResult::kUnanswered);
    document["unsent"] = CountOf(SendResult::kUnsent);
    PrintJson(document);
  }

  const ImportOptions& options_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  InkSender sender_;
  ProgressLine line_;
  Progress progress_;
  Json::Value results_ = Json::Value(Json::arrayValue);
  std::array<Json::ArrayIndex, 4> counts_ = {};  // by SendResult
};

}  // namespace

int Import(const ImportOptions& options) {
  return options.dry_run ? ForeseeImport(options) : Importer(options).Run();
}
