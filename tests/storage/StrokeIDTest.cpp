#include "storage/StrokeID.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>
#include <vector>

#include "storage/StoreTest.h"

using TalvoQuillpost::Storage::IsStrokeIDValid;
using TalvoQuillpost::Storage::StrokeID;
using TalvoQuillpost::Storage::StrokeIDToFileName;

TEST(StrokeID, TextFormsLeaveEmptyFieldsOut) {
  struct Row {
    StrokeID id;
    const char* text;
    const char* file_name;
  };
  const std::vector<Row> rows = {
      {{"1.2.3.4", "100_200", "stf2"}, "1.2.3.4/100_200.stf2", "100_200.stf2"},
      {{"", "a", "stf2"}, "a.stf2", "a.stf2"},
      {{"1.2.3.4", "", "stf2"}, "1.2.3.4/unnamed.stf2", "unnamed.stf2"},
      {{"1.2.3.4", "a", ""}, "1.2.3.4/a", "a"},
      {{"", "", "stf2"}, "unnamed.stf2", "unnamed.stf2"},
      {{"1.2.3.4", "", ""}, "1.2.3.4/unnamed", "unnamed"},
      {{"", "a", ""}, "a", "a"},
      {{"", "", ""}, "unnamed", "unnamed"},
      {{"1.2.3.4", "x.y", "stf2"}, "1.2.3.4/x.y.stf2", "x.y.stf2"},
      {{"encrypted-stf2", "7", "stf2"}, "encrypted-stf2/7.stf2", "7.stf2"}};
  for (const Row& row : rows) {
    EXPECT_EQ(row.text, row.id.string());
    EXPECT_EQ(row.file_name, StrokeIDToFileName(row.id));
  }
}

TEST(StrokeID, IsOrderedByExtensionThenNameThenPage) {
  // Each one comes before the next, though its other fields say otherwise.
  const std::vector<StrokeID> ascending = {
      {"9.9.9.9", "z", ""},         {"9.9.9.9", "z", "a"},        {"9.9.9.9", "", "stf2"},
      {"9.9.9.9", "10", "stf2"},    {"1.1.1.1", "9", "stf2"},     {"1.1.1.1", "B", "stf2"},
      {"9.9.9.9", "a", "stf2"},     {"9.9.9.9", "ab", "stf2"},    {"", "b", "stf2"},
      {"10.1.1.1", "b", "stf2"},    {"9.9.9.9", "b", "stf2"},     {"1.1.1.1", "c", "stf2"},
      {"1.1.1.1", "c\x7F", "stf2"}, {"1.1.1.1", "c\x80", "stf2"}, {"1.1.1.1", "a", "stf20"},
      {"1.1.1.1", "a", "stf3"}};
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(i < j, ascending[i] < ascending[j])
          << ascending[i].string() << " and " << ascending[j].string();
      EXPECT_EQ(i == j, ascending[i] == ascending[j]);
    }
  }
}

TEST(StrokeID, ASetIsGroupedByExtensionAndNameNotByPage) {
  const std::set<StrokeID> ids = {
      {"1.1.1.1", "c", "stf2"}, {"9.9.9.9", "b", "stf2"}, {"5.5.5.5", "b", "stf2"},
      {"9.9.9.9", "z", "a"},    {"5.5.5.5", "b", "stf2"},
  };
  EXPECT_THAT(ids, testing::ElementsAre(
                       StrokeID{"9.9.9.9", "z", "a"}, StrokeID{"5.5.5.5", "b", "stf2"},
                       StrokeID{"9.9.9.9", "b", "stf2"}, StrokeID{"1.1.1.1", "c", "stf2"}));
}

TEST(StrokeID, IsInvalidIfItNamesNoFileOfItsPage) {
  EXPECT_TRUE(IsStrokeIDValid({"1.2.3.4", "a", "stf2"}));
  EXPECT_TRUE(IsStrokeIDValid({"1.2.3.4", "a", ""}));
  EXPECT_TRUE(IsStrokeIDValid({"1.2.3.4", "..", "stf2"}));
  EXPECT_TRUE(IsStrokeIDValid({"1.2.3.4", ".a b\\\n\xFF", "x y"}));
  EXPECT_TRUE(IsStrokeIDValid({"not its business", "a", "stf2"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "", "stf2"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", ".", ""}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "..", ""}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "../x", "stf2"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "/", "stf2"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "a", "stf2/x"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "a", "/../../x"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", std::string("a\0b", 3), "stf2"}));
  EXPECT_FALSE(IsStrokeIDValid({"1.2.3.4", "a", std::string("\0", 1)}));
}
