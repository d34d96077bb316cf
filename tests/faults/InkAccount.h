// What became of the ink that programs brought to a service which may lose all at any moment: which
// ink was brought, which of it was answered Success, which of it an application has read whole. And
// with a store beside it, which promises are broken. Ink is known by the bytes of its stroke files:
// no two imports of a test are alike.

#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

// One import, and the stroke files that it is to leave.
struct Parcel {
  std::string file;
  std::vector<std::string> strokes;
};

// The stroke files of the store, as a routing pass would list them; also while a service is at
// work.
std::vector<boost::filesystem::path> ListStrokeFiles(const boost::filesystem::path& store);

// Whether there are any; does not look further than to the first.
bool HoldsStrokeFiles(const boost::filesystem::path& store);

class InkAccount {
 public:
  // All may be called from any thread.
  void Sent(const Parcel& parcel);
  void Answered(const Parcel& parcel);

  // What an application read from a package; true if it is a whole stroke file of an import, and
  // so may be confirmed.
  bool Offered(const std::string& bytes);

  // All applications that claim this ink are about to confirm it: the store may let go of it.
  void Confirmed(const std::string& bytes);

  // One line for each stroke that was answered and is neither in the store nor was confirmed, for
  // each stroke file that is not whole, and for each package that was not.
  std::vector<std::string> Audit(const boost::filesystem::path& store) const;

  // The number of strokes that were answered.
  std::size_t CountAnswered() const;

 private:
  enum class State { kSent, kAnswered, kConfirmed };

  mutable std::mutex mutex_;  // guards all that follows
  std::map<std::string, State> strokes_;
  std::vector<std::string> bad_offers_;
  std::size_t answered_ = 0;
};
