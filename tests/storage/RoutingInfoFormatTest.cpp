// RoutingInfo.txt to the byte. What is written is compared with a text that the test puts together
// by the rules of the format; what is read is damaged in every place.

#include "storage/RoutingInfoFormat.h"

#include <gtest/gtest.h>

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/basic_archive.hpp>
#include <sstream>

#include "storage/LibraryArchive.h"
#include "storage/StoreTest.h"

using TalvoQuillpost::Storage::ClaimList;
using TalvoQuillpost::Storage::ReadRoutingInfo;
using TalvoQuillpost::Storage::RoutingInfo_App;
using TalvoQuillpost::Storage::StrokeID;
using TalvoQuillpost::Storage::StrokeMap;
using TalvoQuillpost::Storage::WriteRoutingInfo;

namespace {

std::string Header(int version = boost::archive::BOOST_ARCHIVE_VERSION()) {
  return "22 serialization::archive " + std::to_string(version);
}

// Numbers and strings, each after a blank, and the "0 0" before the first value of a class.
class Text {
 public:
  explicit Text(const std::string& header) : text_(header) {}

  Text& Number(std::size_t number) {
    text_ += " " + std::to_string(number);
    return *this;
  }
  Text& String(const std::string& string) {
    Number(string.size());
    text_ += " " + string;
    return *this;
  }
  Text& Preamble(bool& first) {
    if (first) text_ += " 0 0";
    first = false;
    return *this;
  }
  std::string End() const { return text_ + "\n"; }

