// Which pages lie in which ranges. Beside the cases that people write there is a table of several
// hundred that nobody would: their answers come from a model, which reads numbers by itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "common/Identifiers.h"
#include "support/Machine.h"

using TalvoQuillpost::Common::IsPageAddressInRange;
using TalvoQuillpost::Common::IsPageAddressValid;

namespace {

// ---- The model -------------------------------------------------------------------------------

// Reads signed 32-bit numbers from a text of digits, minus signs and blanks, one after the other.
class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  // The next number; 0 once a number was out of range, and for that one the limit it went beyond.
  std::int64_t Next() {
    if (failed_) return 0;
    while (position_ < text_.size() && text_[position_] == ' ') ++position_;
    const bool negative = position_ < text_.size() && text_[position_] == '-';
    if (negative) ++position_;
    const std::int64_t limit = negative ? -static_cast<std::int64_t>(INT32_MIN) : INT32_MAX;
    std::int64_t value = 0;
    for (; position_ < text_.size() && '0' <= text_[position_] && text_[position_] <= '9';
         ++position_) {
      value = std::min<std::int64_t>(value * 10 + (text_[position_] - '0'), limit + 1);
    }
    if (value > limit) {
      failed_ = true;
      value = limit;
    }
    return negative ? -value : value;
  }

 private:
  const std::string text_;
  std::size_t position_ = 0;
  bool failed_ = false;
};

std::array<std::int64_t, 5> ModelFields(const std::string& page) {
  std::string text;
  int dots = 0;
  for (const char character : page) {
    if (character == '.') ++dots;
    text += character == '.' ? " " : character == '*' ? "-1" : std::string(1, character);
  }
  Reader reader(text);
  std::array<std::int64_t, 5> fields = {0, 0, 0, 0, 0};
  for (std::size_t i = dots == 4 ? 0 : 1; i < 5; ++i) fields[i] = reader.Next();
  return fields;
}

bool ModelInRange(const std::string& address, const std::string& range) {
  if (address == range) return true;
  if (address.find('*') != std::string::npos) return false;
  const auto page = ModelFields(address);
  const auto pattern = ModelFields(range);
  for (std::size_t i = 0; i < 5; ++i) {
    if (pattern[i] != -1 && pattern[i] != page[i]) return false;
  }
  return true;
}

// ---- The table -------------------------------------------------------------------------------

const std::vector<std::string> kFields = {"0",
                                          "1",
                                          "2",
                                          "17",
                                          "01",
                                          "0002",
                                          "010",
                                          "2147483647",
                                          "2147483648",
                                          "4294967295",
                                          "9223372036854775807",
                                          "9223372036854775808",
                                          "99999999999999999999999999999999999999999",
                                          "00000000000000000000000000000000000000001",
                                          "1234567",
                                          "*",
                                          "**",
                                          "***",
                                          "1*",
                                          "*1",
                                          "0*",
                                          "*0",
                                          "1*2",
                                          "**2",
                                          "2**",
                                          "*147483648",
                                          "*1147483648",
                                          "2147483648*"};
constexpr std::size_t kNumberFields = 15;  // those without "*" come first

std::string Join(const std::vector<std::string>& fields) {
  std::string page;
  for (const std::string& field : fields) page += (page.empty() ? "" : ".") + field;
  return page;
}

typedef std::pair<std::string, std::string> Pair;

// Addresses of four and five fields, each beside ranges that differ from it in a field or two, or
// in the number of fields.
std::vector<Pair> MakePairs() {
  std::mt19937 random(20260131);
  const auto pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  std::vector<Pair> pairs;
  for (int i = 0; i < 900; ++i) {
    std::vector<std::string> address(4 + pick(2));
    for (std::string& field : address) field = kFields[pick(i % 3 == 0 ? kNumberFields : 3)];
    if (i % 50 == 0) address[pick(address.size())] = "1*";
    std::vector<std::string> range = address;
    if (pick(4) == 0) {
      if (range.size() == 4) {
        range.insert(range.begin(), kFields[pick(2) == 0 ? 0 : pick(kFields.size())]);
      } else {
        range.erase(range.begin());
      }
    }
    for (std::size_t changes = 1 + pick(3); changes > 0; --changes) {
      const std::size_t field = pick(range.size());
      range[field] = pick(2) == 0 ? "*" : kFields[pick(kFields.size())];
    }
    pairs.emplace_back(Join(address), Join(range));
  }
  return pairs;
}

