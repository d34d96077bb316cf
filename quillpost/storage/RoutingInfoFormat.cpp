#include "storage/RoutingInfoFormat.h"

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/impl/archive_serializer_map.ipp>
#include <boost/archive/impl/basic_text_iarchive.ipp>
#include <boost/archive/impl/text_iarchive_impl.ipp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/utility.hpp>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "storage/ArchiveChange.h"

namespace boost {
namespace serialization {

template <typename Archive>
void serialize(Archive& archive, TalvoQuillpost::Storage::StrokeID& id, unsigned int) {
  archive& id.page_address& id.name& id.extension;
}

template <typename Archive>
void serialize(Archive& archive, TalvoQuillpost::Storage::RoutingInfo_App& marks, unsigned int) {
  archive& marks.delivered& marks.processed;
}

}  // namespace serialization
}  // namespace boost

namespace TalvoQuillpost {
namespace Storage {

namespace {

// What the archive library writes before the first object of a class: not tracked, version 0.
constexpr char kClass[] = " 0 0";

void AppendText(std::string& archive, const std::string& text) {
  archive += ' ';
  archive += std::to_string(text.size());
  archive += ' ';
  archive += text;
}

// A text archive that believes the length of a string only as far as there are bytes for it. The
// library's own makes room first and reads afterwards, so a damaged length could ask for all
// memory.
class BoundedTextArchive : public boost::archive::text_iarchive_impl<BoundedTextArchive> {
 public:
  typedef boost::archive::text_iarchive_impl<BoundedTextArchive> Base;

  BoundedTextArchive(std::istream& stream, std::size_t size_bytes)
      : Base(stream, 0), stream_(stream), size_bytes_(size_bytes) {
    init();
  }

  template <typename T>
  void load(T& value) {
    Base::load(value);
  }

  void load(std::string& text) {
    std::size_t size = 0;
    Base::load(size);
    stream_.get();  // the blank between length and bytes
    if (size > size_bytes_) Fail();
    text.resize(size);
    if (size > 0) stream_.read(text.data(), static_cast<std::streamsize>(size));
    if (stream_.fail()) Fail();
  }

 private:
  [[noreturn]] static void Fail() {
    throw boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error);
  }

  std::istream& stream_;
  const std::size_t size_bytes_;
};

// The library's own loader accepts any order of keys, and lets the last of two with one key win.
template <typename Map>
void LoadAscending(BoundedTextArchive& archive, Map& map) {
  boost::serialization::collection_size_type count;
  boost::serialization::item_version_type item_version(0);
  archive >> count;
  if (archive.get_library_version() > boost::serialization::library_version_type(3)) {
    archive >> item_version;
  }
  map.clear();
  for (; count > 0; --count) {
    std::pair<typename Map::key_type, typename Map::mapped_type> entry;
    archive >> entry;
    if (!map.empty() && !(map.rbegin()->first < entry.first)) {
      throw std::runtime_error("entries are not in ascending order");
    }
    map.insert(map.end(), std::move(entry));
  }
}

// Found by the library instead of its own.
void load(BoundedTextArchive& archive, StrokeMap& strokes, unsigned int) {
  LoadAscending(archive, strokes);
}

void load(BoundedTextArchive& archive, ClaimList& claims, unsigned int) {
  LoadAscending(archive, claims);
}

}  // namespace

}  // namespace Storage
}  // namespace TalvoQuillpost

namespace boost {
namespace archive {

template class detail::archive_serializer_map<TalvoQuillpost::Storage::BoundedTextArchive>;
template class basic_text_iarchive<TalvoQuillpost::Storage::BoundedTextArchive>;
template class text_iarchive_impl<TalvoQuillpost::Storage::BoundedTextArchive>;

}  // namespace archive
}  // namespace boost

namespace TalvoQuillpost {
namespace Storage {

void StrokeWriter::Append(const StrokeMap::value_type& stroke, std::string& archive) {
  const auto& [id, claims] = stroke;
  const bool is_first = !std::exchange(has_strokes_, true);
  if (is_first) archive.append(kClass).append(kClass);
  AppendText(archive, id.page_address);
  AppendText(archive, id.name);
  AppendText(archive, id.extension);
  if (is_first) archive += kClass;
  archive += ' ';
  archive += std::to_string(claims.size());
  archive += " 0";  // the version of the map's items
  for (const auto& [app, marks] : claims) {
    const bool is_first_claim = !std::exchange(has_claims_, true);
    if (is_first_claim) archive += kClass;
    AppendText(archive, app);
    if (is_first_claim) archive += kClass;
    archive += marks.delivered ? " 1" : " 0";
    archive += marks.processed ? " 1" : " 0";
  }
}

std::string RoutingInfoHead(std::size_t count) {
  const std::string signature = boost::archive::BOOST_ARCHIVE_SIGNATURE();
  const unsigned int version = boost::archive::BOOST_ARCHIVE_VERSION();
  return std::to_string(signature.size()) + ' ' + signature + ' ' + std::to_string(version) +
         kClass + ' ' + std::to_string(count) + " 0";
}

std::string WriteRoutingInfo(const StrokeMap& strokes) {
  std::string archive = RoutingInfoHead(strokes.size());
  StrokeWriter writer(false, false);
  for (const auto& stroke : strokes) writer.Append(stroke, archive);
  archive += '\n';
  return archive;
}

StrokeMap ReadRoutingInfo(const std::string& bytes) {
  std::istringstream stream(FinishChange(bytes));
  stream.imbue(std::locale::classic());
  BoundedTextArchive archive(stream, bytes.size());
  StrokeMap strokes;
  archive >> strokes;
  return strokes;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
