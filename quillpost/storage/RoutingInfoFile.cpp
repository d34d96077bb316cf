#include "storage/RoutingInfoFile.h"

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/impl/archive_serializer_map.ipp>
#include <boost/archive/impl/basic_text_iarchive.ipp>
#include <boost/archive/impl/text_iarchive_impl.ipp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/utility.hpp>
#include <locale>
#include <sstream>

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

std::string WriteRoutingInfo(const StrokeMap& strokes) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  {
    boost::archive::text_oarchive archive(stream, 0);
    archive << strokes;
  }  // the archive ends its line when it is destroyed
  return stream.str();
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