void ExpectTableAsModelled() {
  int in_range = 0;
  int out_of_range = 0;
  for (const auto& [address, range] : MakePairs()) {
    ASSERT_TRUE(IsPageAddressValid(address) && IsPageAddressValid(range))
        << address << " " << range;
    const bool expected = ModelInRange(address, range);
    ++(expected ? in_range : out_of_range);
    EXPECT_EQ(expected, IsPageAddressInRange(address, range)) << address << " in " << range;
  }
  EXPECT_GT(in_range, 200);
  EXPECT_GT(out_of_range, 200);
}

struct Row {
  const char* address;
  const char* range;
  bool expected;
};

void ExpectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(row.expected, IsPageAddressInRange(row.address, row.range))
        << row.address << " in " << row.range;
    EXPECT_EQ(row.expected, ModelInRange(row.address, row.range))
        << "the model is wrong about " << row.address << " in " << row.range;
  }
}

}  // namespace

TEST(IsPageAddressInRange, WhatPeopleWrite) {
  ExpectRows({{"1.2.3.4", "1.2.*.*", true},
              {"1.2.3.4", "1.3.*.*", false},
              {"1.2.3.4", "1.2.3.4", true},
              {"1.2.3.4", "1.2.3.5", false},
              {"1.2.3.4", "*.*.*.*", true},
              {"1.2.3.4.5", "1.2.3.4.*", true},
              {"1.2.3.4.5", "2.2.3.4.*", false},
              {"1.2.3.4.5", "*.2.3.4.5", true}});
}

TEST(IsPageAddressInRange, FourFieldsAreFiveWithAZeroInFront) {
  ExpectRows({{"1.2.3.4", "0.1.2.3.4", true},
              {"0.1.2.3.4", "1.2.3.4", true},
              {"1.2.3.4", "*.1.2.3.4", true},
              {"1.2.3.4", "5.1.2.3.4", false},
              {"5.1.2.3.4", "1.2.3.4", false},
              {"5.1.2.3.4", "*.*.*.*", false},
              {"0.1.2.3.4", "*.*.*.*", true},
              {"5.1.2.3.4", "*.*.*.*.*", true},
              {"1.2.3.4", "*.*.*.*.*", true}});
}

TEST(IsPageAddressInRange, AnAddressWithAWildcardLiesInItselfAlone) {
  ExpectRows({{"1.2.*.4", "1.2.*.4", true},
              {"1.2.*.4", "1.2.*.*", false},
              {"1.2.*.4", "*.*.*.*.*", false},
              {"*.*.*.*", "*.*.*.*", true},
              {"*.*.*.*", "0.*.*.*.*", false}});
}

TEST(IsPageAddressInRange, LeadingZerosDoNotCountAndMakeNoOctalNumber) {
  ExpectRows({{"01.002.3.4", "1.2.3.4", true},
              {"1.2.3.4", "01.002.3.0004", true},
              {"010.2.3.4", "8.2.3.4", false},
              {"010.2.3.4", "10.2.3.4", true},
              {"0.0.0.0", "00.000.0.0.0", true}});
}

TEST(IsPageAddressInRange, AMixedFieldIsTwoNumbersAndShiftsTheRest) {
  ExpectRows({// 1 -1 2 3: the 4 is read no more
              {"1.9.2.3", "1*.2.3.4", true},
              {"1.9.2.4", "1*.2.3.4", false},
              // -1 -1 2 3
              {"8.9.2.3", "**.2.3.4", true},
              {"8.9.3.3", "**.2.3.4", false},
              // -11 2 3 4: no page has such a field
              {"1.2.3.4", "*1.2.3.4", false},
              {"11.2.3.4", "*1.2.3.4", false},
              // 1 -12 2 3
              {"1.2.2.3", "1*2.2.3.4", false},
              // 1 2 3 4 -1: the wildcard is read no more
              {"1.2.3.4", "1.2.3.4*", true},
              {"1.2.3.5", "1.2.3.4*", false},
              // 0 -1 1 2 3 in five fields
              {"7.1.2.3", "0*.1.2.3.4", true},
              {"5.7.1.2.3", "0*.1.2.3.4", false}});
}

