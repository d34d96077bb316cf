// Ink as messages, without a server.

#include <gtest/gtest.h>

#include "stream/Connection.h"
#include "stream/InkMessage.h"

using namespace Stream;

namespace {

const InkEnvelope kEnvelope = {"0123-4567-89AB-CDEF", "1.2.3.4", "STF2", "ada", "desk"};

class InkMessage : public testing::Test {
 private:
  Library library_;
};

std::string HeaderOf(natsMsg* message, const char* key) {
  const char* value = nullptr;
  return ::natsMsgHeader_Get(message, key, &value) == NATS_OK ? value : "";
}

}  // namespace

TEST_F(InkMessage, ThePagesFieldsAreTokensOfTheSubject) {
  EXPECT_EQ(SubjectOf("0123-4567-89ab-cdef", "1.2.3.4"), "ink.0123-4567-89AB-CDEF.1.2.3.4");
  EXPECT_EQ(SubjectOf("0123-4567-89AB-CDEF", "encrypted-stf2"),
            "ink.0123-4567-89AB-CDEF.encrypted-stf2");
}

TEST_F(InkMessage, WhatCouldBeAWildcardIsNoSubject) {
  for (const char* page : {"", "1.2.3.*", ">", "1.2.3.4 5", "1.2"}) {
    EXPECT_THROW(SubjectOf("0123-4567-89AB-CDEF", page), std::runtime_error) << page;
  }
  EXPECT_THROW(SubjectOf("*", "1.2.3.4"), std::runtime_error);
}

TEST_F(InkMessage, ASubjectTellsPenAndPage) {
  std::string pen, page;
  ASSERT_TRUE(ParseSubject("ink.0123-4567-89AB-CDEF.1.2.3.4.5", pen, page));
  EXPECT_EQ(pen, "0123-4567-89AB-CDEF");
  EXPECT_EQ(page, "1.2.3.4.5");
  for (const char* subject : {"ink", "ink.", "ink.0123-4567-89AB-CDEF", "ink.x.1.2.3.4",
                              "ink.0123-4567-89AB-CDEF.", "oil.0123-4567-89AB-CDEF.1.2.3.4"}) {
    EXPECT_FALSE(ParseSubject(subject, pen, page)) << subject;
  }
}

