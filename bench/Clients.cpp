#include "Clients.h"

#include <sys/mman.h>

#include <algorithm>
#include <stdexcept>

#include "BenchRoot.h"
#include "Ink.h"

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;

std::string Confirmation(std::size_t id) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
         R"(,"method":"ConfirmInkPackageDelivery","params":{"InkPackagePen":")" + PenSerial(kPen) +
         R"(","InkPackageDelivered":true}})";
}

std::string ImportRequest(const std::filesystem::path& file) {
  return R"({"jsonrpc":"2.0","id":1,"method":"ImportSTF2File","params":{"InkPackagePath":")" +
         file.string() + R"("}})";
}

void ReceiveSuccess(LineSocket& socket) {
  if (socket.Receive().find(R"("Success")") == std::string::npos) {
    throw std::runtime_error("the import was refused");
  }
}

}  // namespace

void InkTaker::Enable(std::size_t application) {
  socket_.Send(R"({"jsonrpc":"2.0","method":"EnableNotifications","params":{"ApplicationID":"app)" +
               std::to_string(application) + R"("}})");
}

void InkTaker::Next() {
  if (taken_ > 0) socket_.Send(Confirmation(taken_));
  while (socket_.Receive().find("NewInkPackage") == std::string::npos) {
  }
  ++taken_;
}

std::unique_ptr<Taker> TakeFromService(std::size_t application) {
  auto taker = std::make_unique<InkTaker>();
  taker->Enable(application);
  return taker;
}

void Import(LineSocket& socket, const std::filesystem::path& file) {
  socket.Send(ImportRequest(file));
  ReceiveSuccess(socket);
}

void ImportAll(LineSocket& socket, const std::vector<std::filesystem::path>& files,
               std::size_t waiting) {
  std::size_t sent = 0;
  for (; sent < std::min(files.size(), waiting); ++sent) {
    socket.Send(ImportRequest(files[sent]));
  }
  for (std::size_t answered = 0; answered < files.size(); ++answered) {
    ReceiveSuccess(socket);
    if (sent < files.size()) socket.Send(ImportRequest(files[sent++]));
  }
}

InkPutter::InkPutter(int fd, const std::filesystem::path& file, std::size_t bytes,
                     std::size_t pages, std::size_t first)
    : socket_(fd), file_(file), bytes_(bytes), pages_(pages), number_(first) {}

void InkPutter::Put() {
  WriteInk(file_, bytes_, 1, number_ % pages_, kImportTimeMs + number_ * 60000);
  ++number_;
  Import(socket_, file_);
}

SharedTimes::SharedTimes(std::size_t count)
    : count_(count),
      bytes_((count + 1) * sizeof(double)),
      times_(static_cast<double*>(
          ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}

SharedTimes::~SharedTimes() {
  ::munmap(times_, bytes_);
}

std::atomic<std::size_t>& SharedTimes::count() const {
  return *reinterpret_cast<std::atomic<std::size_t>*>(times_ + count_);
}

}  // namespace bench
