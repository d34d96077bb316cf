#include "Floors.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

namespace fs = std::filesystem;

namespace bench {

namespace {

void WriteNew(const fs::path& path, const char* data, std::size_t bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0 || ::write(fd, data, bytes) != static_cast<ssize_t>(bytes)) {
    throw std::runtime_error("can't write " + path.string());
  }
  ::close(fd);
}

void CopyToPackage(const fs::path& stroke, const fs::path& package) {
  static char buffer[64 * 1024];
  const int from = ::open(stroke.c_str(), O_RDONLY | O_CLOEXEC);
  const int to = ::open(package.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (from < 0 || to < 0) throw std::runtime_error("can't copy " + stroke.string());
  for (ssize_t got; (got = ::read(from, buffer, sizeof buffer)) > 0;) {
    if (::write(to, buffer, static_cast<std::size_t>(got)) != got) {
      throw std::runtime_error("can't write " + package.string());
    }
  }
  ::close(from);
  ::close(to);
}

}  // namespace

const char* const kImportReply =
    R"({"jsonrpc":"2.0","id":1,"result":{"status":"Success","result":null}})";

std::string PathOfImport(const std::string& request) {
  static const std::string key = R"("InkPackagePath":")";
  const std::size_t start = request.find(key) + key.size();
  return request.substr(start, request.find('"', start) - start);
}

std::vector<std::string> List(const std::string& directory) {
  std::vector<std::string> names;
  DIR* const stream = ::opendir(directory.c_str());
  if (stream == nullptr) throw std::runtime_error("can't list " + directory);
  while (const dirent* const entry = ::readdir(stream)) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  ::closedir(stream);
  return names;
}

void CopyToNewFiles(const fs::path& source, const fs::path& prefix, std::size_t count) {
  const int fd = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  ::fstat(fd, &status);
  const auto bytes = static_cast<std::size_t>(status.st_size);
  void* const data = ::mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, fd, 0);
  ::close(fd);
  if (data == MAP_FAILED) throw std::runtime_error("can't map " + source.string());
  const std::size_t share = bytes / count;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t end = i + 1 == count ? bytes : (i + 1) * share;
    WriteNew(prefix.string() + std::to_string(i), static_cast<const char*>(data) + i * share,
             end - i * share);
  }
  ::munmap(data, bytes);
}

void ServeImports(LineSocket& socket, const fs::path& prefix) {
  for (std::size_t i = 0; !socket.AtEnd(); ++i) {
    CopyToNewFiles(PathOfImport(socket.Receive()), prefix.string() + std::to_string(i) + ".", 1);
    socket.Send(kImportReply);
  }
}

void ServeDeliveries(LineSocket& socket, const BenchRoot& root,
                     const std::vector<fs::path>& strokes, std::size_t packages) {
  const fs::path package = root.scratch() / "package";
  const fs::path marks = root.storage() / "marks";
  const int fd = ::open(marks.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  for (std::size_t i = 0; i <= packages; ++i) {
    CopyToPackage(strokes[i], package);
    socket.Send(R"({"jsonrpc":"2.0","method":"NewInkPackage","params":{"InkPackagePath":")" +
                package.string() + R"(","InkPackagePages":["1.2.3.4"],"InkPackagePen":")" +
                PenSerial(1) + R"(","InkPackageType":"STF2"}})");
    if (i < packages) socket.Receive();
    ::unlink(package.c_str());
    if (::pwrite(fd, "1", 1, static_cast<off_t>(i)) != 1) throw std::runtime_error("can't write");
  }
  ::close(fd);
}

}  // namespace bench
