// Routing info as the archive library alone reads and writes it, without a line of the store's
// code: the types are this file's own, and only their shape is the store's.

#pragma once

#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/utility.hpp>
#include <map>
#include <sstream>
#include <string>
#include <tuple>

#include "storage/StrokeID.h"

namespace library_archive {

struct ID {
  std::string page_address, name, extension;

  bool operator<(const ID& other) const {
    return std::tie(extension, name, page_address) <
           std::tie(other.extension, other.name, other.page_address);
  }
  template <typename Archive>
  void serialize(Archive& archive, unsigned int) {
    archive& page_address& name& extension;
  }
};

struct Marks {
  bool delivered = false, processed = false;

  template <typename Archive>
  void serialize(Archive& archive, unsigned int) {
    archive& delivered& processed;
  }
};

typedef std::map<ID, std::map<std::string, Marks>> Table;

}  // namespace library_archive

inline std::string WriteWithLibrary(const TalvoQuillpost::Storage::StrokeMap& strokes) {
  library_archive::Table table;
  for (const auto& [id, claims] : strokes) {
    auto& copy = table[{id.page_address, id.name, id.extension}];
    for (const auto& [app, marks] : claims) copy[app] = {marks.delivered, marks.processed};
  }
  std::ostringstream stream;
  {
    boost::archive::text_oarchive archive(stream, 0);
    const library_archive::Table& written = table;
    archive << written;
  }
  return stream.str();
}

// Throws what the archive library throws.
inline TalvoQuillpost::Storage::StrokeMap ReadWithLibrary(const std::string& bytes) {
  std::istringstream stream(bytes);
  library_archive::Table table;
  boost::archive::text_iarchive archive(stream, 0);
  archive >> table;
  TalvoQuillpost::Storage::StrokeMap strokes;
  for (const auto& [id, claims] : table) {
    auto& copy = strokes[{id.page_address, id.name, id.extension}];
    for (const auto& [app, marks] : claims) {
      copy[app].delivered = marks.delivered;
      copy[app].processed = marks.processed;
    }
  }
  return strokes;
}
