#include "faults/Crowd.h"

#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>

#include "support/InkFile.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;

namespace {

constexpr std::uint64_t kPens[] = {kTestPen, 2, 0xFEDCBA9876543210};
constexpr char kFickleSubscription[] =
    R"({"Path":"/nonexistent/fickle","Title":"","PageAddresses":["1.*.*.*"]})";

// A number from 0 to below `end`.
int Draw(Crowd::Random& random, int end) {
  return static_cast<int>(random() % static_cast<std::uint64_t>(end));
}

// A file to import, and the inks that packages of it will hold.
struct Sheet {
  std::string bytes;
  std::set<std::string> inks;
};

std::string PartIdentity(const std::string& pen, const std::string& page, std::uint64_t time_ms) {
  return pen + "/" + page + "@" + std::to_string(time_ms) + "," + page + "@" +
         std::to_string(time_ms + 10);
}

// Ink of one to four pages, sometimes with much on them, or sealed. `time_ms` is nobody else's.
Sheet MakeSheet(const std::string& shelf, std::uint64_t time_ms, Crowd::Random& random) {
  static const std::string kSerials[] = {kTestPenSerial, "0000-0000-0000-0002",
                                         "FEDC-BA98-7654-3210"};
  const int pen = Draw(random, 3);
  InkFile ink(kPens[pen]);
  Sheet sheet;
  const int pages = 1 + Draw(random, 4);
  const std::vector<Stf2Sample> wave(Draw(random, 8) == 0 ? 4000 : 4,
                                     {1, 0, 0, 500, STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME});
  for (int i = 0; i < pages; ++i) {
    const std::string page = "1." + std::to_string(1 + i % 2) + "." + shelf + "." +
                             std::to_string(time_ms / 1000 % 10 * 10 + i);
    ink.AddStroke(page.c_str(), time_ms, wave).AddStroke(page.c_str(), time_ms + 10, wave);
    sheet.inks.insert(PartIdentity(kSerials[pen], page, time_ms));
  }
  sheet.bytes = ink.bytes();
  if (Draw(random, 6) == 0) {
    sheet.bytes = Seal(sheet.bytes);
    sheet.inks = {IdentityOf(kSerials[pen], sheet.bytes)};
  }
  return sheet;
}

std::string Endpoint() {
  return IPC::Protocol::Quillpost::GetEndpoint();
}

}  // namespace

Crowd::Crowd(TestRoot& root, Ledger& ledger, std::uint64_t seed, const Numbers& numbers)
    : root_(root), ledger_(ledger), numbers_(numbers) {
  WriteFile(root.subscriptions() / "Archive",
            R"({"Path":"/nonexistent/archive","Title":"","PageAddresses":["1.*.*.*",)"
            R"("encrypted-stf2"]})");
  root.Subscribe("Notes", "1.2.*.*");
  fs::create_directories(root.path() / "in");
  for (int i = 1; i <= numbers.importers; ++i) {
    Add(std::to_string(i), &Crowd::Import, false, ++seed);
  }
  for (const char* name : {"Archive", "Notes", "Fickle"}) Add(name, &Crowd::Receive, true, ++seed);
  for (int i = 0; i < numbers.strangers; ++i) Add("", &Crowd::Disturb, false, ++seed);
}

Crowd::~Crowd() {
  Join();
}

bool Crowd::Claims(const std::string& application, const std::string& ink) {
  return application == "Archive" || ink.find("/1.2.") != std::string::npos;
}

void Crowd::ChangeSubscription(bool is_subscribed) {
  const fs::path file = root_.subscriptions() / "Fickle";
  if (is_subscribed) {
    WriteFile(file, kFickleSubscription);
  } else {
    fs::remove(file);
  }
}

void Crowd::CalmDown() {
  is_calm_ = true;
}

void Crowd::Join() {
  is_calm_ = true;
  has_ended_ = true;
  changed_.notify_all();
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

std::chrono::microseconds Crowd::slowest_answer() const {
  return std::chrono::microseconds(slowest_us_);
}

// Visits the service again and again; a visit that loses it ends with an exception.
void Crowd::Add(const std::string& name, Visit visit, bool stays_when_calm, std::uint64_t seed) {
  threads_.emplace_back([this, name, visit, stays_when_calm, seed] {
    Random random(seed);
    while (!has_ended_ && (stays_when_calm || !is_calm_)) {
      try {
        (this->*visit)(name, random);
      } catch (const std::runtime_error&) {
      }
      Pause();
    }
  });
}

void Crowd::Pause() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(2), [this] { return has_ended_.load(); });
}

