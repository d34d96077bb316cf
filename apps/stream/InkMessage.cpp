#include "stream/InkMessage.h"

#include <TalvoCppUtils/PageAddress.h>
#include <TalvoCppUtils/PenId.h>
#include <TalvoCppUtils/Printable.h>
#include <sodium.h>

#include <algorithm>
#include <charconv>

#include "digest/Sha256.h"
#include "stream/Connection.h"

namespace Stream {
namespace {

constexpr char kBegin[] = "ink.";
constexpr char kEncryptedPage[] = "encrypted-stf2";

constexpr char kType[] = "Quillpost-Type";
constexpr char kPages[] = "Quillpost-Pages";
constexpr char kUser[] = "Quillpost-User";
constexpr char kHost[] = "Quillpost-Host";
constexpr char kDigest[] = "Quillpost-Digest";
constexpr char kPart[] = "Quillpost-Part";
constexpr char kParts[] = "Quillpost-Parts";
constexpr char kWhole[] = "Quillpost-Whole";

// All headers of a message with the longest names of user and host that we send, and a margin for
// those that the library and the server add.
constexpr std::size_t kHeaderRoom = 2048;
constexpr std::size_t kLongestName = 255;

constexpr std::size_t kDigestBytes = 32;

std::string Hex(const std::string& sum) {
  char text[2 * kDigestBytes + 1];
  return ::sodium_bin2hex(text, sizeof text, reinterpret_cast<const unsigned char*>(sum.data()),
                          sum.size());
}

bool IsPage(const std::string& text) {
  return text == kEncryptedPage ||
         (TalvoCppUtils::IsPageAddress(text) && text.find('*') == std::string::npos);
}

std::ptrdiff_t CountFields(const std::string& page) {
  return std::count(page.begin(), page.end(), '.') + 1;
}

// A first field of five that is 0 may be left out, and is the same page then.
std::string ShortAddress(const std::string& page) {
  return page.compare(0, 2, "0.") == 0 && CountFields(page) == 5 ? page.substr(2) : page;
}

std::string Header(natsMsg* message, const char* key) {
  const char* value = nullptr;
  return ::natsMsgHeader_Get(message, key, &value) == NATS_OK && value != nullptr ? value : "";
}

std::uint32_t HeaderNumber(natsMsg* message, const char* key) {
  const std::string text = Header(message, key);
  std::uint32_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool is_whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
  return is_whole ? number : 0;
}

bool IsHexDigest(const std::string& text) {
  return text.size() == 2 * kDigestBytes &&
         text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

// A header is one line.
std::string NameForHeader(const std::string& name) {
  return TalvoCppUtils::Printable(name).substr(0, kLongestName);
}

}  // namespace

void SetHeader(natsMsg* message, const char* key, const std::string& value) {
  const natsStatus status = ::natsMsgHeader_Set(message, key, value.c_str());
  if (status != NATS_OK) throw StreamError("can't make a message", status);
}

std::string IdentityOf(const std::string& pen, const std::string& page, std::string_view bytes) {
  Sha256 sum;
  sum.Add(pen + "\n" + page + "\n");
  sum.Add(bytes);
  return Hex(sum.Sum());
}

std::string DigestOf(std::string_view bytes) {
  return Hex(Sha256Of(bytes));
}

std::string SubjectOf(const std::string& pen, const std::string& page) {
  TalvoCppUtils::PenId number(0);
  if (!TalvoCppUtils::PenId::Parse(pen, number)) {
    throw StreamError("'" + TalvoCppUtils::Printable(pen) + "' is not a pen's serial");
  }
  if (!IsPage(page)) {
    throw StreamError("'" + TalvoCppUtils::Printable(page) + "' is not a page's address");
  }
  return kBegin + number.string() + "." + ShortAddress(page);
}

bool ParseSubject(const std::string& subject, std::string& pen, std::string& page) {
  const std::size_t begin = sizeof kBegin - 1;
  const std::size_t dot = subject.find('.', begin);
  if (subject.compare(0, begin, kBegin) != 0 || dot == std::string::npos) return false;
  TalvoCppUtils::PenId number(0);
  if (!TalvoCppUtils::PenId::Parse(subject.substr(begin, dot - begin), number)) return false;
  if (!IsPage(subject.substr(dot + 1))) return false;
  pen = number.string();
  page = subject.substr(dot + 1);
  return true;
}

void RefuseTooLarge(std::uint64_t bytes) {
  if (bytes <= kMostBytes) return;
  throw StreamError("it has " + std::to_string(bytes) + " bytes, and at most " +
                    std::to_string(kMostBytes) + " can travel in a stream");
}

OutgoingInk::OutgoingInk(const InkEnvelope& envelope, std::string_view bytes,
                         std::size_t limit_bytes)
    : envelope_(envelope),
      bytes_((RefuseTooLarge(bytes.size()), bytes)),  // before it is hashed
      subject_(SubjectOf(envelope.pen, envelope.page)),
      identity_(IdentityOf(envelope.pen, ShortAddress(envelope.page), bytes)),
      digest_(DigestOf(bytes)) {
  if (limit_bytes <= kHeaderRoom) {
    throw StreamError("messages of at most " + std::to_string(limit_bytes) +
                      " bytes, the server's limit, have no room for ink");
  }
  const auto parts_of = [&bytes](std::size_t size) { return (bytes.size() + size - 1) / size; };
  std::size_t parts = parts_of(limit_bytes - kHeaderRoom);
  if (parts > kMostParts) {
    throw StreamError("it would take " + std::to_string(parts) + " messages of " +
                      std::to_string(limit_bytes) + " bytes, the server's limit");
  }
  // All of one size but the last: so the number of parts tells how ink is cut, whatever the limit
  // was, and parts of one number fit together.
  part_bytes_ = parts == 0 ? 0 : (bytes.size() + parts - 1) / parts;
  if (parts > 0) parts = parts_of(part_bytes_);
  parts_ = static_cast<std::uint32_t>(std::max<std::size_t>(parts, 1));
}

std::string OutgoingInk::MessageIdOf(std::uint32_t part) const {
  if (parts_ == 1) return identity_;
  // With their number: the stream must not take a part for one of the same ink cut in another way.
  return identity_ + "-" + std::to_string(part) + "-" + std::to_string(parts_);
}

MessagePtr OutgoingInk::Make(std::uint32_t part, const std::string& reply_to) const {
  const std::string_view bytes = bytes_.substr((part - 1) * part_bytes_, part_bytes_);
  natsMsg* made = nullptr;
  const natsStatus status =
      ::natsMsg_Create(&made, subject_.c_str(), reply_to.empty() ? nullptr : reply_to.c_str(),
                       bytes.data(), static_cast<int>(bytes.size()));
  if (status != NATS_OK) throw StreamError("can't make a message", status);
  MessagePtr message(made);
  SetHeader(made, kType, envelope_.type);
  SetHeader(made, kPages, envelope_.page);
  SetHeader(made, kUser, NameForHeader(envelope_.user));
  SetHeader(made, kHost, NameForHeader(envelope_.host));
  SetHeader(made, kDigest, digest_);
  if (parts_ == 1) return message;
  SetHeader(made, kPart, std::to_string(part));
  SetHeader(made, kParts, std::to_string(parts_));
  SetHeader(made, kWhole, identity_);
  return message;
}

std::uint32_t OutgoingInk::PartsBefore(natsMsg* last, std::int64_t now_ms) const {
  const std::string id = Header(last, "Nats-Msg-Id");
  if (parts_ == 1) return id == identity_ ? 1 : 0;
  // Another number of parts: they were cut for another limit, and do not fit ours.
  if (Header(last, kWhole) != identity_ || HeaderNumber(last, kParts) != parts_) return 0;
  const std::uint32_t part = HeaderNumber(last, kPart);
  if (part > parts_ || id != MessageIdOf(part)) return 0;
  constexpr std::int64_t kMillisecondNs = 1000000;
  const std::chrono::milliseconds pause(now_ms - ::natsMsg_GetTime(last) / kMillisecondNs);
  // A clock that was set back can't tell how long ago it was.
  constexpr std::chrono::hours kLongestError(1);
  const bool is_recent = -kLongestError <= pause && pause <= kLongestPause;
  return part == parts_ || is_recent ? part : 0;
}

bool ReadMessage(natsMsg* message, IncomingInk& ink, std::string& reason) {
  const std::string subject = ::natsMsg_GetSubject(message);
  if (!ParseSubject(subject, ink.pen, ink.page)) {
    reason = "the subject '" + TalvoCppUtils::Printable(subject) + "' is not ink.PEN.PAGE";
    return false;
  }
  ink.bytes = {::natsMsg_GetData(message),
               static_cast<std::size_t>(::natsMsg_GetDataLength(message))};
  ink.digest = Header(message, kDigest);
  if (!IsHexDigest(ink.digest)) ink.digest.clear();
  ink.whole = Header(message, kWhole);
  if (ink.whole.empty()) return true;
  ink.part = HeaderNumber(message, kPart);
  ink.parts = HeaderNumber(message, kParts);
  if (!IsHexDigest(ink.whole) || ink.part < 1 || ink.part > ink.parts || ink.parts > kMostParts) {
    reason = "its headers don't say which part of which whole it is";
    return false;
  }
  // All parts but the last are of one size: the first that comes tells. (A last part alone does
  // not; without the others it never makes a whole.)
  if (ink.part < ink.parts && ink.bytes.size() * (ink.parts - 1) > kMostBytes) {
    reason =
        "the whole of which it is a part has more than " + std::to_string(kMostBytes) + " bytes";
    return false;
  }
  return true;
}

}  // namespace Stream
