// A world of its own for one test: a fresh directory that QUILLPOST_ROOT names as long as the
// object lives, and that is removed with all its content afterwards.

#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

class TestRoot {
 public:
  TestRoot();
  ~TestRoot();
  TestRoot(const TestRoot&) = delete;
  TestRoot& operator=(const TestRoot&) = delete;

  const boost::filesystem::path& path() const { return path_; }

  // The service's places in this world. Nothing is made but the endpoint's directory.
  boost::filesystem::path home() const;
  boost::filesystem::path storage() const;
  boost::filesystem::path scratch() const;
  boost::filesystem::path subscriptions() const;

  // Writes a subscription file of the application; makes the directory when missing.
  void Subscribe(const std::string& application, const std::string& page_range,
                 const std::string& program = "/nonexistent/application");

 private:
  boost::filesystem::path path_;
};

// Files as bytes. A missing file reads as empty; directories are made for a written one.
std::string ReadFile(const boost::filesystem::path& path);
void WriteFile(const boost::filesystem::path& path, const std::string& bytes);

// Whether nothing is in the directory, or the directory is not there: somebody else may be making
// and removing it in the meantime.
bool HoldsNothing(const boost::filesystem::path& directory);
