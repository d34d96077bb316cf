// The road of some ink through a real service and back out of it, in a world of its own, with one
// application. The service may be ended and started again, and told to let a call fail
// (FailingCalls.cpp). Needs the programs' places, QUILLPOSTD and FAILING_CALLS.

#pragma once

#include <TalvoQuillpost/Protocol.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <memory>
#include <set>
#include <string>

#include "faults/KilledService.h"
#include "faults/Ledger.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

// Ink of one pen on two pages, and the identities of its two stroke files.
inline std::string TwoPages(std::uint64_t time_ms, std::uint64_t pen = kTestPen) {
  return InkFile(pen).AddStroke("1.2.3.4", time_ms).AddStroke("1.2.3.5", time_ms).bytes();
}

inline std::set<std::string> InksOf(std::uint64_t time_ms,
                                    const std::string& pen = kTestPenSerial) {
  std::set<std::string> inks;
  for (const char* page : {"1.2.3.4", "1.2.3.5"}) {
    inks.insert(pen + "/" + page + "@" + std::to_string(time_ms));
  }
  return inks;
}

class Road {
 public:
  Road() {
    root_.Subscribe("Notes", "1.2.*.*");
    WriteFile(root_.scratch() / "stf2.abcdef", "left by a killed service");
  }

  TestRoot& root() { return root_; }
  // "NAME PATH" of the call that failed; empty if none has.
  std::string fault() const { return ReadFile(root_.path() / "fault"); }
  const std::multiset<std::string>& received() const { return received_; }
  std::string log() const { return ReadFile(root_.path() / "log"); }

  // Starts a service, whose call of that number fails, 0 for none; false if it does not start.
  bool Start(int call = 0, const std::string& failure = "") {
    if (call == 0) return StartIn({});
    return StartWith({{"QUILLPOST_FAIL_CALL", std::to_string(call)},
                      {"QUILLPOST_FAIL_WITH", failure},
                      {"QUILLPOST_FAIL_REPORT", (root_.path() / "fault").string()}});
  }

  // The same with what FailingCalls.cpp reads.
  bool StartWith(Process::Environment failing) {
    failing["LD_PRELOAD"] = FAILING_CALLS;
    return StartIn(failing);
  }

  // Ends the service if it has not ended; its exit status.
  int Stop() { return service_->Stop(); }

  // Whether it answers.
  bool IsServing() {
    WireClient client(IPC::Protocol::Quillpost::GetEndpoint());
    return client.Request("Hello") == "Success";
  }

  // The answer to the import of TwoPages.
  std::string Import(std::uint64_t time_ms, std::uint64_t pen = kTestPen) {
    const std::string file = (root_.path() / "in.stf2").string();
    WriteFile(file, TwoPages(time_ms, pen));
    return ImportFile(file);
  }

  std::string ImportFile(const std::string& file) {
    WireClient client(IPC::Protocol::Quillpost::GetEndpoint());
    return client.Request("ImportSTF2File", Params({{"InkPackagePath", file}}));
  }

  // Takes and confirms what is offered until all of `inks` has come, and, if it is asked for, is
  // gone from the store; or until nothing more comes for so long. Leaves when the confirmations
  // have been carried out: the service drops those that still wait when an application leaves.
  enum class Until { kReceived, kStoreIsEmpty };
  void Receive(const std::set<std::string>& inks, std::chrono::seconds patience = kPatience,
               Until until = Until::kStoreIsEmpty) {
    WireClient client(IPC::Protocol::Quillpost::GetEndpoint());
    const Json::Value application = Params({{"ApplicationID", "Notes"}});
    if (client.Request("EnableNotifications", application) != "Success") return;
    const auto is_done = [&] {
      return until == Until::kReceived ? HasReceived(inks) : IsDone(inks);
    };
    std::set<boost::filesystem::path> confirmed;
    auto end = std::chrono::steady_clock::now() + patience;
    while (!is_done() && std::chrono::steady_clock::now() < end) {
      if (!client.HasNotification(5)) continue;
      const Json::Value package = client.WaitForNotification();
      const std::string pen = package["InkPackagePen"].asString();
      const boost::filesystem::path file = package["InkPackagePath"].asString();
      received_.insert(IdentityOf(pen, ReadFile(file)));
      client.Request("ConfirmInkPackageDelivery",
                     Params({{"InkPackagePen", pen}, {"InkPackageDelivered", true}}));
      confirmed.insert(file);
      end = std::chrono::steady_clock::now() + patience;
    }
    const auto is_gone = [](const auto& file) { return !boost::filesystem::exists(file); };
    Eventually([&] { return std::all_of(confirmed.begin(), confirmed.end(), is_gone); }, patience);
    client.Request("DisableNotifications", application);
  }

  bool IsDone(const std::set<std::string>& inks) const {
    return HasReceived(inks) && IsStoreEmpty();
  }

  bool IsStoreEmpty() const { return HoldsNothing(root_.storage()); }

  bool HasReceived(const std::set<std::string>& inks) const {
    for (const std::string& ink : inks) {
      if (received_.count(ink) == 0) return false;
    }
    return true;
  }

 private:
  bool StartIn(const Process::Environment& environment) {
    service_ =
        std::make_unique<KilledService>(QUILLPOSTD, (root_.path() / "log").string(), environment);
    return service_->WaitUntilServing();
  }

  TestRoot root_;
  std::unique_ptr<KilledService> service_;
  std::multiset<std::string> received_;
};
