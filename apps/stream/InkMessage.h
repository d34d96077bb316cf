// How a package of ink travels in a stream: its subject, its identity, its headers. The server is
// told nothing of this; both ends and programs of others go by it (docs/scale.md).
//
//   subject   ink.PEN.PAGE     ink.0123-4567-89AB-CDEF.1.2.3.4
//             The fields of a page's address are tokens of the subject, so that a range of pages is
//             a filter: ink.*.1.2.*.*
//   Nats-Msg-Id                the identity of the ink; with "-N-OF" behind for its part N of OF. A
//                              stream drops a message whose identity it has taken a short time
//                              before.
//   Quillpost-Type             STF2 or STF2Encrypted
//   Quillpost-Pages            addresses of its pages, separated by blanks
//   Quillpost-User, -Host      who handed it on, and where
//   Quillpost-Digest           SHA-256 of the bytes of the whole, 64 lower-case hexadecimal digits
//   Quillpost-Part, -Parts     1 to N and N, and
//   Quillpost-Whole            the identity of the whole; all three only on parts, which are all
//                              of one size but the last
//
// Functions without state, any thread.

#pragma once

#include <nats/nats.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Stream {

inline constexpr char kAllInk[] = "ink.>";

// Parts of one whole follow one another within this time; after a longer pause its sender begins
// anew with the first. So a receiver may forget parts that are much older.
inline constexpr std::chrono::hours kLongestPause(24);

// More parts than any file of ink has.
inline constexpr std::uint32_t kMostParts = 65536;

// The most ink of a package, in one piece or in parts: no program reads more of a file
// (TalvoInk::kMostInkBytes). What is more is not sent; nor are its parts kept.
inline constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;

// Throws StreamError for more. Looks at the size alone, so that ink need not be read for it.
void RefuseTooLarge(std::uint64_t bytes);

struct MessageDeleter {
  void operator()(natsMsg* message) const { ::natsMsg_Destroy(message); }
};
using MessagePtr = std::unique_ptr<natsMsg, MessageDeleter>;

// Throws StreamError.
void SetHeader(natsMsg* message, const char* key, const std::string& value);

// What is known of ink before it travels.
struct InkEnvelope {
  std::string pen;   // a serial
  std::string page;  // an address, or "encrypted-stf2"
  std::string type;
  std::string user;
  std::string host;
};

// The identity of ink: SHA-256 of pen, LF, page, LF and bytes, 64 lower-case hexadecimal digits.
std::string IdentityOf(const std::string& pen, const std::string& page, std::string_view bytes);

// SHA-256 as 64 lower-case hexadecimal digits.
std::string DigestOf(std::string_view bytes);

// The first field of five is left out if it is 0, so that each page has one subject. Throws
// StreamError for a pen or a page that can't be tokens of a subject.
std::string SubjectOf(const std::string& pen, const std::string& page);

// False, with both untouched, for a subject of another form.
bool ParseSubject(const std::string& subject, std::string& pen, std::string& page);

// A package as the messages that carry it, made one after the other.
class OutgoingInk {
 public:
  // Messages, headers included, hold at most `limit_bytes`. The bytes are not copied and must
  // outlive the object. Throws StreamError if pen or page can't be a subject, there is too much
  // ink, or the limit leaves no room for it.
  OutgoingInk(const InkEnvelope& envelope, std::string_view bytes, std::size_t limit_bytes);

  const std::string& subject() const { return subject_; }
  const std::string& identity() const { return identity_; }
  std::uint32_t parts() const { return parts_; }

  // The message of part 1 to parts(), to be answered to that subject. Throws StreamError.
  MessagePtr Make(std::uint32_t part, const std::string& reply_to = "") const;

  // What the server is to know part N by.
  std::string MessageIdOf(std::uint32_t part) const;

  // The parts that a stream has whose last message of this subject is `last`: all of them, the
  // first N, or 0. Parts go one after the other, so that the last tells of those before it.
  // `now_ms` is the time since 1970: a set that was begun too long ago does not count.
  std::uint32_t PartsBefore(natsMsg* last, std::int64_t now_ms) const;

 private:
  const InkEnvelope envelope_;
  const std::string_view bytes_;
  const std::string subject_;
  const std::string identity_;
  const std::string digest_;
  std::size_t part_bytes_ = 0;
  std::uint32_t parts_ = 1;
};

// What a message says of its ink.
struct IncomingInk {
  std::string pen;
  std::string page;
  std::string digest;  // empty if it does not say
  std::string_view bytes;
  std::string whole;       // empty unless it is a part
  std::uint32_t part = 1;  // 1 to parts
  std::uint32_t parts = 1;
};

// False, with the reason, for a message that is not ink. What `ink` refers to lives as long as the
// message.
bool ReadMessage(natsMsg* message, IncomingInk& ink, std::string& reason);

}  // namespace Stream
