// A complete ink application: subscribes, takes every package, reads its strokes, confirms it.
#include <IPC/Client.h>
#include <Stf2.h>
#include <TalvoQuillpost/Protocol.h>

#include <fstream>
#include <iostream>
#include <iterator>

using namespace IPC::Protocol::Quillpost;

// Prints each stroke; false if the file is sealed or not ink.
bool ReadStrokes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  InkDataHandle* ink = nullptr;
  if (Stf2InkDataInitialize(bytes.data(), bytes.size(), &ink) != STF2_SUCCESS) return false;
  InkItemHandle** items = nullptr;
  uint32_t count = 0, samples = 0;
  Stf2InkDataGetItems(ink, &items, &count);
  for (uint32_t i = 0; i < count; ++i) {
    const Stf2Sample* sample = nullptr;  // in place; only strokes have some
    if (Stf2StrokeItemViewSamples(items[i], &sample, &samples) == STF2_SUCCESS && samples > 0)
      std::cout << "  stroke of " << samples << " samples, from x = " << sample->x_um << " um"
                << std::endl;
    Stf2InkItemFreeHandle(&items[i]);
  }
  Stf2InkItemFreeHandles(&items);
  return Stf2InkDataFreeHandle(&ink) == STF2_SUCCESS;
}

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: ink_listener APPLICATION-ID\n", 2;
  boost::asio::io_service queue;  // the callbacks run in main
  boost::asio::io_service::work keep_running(queue);
  IPC::Client::Options options;
  options.callback_queue = &queue;
  options.on_disconnected = [&](const IPC::Client::Outcome&) { queue.stop(); };
  IPC::Client* service;
  options.on_notification = [&](const std::string&, const Json::Value& package) {
    std::cout << "ink of pen " << package[Argument::InkPackagePen].asString() << std::endl;
    Json::Value answer = package;                  // which pen's package this is about
    answer[Argument::InkPackageDelivered] = true;  // false would bring the same package again
    if (!ReadStrokes(package[Argument::InkPackagePath].asString()))
      answer[Argument::IgnoredPageAddresses] = package[Argument::InkPackagePages];
    service->Request(Command::ConfirmInkPackageDelivery, answer);
  };
  IPC::Client client(options);
  service = &client;
  if (auto outcome = client.Connect(GetEndpoint()); !outcome)
    return std::cerr << outcome.message << "\n", 3;
  Json::Value params;
  params[Argument::ApplicationID] = argv[1];
  const auto reply = client.Request(Command::EnableNotifications, params);
  if (reply.status != "Success") return std::cerr << reply.status << reply.message << "\n", 1;
  queue.run();  // until the service ends
}
