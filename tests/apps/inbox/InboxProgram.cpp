#include "InboxProgram.h"

#include <signal.h>

#include <stdexcept>

namespace {

std::vector<std::string> Command(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {QUILLPOST_INBOX};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

// No test may show a page in the browser of whoever runs it, or write to their inbox.
Process::Environment Changes(Process::Environment changes) {
  changes.emplace("XDG_DATA_HOME", "");
  return changes;
}

}  // namespace

InboxProgram::InboxProgram(const std::vector<std::string>& arguments,
                           const Process::Environment& changes)
    : process_(std::make_unique<Process>(Command(arguments), Changes(changes))) {
  if (!process_->WaitForOutput("\n")) {
    throw std::runtime_error("the inbox did not start:\n" + process_->error());
  }
  address_ = process_->output().substr(0, process_->output().find('\n'));
  port_ = static_cast<unsigned short>(std::stoi(address_.substr(sizeof "http://127.0.0.1:" - 1)));
}

int InboxProgram::Stop() {
  process_->Signal(SIGTERM);
  return process_->Wait();
}

HttpHeaders InboxProgram::Ours() {
  const std::string host = "127.0.0.1:" + std::to_string(port_);
  if (cookie_.empty()) {
    const HttpAnswer answer =
        HttpPeer(port_).Ask("GET", address_.substr(address_.find("/open")), {{"Host", host}});
    const auto cookie = answer.headers.find("set-cookie");
    if (answer.status != 303 || cookie == answer.headers.end()) {
      throw std::runtime_error("the inbox let nobody in: " + answer.body);
    }
    cookie_ = cookie->second.substr(0, cookie->second.find(';'));
  }
  return {{"Host", host}, {"Cookie", cookie_}};
}

HttpAnswer InboxProgram::Get(const std::string& target) {
  const HttpHeaders headers = Ours();
  return HttpPeer(port_).Ask("GET", target, headers);
}

HttpAnswer InboxProgram::Post(const std::string& target, const std::string& json) {
  HttpHeaders headers = Ours();
  headers["Origin"] = "http://" + headers["Host"];
  headers["Content-Type"] = "application/json";
  return HttpPeer(port_).Ask("POST", target, headers, json);
}

HttpAnswer InboxProgram::Import(const std::string& bytes) {
  HttpHeaders headers = Ours();
  headers["Origin"] = "http://" + headers["Host"];
  headers["Content-Type"] = "application/octet-stream";
  return HttpPeer(port_).Ask("POST", "/api/import?name=ink", headers, bytes);
}

Json::Value InboxProgram::Pages(const std::string& query) {
  return Get("/api/pages?limit=500&" + query).Json()["pages"];
}

bool InboxProgram::WaitForPages(std::size_t count) {
  return Eventually([&] { return Pages().size() == count; });
}

InboxWorld::InboxWorld(const std::string& program) {
  root_.Subscribe("Inbox", "*.*.*.*.*", program);
  StartService();
}

void InboxWorld::StartService() {
  // Its log goes to a file: nobody here reads a pipe, which would be full one day.
  service_ = std::make_unique<Process>(
      std::vector<std::string>{QUILLPOSTD, "--log-file", path("service.log")});
  if (!Eventually([] { return RunToEnd({QUILLPOST, "hello"}).status == 0; })) {
    throw std::runtime_error("the service did not start:\n" + ReadFile(path("service.log")));
  }
}

bool InboxWorld::Import(const std::string& bytes) {
  const std::string file = path("ink-" + std::to_string(++imports_) + ".stf2");
  WriteFile(file, bytes);
  return RunToEnd({QUILLPOST, "import", file}).status == 0;
}

bool InboxWorld::WaitUntilStoreIsEmpty() {
  return Eventually([&] { return HoldsNothing(root_.storage()); });
}