std::string Crowd::Ask(WireClient& client, const std::string& method, const Json::Value& params) {
  const auto begin = std::chrono::steady_clock::now();
  const std::string status = client.Request(method, params);
  const auto taken = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - begin);
  const auto taken_us = static_cast<std::uint64_t>(taken.count());
  std::uint64_t slowest = slowest_us_;
  while (taken_us > slowest && !slowest_us_.compare_exchange_weak(slowest, taken_us)) {
  }
  return status;
}

void Crowd::Import(const std::string& name, Random& random) {
  WireClient client(Endpoint());
  while (!is_calm_) {
    if (ledger_.Backlog("Archive") > numbers_.max_backlog) return;
    const Sheet sheet = MakeSheet(name, last_time_ms_ += 100, random);
    const fs::path file = root_.path() / "in" / name;
    WriteFile(file, sheet.bytes);
    ledger_.Sent(sheet.inks);
    try {
      const std::string status =
          Ask(client, "ImportSTF2File", Params({{"InkPackagePath", file.string()}}));
      if (status.empty()) throw std::runtime_error("refused");
      ledger_.Answered(sheet.inks, status);
    } catch (const std::runtime_error&) {
      ledger_.Unanswered();
      throw;
    }
  }
}

void Crowd::Receive(const std::string& name, Random& random) {
  WireClient client(Endpoint());
  const Json::Value application = Params({{"ApplicationID", name}});
  if (Ask(client, "EnableNotifications", application) != "Success") return;
  Ledger::Session& session = ledger_.Open(name, client.service());
  while (!has_ended_ && !client.has_ended()) {
    if (client.HasNotification(20) && !Take(client, session, name, random)) return;
  }
}

// Takes one package; false if the application goes.
bool Crowd::Take(WireClient& client, Ledger::Session& session, const std::string& name,
                 Random& random) {
  const Json::Value package = client.WaitForNotification();
  const std::string pen = package["InkPackagePen"].asString();
  const std::string path = package["InkPackagePath"].asString();
  const std::string ink = IdentityOf(pen, ReadFile(path));
  if (!fs::exists(path)) return false;  // the service has gone, and the next has cleared its files
  session.Offer(pen, ink);
  const int mood = is_calm_ ? 0 : Draw(random, 100);
  if (mood >= 96) return false;
  if (mood >= 93) {
    Ask(client, "DisableNotifications", Params({{"ApplicationID", name}}));
    return false;
  }
  const bool delivered = mood < 85;
  Json::Value ignored(Json::arrayValue);
  if (name != "Archive" && mood >= 70) ignored = package["InkPackagePages"];
  if (delivered) ledger_.Received(name, ink);
  session.Confirm(pen, ink, delivered);
  Ask(client, "ConfirmInkPackageDelivery",
      Params({{"InkPackagePen", pen},
              {"InkPackageDelivered", delivered},
              {"IgnoredPageAddresses", ignored}}));
  return true;
}

void Crowd::Disturb(const std::string&, Random& random) {
  WireClient client(Endpoint());
  switch (Draw(random, 8)) {
    case 0:
      client.SendBytes(std::string(2000000, 'x'));
      break;
    case 1:
      client.SendBytes(std::string(5000, '[') + "\n");
      break;
    case 2:
      client.SendBytes("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Import");
      break;
    case 3: {
      for (int i = 0; i < 300; ++i) client.Send("Hello");
      break;  // and reads none of the answers
    }
    case 4: {
      for (const char* name : {"../Archive", "Archive", "/etc/passwd", ".", "Notes"}) {
        client.Send("DisableNotifications", Params({{"ApplicationID", std::string(name) + "/"}}));
        client.Send("EnableNotifications", Params({{"ApplicationID", std::string("/") + name}}));
      }
      client.Request("Hello");
      break;
    }
    case 5: {
      for (const char* path : {"/", "/dev/zero", "", "/proc/self/mem", "../../x", "/nonexistent"}) {
        client.Request("ImportSTF2File", Params({{"InkPackagePath", path}}));
      }
      break;
    }
    case 6: {
      for (const char* pen : {"", "..", kTestPenSerial}) {
        client.Request("ConfirmInkPackageDelivery",
                       Params({{"InkPackagePen", pen}, {"InkPackageDelivered", true}}));
      }
      break;
    }
    default: {
      std::string noise(300, '\0');
      for (char& byte : noise) byte = static_cast<char>(random());
      client.SendBytes(noise + "\n" + noise);
      client.HalfClose();
      client.WaitForEnd();
    }
  }
}
