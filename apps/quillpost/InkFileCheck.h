// Whether the service would import a file, and what is in it. The service answers a refusal without
// a reason, since a client can see most reasons for itself: this is how it looks.

#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

struct InkFileCheck {
  std::string fault;        // why the service refuses the file, or a page of it; empty for good ink
  bool is_inkml = false;    // the fault is that it is InkML
  bool is_damaged = false;  // the fault is that it begins as ink, plain or sealed, and is not whole

  // Of ink, also if a page of it has a fault.
  std::string pen;         // its serial
  bool is_sealed = false;  // then its strokes can't be counted
  std::uint64_t strokes = 0;
  std::map<std::string, std::uint64_t> pages;  // strokes by page address; sealed ink: its one page
};

// Reads the whole file, which may be anything; a FIFO is not waited for. The reason is the system's
// or one of ink: "the file is larger than 100 MiB".
InkFileCheck CheckInkFile(const boost::filesystem::path& file);

// The same of bytes.
InkFileCheck CheckInk(const char* data, std::size_t size_bytes);

// Whether somebody has the file open for writing. False also if the file system can't tell.
bool IsBeingWritten(const boost::filesystem::path& file);
