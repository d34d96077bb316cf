// Which applications have subscribed to which pages. One JSON file for each application, named by
// its application ID, in one directory for the whole machine; the service only reads it. There is
// no cache and no state: every call reads the directory afresh, so that a change takes effect
// immediately, and all functions may be called from any thread. Bad files are skipped in silence.

#pragma once

#include <json/value.h>

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <set>
#include <string>

namespace TalvoQuillpost {
namespace Config {

// Members of a subscription file.
inline constexpr char kPath[] = "Path";                    // string, not empty: the program
inline constexpr char kTitle[] = "Title";                  // string: its name for people
inline constexpr char kPageAddresses[] = "PageAddresses";  // array of page addresses and ranges

// One subscribed application. A value, ordered by its ID alone.
struct App {
  std::string id;
  std::string title;
  std::string path;
  std::set<std::string> pageAddresses;

  bool operator<(const App& other) const { return id < other.id; }
};

// The directory of subscription files: "/Library/Preferences/Talvo/Quillpost/Subscriptions", below
// the root of TalvoOS/Root.h.
std::string GetRoot();

// Larger files are no subscriptions: these are a few lines.
inline constexpr std::size_t kMaxFileBytes = 1u << 20;

// Reads one subscription file. True when it is a valid subscription, with its root object in `out`;
// false otherwise, and for a file of more than 1 MiB, with an empty object. Comments and text
// after the document are accepted. Numbers, which mean nothing here, may read as 0 if the host's
// global locale has a number format of its own.
bool LoadConfig(const boost::filesystem::path& file, Json::Value& out);

// The application whose subscription file, named `id`, holds `bytes`. False if it is not valid.
bool ParseSubscription(const std::string& id, const std::string& bytes, App& out);

// Whether there is a regular file of that name; the caller has checked that `id` is an
// application ID. The file may be malformed all the same.
bool IsRegistered(const std::string& id);

// The applications with a valid file, in the order of their IDs; none if the directory is
// missing. False if it is no directory. Throws boost::filesystem::filesystem_error if
// reading the directory fails.
bool GetApplications(std::set<App>& out);

// The applications that claim a page address. False if there is none, if `address` is
// invalid, and if GetApplications fails. Throws as GetApplications.
bool FindApplications(const std::string& address, std::set<App>& out);

// Whether one of the application's ranges holds the page address.
bool Claims(const App& app, const std::string& address);

}  // namespace Config
}  // namespace TalvoQuillpost