 private:
  std::string text_;
};

std::string Expected(const StrokeMap& strokes) {
  bool map = true, pair = true, id = true, list = true, claim_pair = true, marks = true;
  Text text(Header());
  text.Preamble(map).Number(strokes.size()).Number(0);
  for (const auto& [stroke, claims] : strokes) {
    text.Preamble(pair).Preamble(id);
    text.String(stroke.page_address).String(stroke.name).String(stroke.extension);
    text.Preamble(list).Number(claims.size()).Number(0);
    for (const auto& [app, info] : claims) {
      text.Preamble(claim_pair).String(app);
      text.Preamble(marks).Number(info.delivered).Number(info.processed);
    }
  }
  return text.End();
}

RoutingInfo_App Marks(bool delivered, bool processed) {
  RoutingInfo_App marks;
  marks.delivered = delivered;
  marks.processed = processed;
  return marks;
}

StrokeMap OneStroke() {
  return {{{"1.2.3.4", "s1", "stf2"}, {{"app.one", Marks(true, false)}}}};
}

StrokeMap ManyStrokes() {
  StrokeMap strokes;
  for (int i = 0; i < 40; ++i) {
    ClaimList claims;
    for (int app = 0; app < i % 4; ++app) {
      claims["application " + std::to_string(app)] = Marks(i % 2 == 0, i % 2 == 0 && app == 1);
    }
    strokes[{i % 3 == 0 ? "encrypted-stf2" : "1.2.3." + std::to_string(i), std::to_string(i * 997),
             i % 5 == 0 ? "" : "stf2"}] = claims;
  }
  return strokes;
}

// Every field empty in turn, and all that a name may hold.
StrokeMap OddStrokes() {
  const ClaimList claims = {
      {"", Marks(false, false)}, {" a b ", Marks(true, true)}, {"1 0 0", Marks(true, false)}};
  return {{{"", "", ""}, {}},
          {{"1.2.3.4", "", ""}, claims},
          {{"", "name", ""}, {}},
          {{"", "", "stf2"}, claims},
          {{"1.2.3.4", " two  blanks ", "s t"}, claims},
          {{"1.2.3.4", "line\nfeed\ttab\r", "stf2"}, {}},
          {{"1.2.3.4", "22 serialization::archive 19", "stf2"}, {}},
          {{"1.2.3.4", std::string("\0\x01\xFF\xC3", 4), "stf2"}, claims}};
}

const std::vector<StrokeMap>& Tables() {
  static const std::vector<StrokeMap> tables = {
      {}, OneStroke(), {{{"1.2.3.4", "s1", "stf2"}, {}}}, ManyStrokes(), OddStrokes()};
  return tables;
}

bool IsReadable(const std::string& bytes) {
  try {
    // What was read came from the bytes: no table is larger than they are.
    const StrokeMap strokes = ReadRoutingInfo(bytes);
    EXPECT_LE(strokes.size(), bytes.size());
    return true;
  } catch (const std::exception& error) {
    EXPECT_STRNE("", error.what());
    return false;
  }
}

std::string ReasonOf(const std::string& bytes) {
  try {
    ReadRoutingInfo(bytes);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "none";
}

// The archive of one stroke, with one of its tokens replaced. Tokens are counted from the header's
// first.
std::string WithToken(std::size_t index, const std::string& token) {
  std::istringstream in(WriteRoutingInfo(OneStroke()));
  std::string out;
  std::string word;
  for (std::size_t i = 0; in >> word; ++i) out += (i > 0 ? " " : "") + (i == index ? token : word);
  return out + "\n";
}

constexpr std::size_t kVersion = 2, kCount = 5, kPageLength = 11, kClaimCount = 19, kDelivered = 27,
                      kProcessed = 28;

}  // namespace

TEST(RoutingInfoFormat, OneStrokeIsOneLineOfKnownText) {
  EXPECT_EQ(Header() + " 0 0 1 0 0 0 0 0 7 1.2.3.4 2 s1 4 stf2 0 0 1 0 0 0 7 app.one 0 0 1 0\n",
            WriteRoutingInfo(OneStroke()));
}

TEST(RoutingInfoFormat, NoStrokeIsACountOfZero) {
  EXPECT_EQ(Header() + " 0 0 0 0\n", WriteRoutingInfo({}));
}

TEST(RoutingInfoFormat, AnEmptyStringLeavesAnEmptyField) {
  EXPECT_EQ(Header() + " 0 0 1 0 0 0 0 0 0  0  0  0 0 1 0 0 0 0  0 0 0 0\n",
            WriteRoutingInfo({{{"", "", ""}, {{"", Marks(false, false)}}}}));
}

TEST(RoutingInfoFormat, EachClassIsIntroducedOnce) {
  for (const StrokeMap& table : Tables()) EXPECT_EQ(Expected(table), WriteRoutingInfo(table));
}

TEST(RoutingInfoFormat, IsReadBackAsItWas) {
  for (const StrokeMap& table : Tables())
    EXPECT_EQ(table, ReadRoutingInfo(WriteRoutingInfo(table)));
}

TEST(RoutingInfoFormat, TheHostsLocaleChangesNothing) {
  for (const StrokeMap& table : Tables()) {
    const std::string classic = WriteRoutingInfo(table);
    for (const char separator : {'.', ' '}) {
      const ForeignLocale locale(separator);
      EXPECT_EQ(classic, WriteRoutingInfo(table));
      EXPECT_EQ(table, ReadRoutingInfo(classic));
    }
  }
}

TEST(RoutingInfoFormat, AFileThatIsCutAnywhereIsRefused) {
  for (const StrokeMap& table : {StrokeMap(), OneStroke(), OddStrokes()}) {
    const std::string bytes = WriteRoutingInfo(table);
    for (std::size_t size = 0; size + 1 < bytes.size(); ++size) {
      EXPECT_FALSE(IsReadable(bytes.substr(0, size))) << size;
    }
    EXPECT_EQ(table, ReadRoutingInfo(bytes.substr(0, bytes.size() - 1)));
  }
}

TEST(RoutingInfoFormat, SurvivesDamageAnywhereInTheFile) {
  for (const StrokeMap& table : {StrokeMap(), OneStroke(), OddStrokes()}) {
    const std::string bytes = WriteRoutingInfo(table);
    int refused = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      for (const char byte : {'\0', ' ', '\n', '-', '0', '1', '9', 'x', '\xFF'}) {
        std::string damaged = bytes;
        damaged[i] = byte;
        refused += !IsReadable(damaged);
      }
      refused += !IsReadable(bytes.substr(0, i) + bytes.substr(i + 1));
      refused += !IsReadable(bytes.substr(0, i) + "7" + bytes.substr(i));
    }
    EXPECT_GT(refused, static_cast<int>(bytes.size()));
  }
}

TEST(RoutingInfoFormat, AnotherHeaderIsNamed) {
  std::string other = WriteRoutingInfo(OneStroke());
  other[5] = 'X';
  EXPECT_EQ("invalid signature", ReasonOf(other));
  EXPECT_EQ("invalid signature", ReasonOf("7 archive" + other));
  EXPECT_EQ("input stream error", ReasonOf(""));
  EXPECT_EQ("input stream error", ReasonOf("not an archive"));
  EXPECT_EQ("input stream error", ReasonOf(std::string(5000, '\0')));
}

