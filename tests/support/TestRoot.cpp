#include "support/TestRoot.h"

#include <stdlib.h>

#include <TalvoOS/Root.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = boost::filesystem;

TestRoot::TestRoot() {
  char name[] = "/tmp/qp.XXXXXX";  // short: a socket's path has little room
  if (::mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = name;
  ::setenv("QUILLPOST_ROOT", name, 1);
  fs::create_directories(path_ / "var/tmp");
}

TestRoot::~TestRoot() {
  ::unsetenv("QUILLPOST_ROOT");
  boost::system::error_code ignored;
  fs::remove_all(path_, ignored);
}

fs::path TestRoot::home() const {
  fs::path home;
  if (!TalvoOS::GetHomeDirectory(home)) throw std::runtime_error("this user has no home");
  return home;
}

fs::path TestRoot::storage() const {
  return home() / "Library/Application Support/Talvo/Quillpost/Storage";
}

fs::path TestRoot::scratch() const {
  return home() / "Library/Application Support/Talvo/Quillpost/Temp";
}

fs::path TestRoot::subscriptions() const {
  return path_ / "Library/Preferences/Talvo/Quillpost/Subscriptions";
}

void TestRoot::Subscribe(const std::string& application, const std::string& page_range,
                         const std::string& program) {
  WriteFile(subscriptions() / application, R"({"Path":")" + program +
                                               R"(","Title":"A test","PageAddresses":[")" +
                                               page_range + R"("]})");
}

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path.string(), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream out(path.string(), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error("can't write " + path.string());
}

bool HoldsNothing(const fs::path& directory) {
  boost::system::error_code error;
  const fs::directory_iterator content(directory, error);
  if (error) return error == boost::system::errc::no_such_file_or_directory;
  return content == fs::directory_iterator();
}
