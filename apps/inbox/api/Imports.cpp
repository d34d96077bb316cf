// The requests whose ink takes the whole road: to the service, and back as a package like all other
// ink.

#include <fcntl.h>
#include <json/value.h>
#include <stdlib.h>
#include <unistd.h>

#include <TalvoCppUtils/PenId.h>
#include <TalvoQuillpost/Limits.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "api/Api.h"
#include "api/PageJson.h"
#include "api/Refusal.h"
#include "api/Title.h"
#include "content/Intake.h"
#include "http/Guard.h"

namespace Inbox {
namespace {

// A file on its way to the service; removed with the object.
class TransitFile {
 public:
  // Throws std::runtime_error with the system's reason.
  TransitFile(const std::string& directory, const std::string& bytes)
      : path_(directory + "/" + kTransitName + "XXXXXX") {
    const int fd = ::mkostemp(&path_[0], O_CLOEXEC);
    std::size_t done = 0;
    while (fd >= 0 && done < bytes.size()) {
      const ssize_t written = ::write(fd, bytes.data() + done, bytes.size() - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) break;
      done += static_cast<std::size_t>(written);
    }
    const int error = errno;
    if (fd >= 0) ::close(fd);
    if (fd >= 0 && done == bytes.size()) return;
    if (fd >= 0) ::unlink(path_.c_str());
    throw std::runtime_error("can't write " + path_ + ": " +
                             std::generic_category().message(error));
  }
  ~TransitFile() { ::unlink(path_.c_str()); }
  TransitFile(const TransitFile&) = delete;
  TransitFile& operator=(const TransitFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

Response ToResponse(ServiceLink::ImportResult result, const Json::Value& answer) {
  switch (result) {
    case ServiceLink::ImportResult::kSuccess: {
      Response response;
      response.status = 202;
      response.type = "application/json";
      response.body = ToText(answer) + "\n";
      return response;
    }
    case ServiceLink::ImportResult::kRefused:
      return MakeError(422, "the ink service refused the ink; its log says why");
    case ServiceLink::ImportResult::kUnanswered:
      return MakeError(504, "the ink service ended meanwhile; the ink may have been taken");
    default:
      return MakeError(503, "the ink service is away");
  }
}

}  // namespace

void Api::Import(Request request, const Reply& reply) {
  Origin origin;
  origin.now_ms = NowMs();
  origin.pen = [this] {
    std::string pen;
    writer_.Run([&](Keeper& keeper) { pen = keeper.OwnPen(); });
    return pen;
  };
  origin.page = [this] {
    std::string page;
    writer_.Run([&](Keeper& keeper) { page = keeper.NextOwnPage(); });
    return page;
  };
  if (request.body.empty()) throw Refusal(422, "the file is empty");
  const Intake intake = TakeIn(std::move(request.body), origin);
  const std::string title = TitleOf(request.Argument("name"));
  writer_.Run([&](Keeper& keeper) {
    if (!intake.own_page.empty()) keeper.NameDocument(intake.own_page, title);
    keeper.ShowAgain(intake.pen, intake.pages);
  });
  Json::Value answer;
  answer["result"] = "Success";
  answer["told"] = Json::Value(Json::arrayValue);
  for (const std::string& line : intake.told) answer["told"].append(line);
  HandOver(intake.bytes, answer, reply);
}

void Api::TakePad(const Request& request, const Reply& reply) {
  const Json::Value page = ParseBody(request);
  std::string address = page["page"].isString() ? page["page"].asString() : std::string();
  TalvoCppUtils::PenId pen(0);
  writer_.Run([&](Keeper& keeper) {
    TalvoCppUtils::PenId::Parse(keeper.OwnPen(), pen);
    if (address.empty()) {
      address = keeper.NextOwnPage();
    } else if (!keeper.IsOwnPage(address)) {
      throw Refusal(422, "page " + address + " is not a page of the pad");
    }
  });
  Json::Value answer;
  answer["page"] = address;
  HandOver(WritePadPage(page, pen.number(), address, NowMs()), answer, reply);
}

void Api::HandOver(const std::string& ink, const Json::Value& answer, const Reply& reply) {
  if (ink.size() > TalvoQuillpost::kMaxImportBytes) {
    throw Refusal(413, "the ink is larger than " +
                           std::to_string(TalvoQuillpost::kMaxImportMebibytes) + " MiB");
  }
  const std::lock_guard<std::mutex> lock(link_mutex_);
  if (link_ == nullptr) return reply(MakeError(503, "the ink service is away"));
  const auto file = std::make_shared<TransitFile>(directory_, ink);
  link_->Import(file->path(), [file, answer, reply](ServiceLink::ImportResult result) {
    reply(ToResponse(result, answer));
  });
}

}  // namespace Inbox
