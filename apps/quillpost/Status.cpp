#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/exception.hpp>
#include <cstdio>

#include "Commands.h"
#include "Output.h"
#include "Session.h"
#include "StoreReport.h"

using namespace IPC::Protocol;

namespace {

struct ServiceReport {
  bool up = false;
  std::string version;
  std::string reason;  // why it is not up
};

ServiceReport AskService() {
  ServiceReport service;
  const IPC::Client::Reply reply = SayHello();
  service.up = static_cast<bool>(reply);
  service.reason = reply.message;
  if (reply && reply.result.isObject()) {
    service.version = reply.result[Quillpost::Argument::ServerVersion].asString();
  }
  return service;
}

Json::Value ToJson(const StoreReport::Page& sum) {
  Json::Value value;
  value["files"] = Json::UInt64(sum.files);
  value["strokes"] = Json::UInt64(sum.strokes);
  value["bytes"] = Json::UInt64(sum.bytes);
  return value;
}

Json::Value PensToJson(const StoreReport& store) {
  Json::Value pens(Json::arrayValue);
  for (const auto& pen : store.pens) {
    Json::Value entry = ToJson(store.Of(pen.first));
    entry["pen"] = pen.first;
    entry["pages"] = Json::Value(Json::arrayValue);
    for (const auto& page : pen.second) {
      Json::Value page_entry = ToJson(page.second);
      page_entry["page"] = page.first;
      entry["pages"].append(page_entry);
    }
    pens.append(entry);
  }
  return pens;
}

Json::Value ApplicationsToJson(const StoreReport& store) {
  Json::Value applications(Json::arrayValue);
  for (const auto& application : store.applications) {
    Json::Value entry;
    entry["application"] = application.first;
    entry["title"] = application.second.title;
    entry["subscribed"] = application.second.subscribed;
    if (!application.second.obstacle.empty()) entry["obstacle"] = application.second.obstacle;
    entry["claimed"] = Json::UInt64(application.second.claimed);
    entry["delivered"] = Json::UInt64(application.second.delivered);
    entry["processed"] = Json::UInt64(application.second.processed);
    applications.append(entry);
  }
  return applications;
}

void PrintAsJson(const ServiceReport& service, const StoreReport& store) {
  Json::Value document;
  document["service"]["up"] = service.up;
  document["service"]["endpoint"] = Quillpost::GetEndpoint();
  if (service.up) document["service"]["version"] = service.version;
  if (!service.up) document["service"]["reason"] = service.reason;
  document["store"] = ToJson(store.Total());
  document["store"]["root"] = store.root;
  document["store"]["pens"] = Json::UInt64(store.pens.size());
  document["store"]["pages"] = Json::UInt64(store.PageCount());
  document["store"]["unclaimed"] = Json::UInt64(store.unclaimed);
  document["store"]["unrouted"] = Json::UInt64(store.unrouted);
  document["pens"] = PensToJson(store);
  document["applications"] = ApplicationsToJson(store);
  document["problems"] = Json::Value(Json::arrayValue);
  for (const std::string& problem : store.problems) document["problems"].append(problem);
  PrintJson(document);
}

void PrintSummary(const ServiceReport& service, const StoreReport& store) {
  PrintLine(service.up ? "service      up, version " + Printable(service.version) + ", at " +
                             Quillpost::GetEndpoint()
                       : "service      not up: " + Printable(service.reason));
  const StoreReport::Page total = store.Total();
  std::string line = "store        ";
  if (store.pens.empty()) {
    line += "empty";
  } else {
    line += FormatCount(store.pens.size(), "pen") + ", " + FormatCount(store.PageCount(), "page") +
            ", " + FormatCount(total.files, "file") + " with " +
            FormatCount(total.strokes, "stroke") + ", " + FormatBytes(total.bytes);
  }
  if (!store.root.empty()) line += ", in " + store.root;
  PrintLine(Printable(line));
  if (store.unclaimed > 0) {
    PrintLine("unclaimed    " + FormatCount(store.unclaimed, "file") +
              " of pages that no application has subscribed to");
  }
  if (store.unrouted > 0) {
    PrintLine("new          " + FormatCount(store.unrouted, "file") +
              (service.up ? " that the service is about to take up"
                          : " that the service takes up when it starts"));
  }
}

void PrintPens(const StoreReport& store) {
  if (store.pens.empty()) return;
  std::printf("\n%-24s %8s %8s %8s %12s\n", "pen", "pages", "files", "strokes", "bytes");
  for (const auto& pen : store.pens) {
    const StoreReport::Page sum = store.Of(pen.first);
    std::printf("%-24s %8zu %8llu %8llu %12llu\n", Printable(pen.first).c_str(), pen.second.size(),
                static_cast<unsigned long long>(sum.files),
                static_cast<unsigned long long>(sum.strokes),
                static_cast<unsigned long long>(sum.bytes));
  }
}

void PrintApplications(const StoreReport& store) {
  if (store.applications.empty()) return;
  std::printf("\n%-24s %8s %10s %10s  (files)\n", "application", "claimed", "delivered",
              "processed");
  for (const auto& application : store.applications) {
    const StoreReport::Application& marks = application.second;
    std::string remark = marks.subscribed ? "" : "  no subscription any more";
    if (!marks.obstacle.empty()) remark = "  can't be launched: " + marks.obstacle;
    std::printf("%-24s %8llu %10llu %10llu%s\n", Printable(application.first).c_str(),
                static_cast<unsigned long long>(marks.claimed),
                static_cast<unsigned long long>(marks.delivered),
                static_cast<unsigned long long>(marks.processed), Printable(remark).c_str());
  }
}

void PrintProblems(const StoreReport& store) {
  if (store.problems.empty()) return;
  PrintLine("\nproblems");
  for (const std::string& problem : store.problems) PrintLine("  " + Printable(problem));
}

}  // namespace

int Status(bool json) {
  StoreReport store;
  try {
    store = ReadStore();
  } catch (const boost::filesystem::filesystem_error& error) {
    Complain(std::string("the store can't be read: ") + error.what());
    return kRefused;
  }
  const ServiceReport service = AskService();
  if (json) {
    PrintAsJson(service, store);
  } else {
    PrintSummary(service, store);
    PrintPens(store);
    PrintApplications(store);
    PrintProblems(store);
  }
  return store.problems.empty() ? kDone : kRefused;
}
