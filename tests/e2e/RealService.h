// A service of its own, with the programs that a user has for it.

#pragma once

#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem.hpp>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/Process.h"
#include "support/TestRoot.h"

class RealService {
 public:
  RealService() { StartService(); }

  void StartService() {
    daemon_ = std::make_unique<Daemon>(QUILLPOSTD, std::vector<std::string>{"--log-level", "4"});
  }

  TestRoot& root() { return root_; }
  Daemon& daemon() { return *daemon_; }
  std::string path(const std::string& name) const { return (root_.path() / name).string(); }

  static std::string Endpoint() { return IPC::Protocol::Quillpost::GetEndpoint(); }

  // Has the bytes imported from a file; the exit status of the import.
  int Import(const std::string& bytes) {
    const std::string file = path("ink-" + std::to_string(++imports_) + ".stf2");
    WriteFile(file, bytes);
    return RunToEnd({QUILLPOST, "import", file}).status;
  }

  // Receives `count` packages as the application, into the directory of its name; the bytes of
  // them, in the order of their names.
  std::vector<std::string> Receive(const std::string& application, int count) {
    const Finished listen = RunToEnd({QUILLPOST, "listen", application, "--count",
                                      std::to_string(count), "--save", path(application)});
    if (listen.status != 0) throw std::runtime_error(listen.error);
    return Received(application);
  }

  std::vector<std::string> Received(const std::string& application) const {
    std::set<boost::filesystem::path> files;
    if (boost::filesystem::exists(path(application))) {
      for (const auto& entry : boost::filesystem::directory_iterator(path(application))) {
        if (entry.path().filename().native().front() != '.') files.insert(entry.path());
      }
    }
    std::vector<std::string> packages;
    for (const auto& file : files) packages.push_back(ReadFile(file));
    return packages;
  }

  // The strokes in all packages that an application has saved.
  std::vector<StrokeInInk> ReceivedStrokes(const std::string& application) const {
    std::vector<StrokeInInk> strokes;
    for (const std::string& package : Received(application)) {
      for (const StrokeInInk& stroke : StrokesOf(package)) strokes.push_back(stroke);
    }
    return strokes;
  }

  bool IsStoreEmpty() const {
    return !boost::filesystem::exists(root_.storage()) ||
           boost::filesystem::is_empty(root_.storage());
  }

  bool IsScratchEmpty() const {
    return !boost::filesystem::exists(root_.scratch()) ||
           boost::filesystem::is_empty(root_.scratch());
  }

 private:
  TestRoot root_;
  std::unique_ptr<Daemon> daemon_;
  int imports_ = 0;
};
