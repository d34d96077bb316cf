#include "faults/InkAccount.h"

#include <boost/filesystem.hpp>

#include "support/InkFile.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;

namespace {

// Ink as a message names it.
std::string Describe(const std::string& bytes) {
  std::string description = std::to_string(bytes.size()) + " bytes";
  try {
    for (const StrokeInInk& stroke : StrokesOf(bytes)) {
      description += ", " + stroke.page + "@" + std::to_string(stroke.start_time_ms);
    }
  } catch (const std::runtime_error&) {
    description += ", no plain ink";
  }
  return description;
}

// What a directory holds that begins with no dot; nothing if it has gone.
std::vector<fs::path> ListVisible(const fs::path& directory) {
  std::vector<fs::path> entries;
  boost::system::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().filename().string().front() != '.') entries.push_back(entry->path());
  }
  return entries;
}

}  // namespace

std::vector<fs::path> ListStrokeFiles(const fs::path& store) {
  std::vector<fs::path> files;
  for (const fs::path& pen : ListVisible(store)) {
    for (const fs::path& page : ListVisible(pen)) {
      for (const fs::path& file : ListVisible(page)) files.push_back(file);
    }
  }
  return files;
}

bool HoldsStrokeFiles(const fs::path& store) {
  for (const fs::path& pen : ListVisible(store)) {
    for (const fs::path& page : ListVisible(pen)) {
      if (!ListVisible(page).empty()) return true;
    }
  }
  return false;
}

void InkAccount::Sent(const Parcel& parcel) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const std::string& stroke : parcel.strokes) strokes_.emplace(stroke, State::kSent);
}

void InkAccount::Answered(const Parcel& parcel) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const std::string& stroke : parcel.strokes) {
    ++answered_;
    State& state = strokes_[stroke];
    if (state == State::kSent) state = State::kAnswered;
  }
}

bool InkAccount::Offered(const std::string& bytes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (strokes_.count(bytes) > 0) return true;
  bad_offers_.push_back(Describe(bytes));
  return false;
}

void InkAccount::Confirmed(const std::string& bytes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  strokes_[bytes] = State::kConfirmed;
}

std::vector<std::string> InkAccount::Audit(const fs::path& store) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> broken;
  std::set<std::string> stored;
  for (const fs::path& file : ListStrokeFiles(store)) {
    const std::string bytes = ReadFile(file);
    if (strokes_.count(bytes) == 0) {
      broken.push_back("not whole: " + file.string() + ", " + Describe(bytes));
    }
    stored.insert(bytes);
  }
  for (const auto& [bytes, state] : strokes_) {
    if (state == State::kAnswered && stored.count(bytes) == 0) {
      broken.push_back("answered and lost: " + Describe(bytes));
    }
  }
  for (const std::string& offer : bad_offers_) broken.push_back("offered: " + offer);
  return broken;
}

std::size_t InkAccount::CountAnswered() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return answered_;
}