TEST(IsPageAddressInRange, ANumberOutOfRangeIsTheLimitAndTheRestIsZero) {
  ExpectRows({{"2147483647.0.0.0", "2147483648.7.7.7", true},
              {"2147483647.0.0.1", "2147483648.7.7.7", false},
              {"99999999999999999999.1.2.3", "2147483648.4.5.6", true},
              {"99999999999999999999.1.2.3", "*.0.0.0", true},
              {"99999999999999999999.1.2.3", "*.1.*.*", false},
              {"2147483647.1.2.3", "2147483647.1.2.*", true},
              {"1.4294967297.3.4", "1.1.3.4", false},
              {"1.4294967297.3.4", "1.2147483647.0.0", true},
              {"0.0.0.0.0", "*9999999999.1.2.3.4", false},
              // beyond the limit downwards, and a wildcard that is read no more
              {"1.2.3.4", "1.2147483648.*.*", false},
              {"1.2147483647.0.0", "1.2147483648.*.*", true}});
}

TEST(IsPageAddressInRange, TheWordOfSealedInkLiesInItselfAndHoldsItselfAlone) {
  const std::string word = "encrypted-stf2";
  EXPECT_TRUE(IsPageAddressInRange(word, word));
  for (const char* range : {"*.*.*.*", "*.*.*.*.*", "0.0.0.0", "0.0.0.0.0", "1.2.3.4"}) {
    EXPECT_FALSE(IsPageAddressInRange(word, range)) << range;
    EXPECT_FALSE(IsPageAddressInRange(range, word)) << range;
  }
}

TEST(IsPageAddressInRange, WhatIsInvalidLiesNowhereAndHoldsNothing) {
  for (const char* invalid :
       {"", "1.2", "1.2.3", "1.2.3.4.5.6", "1.2.3.a", "encrypted-stf3", "1..2.3.4", "-1.2.3.4"}) {
    EXPECT_FALSE(IsPageAddressInRange(invalid, invalid)) << invalid;
    EXPECT_FALSE(IsPageAddressInRange(invalid, "*.*.*.*.*")) << invalid;
    EXPECT_FALSE(IsPageAddressInRange("1.2.3.4", invalid)) << invalid;
  }
}

TEST(IsPageAddressInRange, AnswersAsModelledForNineHundredOddPairs) {
  ExpectTableAsModelled();
}

TEST(IsPageAddressInRange, AnswersTheSameForEachPairOfFieldsInEachPlace) {
  for (std::size_t place = 0; place < 5; ++place) {
    for (std::size_t i = 0; i < kNumberFields; ++i) {
      for (const std::string& wanted : kFields) {
        std::vector<std::string> address = {"0", "1", "2", "3", "4"};
        std::vector<std::string> range = {"0", "1", "2", "*", "4"};
        address[place] = kFields[i];
        range[place] = wanted;
        EXPECT_EQ(ModelInRange(Join(address), Join(range)),
                  IsPageAddressInRange(Join(address), Join(range)))
            << Join(address) << " in " << Join(range);
      }
    }
  }
}

TEST(IsPageAddressInRange, TheHostsLocaleHasNoSay) {
  for (const char separator : {'.', ' ', '-'}) {
    const ForeignLocale locale(separator);
    ExpectTableAsModelled();
  }
}

TEST(IsPageAddressInRange, BearsFieldsOfAnyLength) {
  const std::string digits(1000000, '7');
  EXPECT_TRUE(IsPageAddressInRange(digits + ".2.3.4", "2147483647.0.0.0"));
  EXPECT_TRUE(IsPageAddressInRange(std::string(1000000, '0') + "1.2.3.4", "1.2.3.4"));
  EXPECT_TRUE(IsPageAddressInRange("1.2.3.4", std::string(300000, '*') + ".9.9.9"));
}

TEST(IsPageAddressInRange, MayBeAskedFromManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(ExpectTableAsModelled);
  for (std::thread& thread : threads) thread.join();
}
