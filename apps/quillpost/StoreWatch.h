// Tells when something happens in the store, in the subscriptions, or at the endpoint of the
// service, by inotify. Directories that are not there yet are waited for. Used by one thread.

#pragma once

#include <boost/filesystem/path.hpp>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/File.h"

class StoreWatch {
 public:
  // Watches from now on: what is read afterwards is at least as new as what will be told.
  StoreWatch();

  // Readable when there is news.
  int descriptor() const { return events_.get(); }

  // A stroke file that came or went, in their order: ink may do both before anybody looks.
  struct File {
    std::string pen;
    std::string stroke;  // "1.2.3.4/100_200.stf2"
    bool has_come;       // or gone
  };

  // What happened since the last call. Does not wait.
  struct News {
    std::vector<File> files;
    std::set<std::string> pens;  // pens whose ink or routing info has changed, or that came or went
    bool is_all = false;         // too much at a time: everything may have changed
    bool are_subscriptions = false;
    bool is_service = false;
  };
  News Take();

  // Why a directory can't be watched: nothing is told of it any more. Empty if all are watched.
  const std::string& fault() const { return fault_; }

 private:
  struct Role {
    std::string pen;        // of a pen's directory, and of a page's
    std::string page;       // of a page's
    bool is_store = false;  // the root of the store, or a directory above it
    bool is_subscriptions = false;
    bool is_service = false;
  };

  Role* Watch(const boost::filesystem::path& directory);
  Role* WatchNearest(const boost::filesystem::path& directory);
  void WatchAll();
  void TakeEvent(int watch, unsigned mask, const std::string& name, News& news);

  const TalvoCppUtils::Descriptor events_;
  std::map<int, Role> roles_;
  std::string fault_;
};
