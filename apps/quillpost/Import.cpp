#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdint>

#include "Commands.h"
#include "Output.h"
#include "Progress.h"
#include "Session.h"

namespace fs = boost::filesystem;
using namespace IPC::Protocol;

namespace {

constexpr std::uint64_t kMaxBytes = 104857600;  // what the service accepts

std::uint64_t SizeOf(const fs::path& file) {
  boost::system::error_code error;
  const std::uint64_t size = fs::file_size(file, error);
  return error ? 0 : size;
}

// Why the service will have refused the file, as far as it can be seen from here.
std::string ReasonOfRefusal(const fs::path& file) {
  boost::system::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (!fs::exists(status)) return error.message();
  if (status.type() != fs::regular_file) return "not a regular file";
  if (SizeOf(file) == 0) return "the file is empty";
  if (SizeOf(file) > kMaxBytes) return "the file is larger than 100 MiB";
  return "the service refused it; its log says why";
}

class Importer {
 public:
  explicit Importer(const ImportOptions& options) : options_(options) {
    progress_.files = options.files.size();
    for (const std::string& file : options.files) progress_.bytes += SizeOf(file);
  }

  int Run() {
    if (const int status = ConnectToService(client_)) return status;
    for (const std::string& file : options_.files) ImportFile(file);
    line_.Clear();
    if (options_.json) {
      Json::Value document;
      document["files"] = results_;
      document["imported"] = imported_;
      document["failed"] = results_.size() - imported_;
      PrintJson(document);
    }
    return imported_ == results_.size() ? kDone : kRefused;
  }

 private:
  void ImportFile(const std::string& file) {
    progress_.elapsed = std::chrono::steady_clock::now() - start_;
    line_.Draw(progress_);
    const fs::path path = fs::absolute(file);
    const std::uint64_t size = SizeOf(path);
    Json::Value params;
    params[Quillpost::Argument::InkPackagePath] = path.string();
    const IPC::Client::Reply reply =
        client_.Request(Quillpost::Command::ImportSTF2File, params, IPC::Client::Milliseconds(0));
    ++progress_.files_done;
    progress_.bytes_done += size;
    if (!reply) {
      Report(file, path, false, reply.message);
    } else if (reply.status != Core::Status::Success) {
      Report(file, path, false, ReasonOfRefusal(path));
    } else {
      Report(file, path, true, std::string());
    }
  }

  void Report(const std::string& file, const fs::path& path, bool success,
              const std::string& reason) {
    line_.Clear();
    if (success) ++imported_;
    const char* status = success ? Core::Status::Success : Core::Status::Failed;
    if (!success) Complain(Printable(file) + ": " + reason);
    if (!options_.json) PrintLine(std::string(status) + " " + Printable(file));
    Json::Value result;
    result["file"] = file;
    result["path"] = path.string();
    result["status"] = status;
    if (!success) result["reason"] = reason;
    results_.append(result);
  }

  const ImportOptions& options_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  IPC::Client client_;
  ProgressLine line_;
  Progress progress_;
  Json::Value results_ = Json::Value(Json::arrayValue);
  Json::ArrayIndex imported_ = 0;
};

}  // namespace

int Import(const ImportOptions& options) {
  return Importer(options).Run();
}