// Other programs reckon it, too: sha256sum of pen, LF, page, LF and bytes.
TEST_F(InkMessage, TheIdentityIsThatOfPenPageAndBytes) {
  EXPECT_EQ(IdentityOf("0123-4567-89AB-CDEF", "1.2.3.4", "ink"),
            "a79bb422caea7f9efd89bc09d761f95e6921c9cae2de65fac4bcc625dd8c5e9a");
  EXPECT_EQ(DigestOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(InkMessage, AShortPackageIsOneMessage) {
  const OutgoingInk ink(kEnvelope, "ink", 1 << 20);
  EXPECT_EQ(ink.parts(), 1u);
  const MessagePtr message = ink.Make(1);
  EXPECT_EQ(HeaderOf(message.get(), "Quillpost-User"), "ada");
  EXPECT_EQ(HeaderOf(message.get(), "Quillpost-Host"), "desk");
  EXPECT_EQ(HeaderOf(message.get(), "Quillpost-Type"), "STF2");
  EXPECT_EQ(HeaderOf(message.get(), "Quillpost-Pages"), "1.2.3.4");
  EXPECT_EQ(HeaderOf(message.get(), "Quillpost-Parts"), "");
  IncomingInk read;
  std::string reason;
  ASSERT_TRUE(ReadMessage(message.get(), read, reason)) << reason;
  EXPECT_EQ(read.bytes, "ink");
  EXPECT_EQ(read.whole, "");
}

TEST_F(InkMessage, ALongPackageIsSeveral) {
  const std::string bytes(10000, 'x');
  const OutgoingInk ink(kEnvelope, bytes, 2048 + 3000);
  ASSERT_EQ(ink.parts(), 4u);
  std::string joined;
  for (std::uint32_t part = 1; part <= 4; ++part) {
    const MessagePtr message = ink.Make(part);
    IncomingInk read;
    std::string reason;
    ASSERT_TRUE(ReadMessage(message.get(), read, reason)) << reason;
    EXPECT_EQ(read.part, part);
    EXPECT_EQ(read.parts, 4u);
    EXPECT_EQ(read.whole, ink.identity());
    EXPECT_EQ(read.digest, DigestOf(bytes));
    joined += read.bytes;
  }
  EXPECT_EQ(joined, bytes);
}

TEST_F(InkMessage, ALimitWithoutRoomForInkIsRefused) {
  EXPECT_THROW(OutgoingInk(kEnvelope, "ink", 2048), std::runtime_error);
}

TEST_F(InkMessage, TheLastMessageTellsHowManyPartsAreThere) {
  const std::string bytes(10000, 'x');
  const OutgoingInk ink(kEnvelope, bytes, 2048 + 3000);
  const MessagePtr second = ink.Make(2);
  ::natsMsgHeader_Set(second.get(), "Nats-Msg-Id", ink.MessageIdOf(2).c_str());
  EXPECT_EQ(ink.PartsBefore(second.get(), 0), 2u);
  // Cut for another limit, the same ink has other parts.
  EXPECT_EQ(OutgoingInk(kEnvelope, bytes, 2048 + 5000).PartsBefore(second.get(), 0), 0u);
  EXPECT_EQ(OutgoingInk(kEnvelope, "other", 1 << 20).PartsBefore(second.get(), 0), 0u);
}

// A sender that is killed in the middle may go on at a server with another limit.
TEST_F(InkMessage, PartsOfOneNumberFitTogetherWhateverTheLimit) {
  const std::string bytes(10000, 'x');
  const OutgoingInk one(kEnvelope, bytes, 2048 + 3000), other(kEnvelope, bytes, 2048 + 2600);
  ASSERT_EQ(one.parts(), 4u);
  ASSERT_EQ(other.parts(), 4u);
  const auto size_of = [](const OutgoingInk& ink, std::uint32_t part) {
    return ::natsMsg_GetDataLength(ink.Make(part).get());
  };
  for (std::uint32_t part = 1; part <= 4; ++part)
    EXPECT_EQ(size_of(one, part), size_of(other, part));
  EXPECT_NE(one.MessageIdOf(1), OutgoingInk(kEnvelope, bytes, 2048 + 5000).MessageIdOf(1))
      << "the stream would take it for known";
}

TEST_F(InkMessage, EveryCutHoldsAllBytes) {
  const std::string bytes = "0123456789abcdefghijklmnopqrstuvwxyz";
  for (std::size_t limit = 1; limit <= bytes.size() + 1; ++limit) {
    const OutgoingInk ink(kEnvelope, bytes, 2048 + limit);
    std::string joined;
    for (std::uint32_t part = 1; part <= ink.parts(); ++part) {
      const MessagePtr message = ink.Make(part);
      const int size = ::natsMsg_GetDataLength(message.get());
      EXPECT_GT(size, 0);
      EXPECT_LE(static_cast<std::size_t>(size), limit);
      joined.append(::natsMsg_GetData(message.get()), static_cast<std::size_t>(size));
    }
    EXPECT_EQ(joined, bytes) << limit;
  }
}

// It is not looked at: nothing is at its address.
TEST_F(InkMessage, InkThatNoInboxCouldKeepIsNotSent) {
  EXPECT_NO_THROW(RefuseTooLarge(kMostBytes));
  EXPECT_THROW(RefuseTooLarge(kMostBytes + 1), StreamError);
  const std::string_view too_large(reinterpret_cast<const char*>(1), kMostBytes + 1);
  try {
    const OutgoingInk ink(kEnvelope, too_large, 1 << 20);
    FAIL() << "it was taken";
  } catch (const StreamError& error) {
    EXPECT_STREQ(error.what(),
                 "it has 268435457 bytes, and at most 268435456 can travel in a stream");
  }
}

TEST_F(InkMessage, PartsOfInkThatNoInboxCouldKeepAreNotTaken) {
  const std::string bytes(40000, 'x');
  const MessagePtr message = OutgoingInk(kEnvelope, bytes, 2048 + 20000).Make(1);
  ASSERT_EQ(::natsMsg_GetDataLength(message.get()), 20000);
  const auto is_taken = [&](std::uint64_t parts, std::string& reason) {
    ::natsMsgHeader_Set(message.get(), "Quillpost-Parts", std::to_string(parts).c_str());
    IncomingInk read;
    return ReadMessage(message.get(), read, reason);
  };
  std::string reason;
  const std::uint64_t full = kMostBytes / 20000;
  EXPECT_TRUE(is_taken(full + 1, reason)) << "the last part may be of one byte: " << reason;
  EXPECT_FALSE(is_taken(full + 2, reason));
  EXPECT_EQ(reason, "the whole of which it is a part has more than 268435456 bytes");
}

TEST_F(InkMessage, APageHasOneSubject) {
  EXPECT_EQ(SubjectOf("0123-4567-89AB-CDEF", "0.1.2.3.4"), "ink.0123-4567-89AB-CDEF.1.2.3.4");
  EXPECT_EQ(SubjectOf("0123-4567-89AB-CDEF", "0.2.3.4"), "ink.0123-4567-89AB-CDEF.0.2.3.4");
}

// The receiver may have forgotten the parts that came before.
TEST_F(InkMessage, ASetThatWasLeftLongAgoBeginsAnew) {
  const std::string bytes(10000, 'x');
  const OutgoingInk ink(kEnvelope, bytes, 2048 + 3000);
  const std::int64_t pause_ms = std::chrono::milliseconds(kLongestPause).count();
  const auto parts_before = [&](std::uint32_t last, std::int64_t age_ms) {
    const MessagePtr message = ink.Make(last);  // of the time 0
    ::natsMsgHeader_Set(message.get(), "Nats-Msg-Id", ink.MessageIdOf(last).c_str());
    return ink.PartsBefore(message.get(), age_ms);
  };
  EXPECT_EQ(parts_before(2, pause_ms), 2u);
  EXPECT_EQ(parts_before(2, pause_ms + 1), 0u);
  EXPECT_EQ(parts_before(4, pause_ms + 1), 4u) << "it is whole";
  EXPECT_EQ(parts_before(2, -2 * 3600 * 1000), 0u) << "the clock was set back";
}

TEST_F(InkMessage, APartWithoutItsNumberIsNotInk) {
  const std::string bytes(10000, 'x');
  const MessagePtr message = OutgoingInk(kEnvelope, bytes, 2048 + 3000).Make(1);
  for (const char* number : {"", "0", "5", "-1", "1x"}) {
    ::natsMsgHeader_Set(message.get(), "Quillpost-Part", number);
    IncomingInk read;
    std::string reason;
    EXPECT_FALSE(ReadMessage(message.get(), read, reason)) << number;
  }
}