TEST(RoutingInfoFormat, ALaterVersionIsNamedAndAnEarlierOneIsRead) {
  const int version = boost::archive::BOOST_ARCHIVE_VERSION();
  EXPECT_EQ("unsupported version", ReasonOf(WithToken(kVersion, std::to_string(version + 1))));
  EXPECT_EQ("unsupported version", ReasonOf(WithToken(kVersion, "65535")));
  EXPECT_EQ("input stream error", ReasonOf(WithToken(kVersion, "99999999999")));
  EXPECT_EQ(OneStroke(), ReadRoutingInfo(WithToken(kVersion, std::to_string(version - 1))));
  EXPECT_EQ(OneStroke(), ReadRoutingInfo(WithToken(kVersion, "10")));
}

TEST(RoutingInfoFormat, AnAbsurdCountIsRefused) {
  for (const char* count : {"2", "1000000", "4294967295", "18446744073709551615",
                            "99999999999999999999999", "-1", "x"}) {
    EXPECT_EQ("input stream error", ReasonOf(WithToken(kCount, count))) << count;
    EXPECT_EQ("input stream error", ReasonOf(WithToken(kClaimCount, count))) << count;
  }
}

TEST(RoutingInfoFormat, AnAbsurdLengthIsRefusedWithoutMakingRoomForIt) {
  for (const char* length : {"200", "1000000000000", "9223372036854775807", "18446744073709551615",
                             "99999999999999999999999", "-1", "x"}) {
    EXPECT_EQ("input stream error", ReasonOf(WithToken(kPageLength, length))) << length;
    EXPECT_EQ("input stream error", ReasonOf(WithToken(0, length))) << length;
  }
}

TEST(RoutingInfoFormat, IsWhatTheArchiveLibraryWrites) {
  for (const StrokeMap& strokes : {StrokeMap(), OneStroke(), ManyStrokes()}) {
    EXPECT_EQ(WriteWithLibrary(strokes), WriteRoutingInfo(strokes));
  }
  // The first stroke with a claim introduces more classes, whichever it is.
  StrokeMap strokes = {{{"1.2.3.4", "a", "stf2"}, {}}, {{"1.2.3.4", "b", "stf2"}, {}}};
  EXPECT_EQ(WriteWithLibrary(strokes), WriteRoutingInfo(strokes));
  strokes[{"1.2.3.4", "b", "stf2"}]["app"];
  strokes[{"1.2.3.4", "c", "stf2"}]["app"];
  EXPECT_EQ(WriteWithLibrary(strokes), WriteRoutingInfo(strokes));
}

// As the pages of an old and a new file give, mixed by a power cut.
TEST(RoutingInfoFormat, StrokesAndClaimsThatDoNotAscendAreRefused) {
  const StrokeMap strokes = {{{"1.2.3.4", "a", "stf2"}, {{"A", {}}, {"B", {}}}},
                             {{"1.2.3.4", "b", "stf2"}, {{"A", {}}}}};
  const std::string archive = WriteRoutingInfo(strokes);
  ASSERT_EQ(strokes.size(), ReadRoutingInfo(archive).size());
  for (const auto& [from, to] : {std::make_pair(" 1 b ", " 1 a "), std::make_pair(" 1 a ", " 1 c "),
                                 std::make_pair(" 1 B ", " 1 A ")}) {
    std::string damaged = archive;
    damaged.replace(damaged.find(from), std::string(from).size(), to);
    EXPECT_NO_THROW(ReadWithLibrary(damaged));
    EXPECT_THROW(ReadRoutingInfo(damaged), std::exception) << damaged;
  }
}

TEST(RoutingInfoFormat, AMarkIsZeroOrOne) {
  for (const char* mark : {"2", "-1", "true", "ja", "9999999999"}) {
    EXPECT_EQ("input stream error", ReasonOf(WithToken(kDelivered, mark))) << mark;
    EXPECT_EQ("input stream error", ReasonOf(WithToken(kProcessed, mark))) << mark;
  }
  EXPECT_TRUE(ReadRoutingInfo(WithToken(kProcessed, "1")).begin()->second.at("app.one").processed);
}

// What a killed process may leave behind a complete archive.
TEST(RoutingInfoFormat, BytesBehindTheArchiveAreNotRead) {
  EXPECT_EQ(OneStroke(), ReadRoutingInfo(WriteRoutingInfo(OneStroke()) + "7 1.2.3.4 2 s2\n"));
}
