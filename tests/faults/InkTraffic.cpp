#include "faults/InkTraffic.h"

#include <TalvoQuillpost/Protocol.h>
#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "support/InkFile.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

namespace {

constexpr int kParcelsOfARound = 200;
constexpr int kPens = 3;
constexpr std::uint64_t kFirstPen = 1;

// Ink that takes more than one block of a disk.
std::vector<Stf2Sample> LongWave() {
  return std::vector<Stf2Sample>(2000,
                                 {1, 0, 0, 500, STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME});
}

std::string Endpoint() {
  return IPC::Protocol::Quillpost::GetEndpoint();
}

// The bytes of a package. Throws if the system can't read it: its power has gone.
std::string ReadPackage(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("can't open a package");
  std::string bytes;
  char buffer[65536];
  ssize_t got;
  while ((got = ::read(fd, buffer, sizeof buffer)) > 0) {
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(fd);
  if (got < 0) throw std::runtime_error("can't read a package");
  return bytes;
}

}  // namespace

Parcel ParcelMaker::Make(int pages, std::uint64_t pen) {
  Parcel parcel;
  InkFile whole(pen);
  for (int i = 0; i < pages; ++i) {
    const std::uint64_t time_ms = ++last_time_ms_;
    const std::string page = "1." + std::to_string(1 + i % 2) + ".3." + std::to_string(i);
    InkFile part(pen);
    for (InkFile* ink : {&whole, &part}) {
      if (time_ms % 7 == 0) {
        ink->AddStroke(page.c_str(), time_ms, LongWave());
      } else {
        ink->AddStroke(page.c_str(), time_ms);
      }
    }
    parcel.strokes.push_back(part.bytes());
  }
  parcel.file = whole.bytes();
  return parcel;
}

InkTraffic::InkTraffic(Load load, bool has_reader, const boost::filesystem::path& files,
                       ParcelMaker& maker, InkAccount& account)
    : load_(load), files_(files), maker_(maker), account_(account) {
  bringer_ = std::thread([this] { Bring(); });
  if (!has_reader) return;
  reader_ = std::thread([this] { ReadInk(kReader, "1.1.", account_, is_over_); });
}

InkTraffic::~InkTraffic() {
  bringer_.join();
  if (reader_.joinable()) reader_.join();
}

// Ends when the service does; what it had answered before is read to the last reply.
void InkTraffic::Bring() {
  try {
    WireClient client(Endpoint());
    try {
      while (true) BringRound(client);
    } catch (const std::runtime_error&) {
      while (!pending_.empty()) TakeReply(client);
    }
  } catch (const std::runtime_error&) {
  }
}

void InkTraffic::BringRound(WireClient& client) {
  const std::size_t in_flight = load_ == Load::kPipelined ? kParcelsOfARound : 1;
  while (pending_.size() < in_flight) {
    Parcel parcel = NextParcel();
    const auto file = files_ / std::to_string(parcels_ % kParcelsOfARound);
    WriteFile(file, parcel.file);
    account_.Sent(parcel);
    const int request = client.Send("ImportSTF2File", Params({{"InkPackagePath", file.string()}}));
    pending_.push_back({request, std::move(parcel)});
  }
  while (!pending_.empty()) TakeReply(client);
}

void InkTraffic::TakeReply(WireClient& client) {
  const Pending pending = std::move(pending_.front());
  pending_.pop_front();
  const Json::Value reply = client.WaitForReply(pending.request);
  if (reply["result"]["status"].asString() == "Success") account_.Answered(pending.parcel);
  ++replies_;
}

Parcel InkTraffic::NextParcel() {
  ++parcels_;
  const bool is_new = parcels_ % 4 == 0;
  const std::uint64_t pen = is_new ? maker_.NewPen() : kFirstPen + parcels_ % kPens;
  if (load_ == Load::kHundredPages) return maker_.Make(100, pen);
  return maker_.Make(1 + parcels_ % 2, pen);
}

void ReadInk(const std::string& application, const std::string& sole, InkAccount& account,
             const std::atomic<bool>& is_over) {
  try {
    WireClient client(Endpoint());
    client.Request("EnableNotifications", Params({{"ApplicationID", application}}));
    while (!client.has_ended() && !is_over) {
      if (!client.HasNotification(5)) continue;
      const Json::Value package = client.WaitForNotification();
      const std::string bytes = ReadPackage(package["InkPackagePath"].asString());
      if (!account.Offered(bytes)) return;
      const std::string page = package["InkPackagePages"][0].asString();
      if (page.compare(0, sole.size(), sole) == 0) account.Confirmed(bytes);
      client.Request(
          "ConfirmInkPackageDelivery",
          Params({{"InkPackagePen", package["InkPackagePen"]}, {"InkPackageDelivered", true}}));
    }
  } catch (const std::runtime_error&) {
  }
}
