#include "database/Catalogue.h"

#include <gmock/gmock.h>

#include "Inks.h"

using namespace Inbox;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CatalogueTest : public InboxFixture {
 protected:
  // Pages 1.1.1.1, 1.1.1.2, ... with the ids 1, 2, ..., one after the other.
  void Fill(int pages) {
    for (int i = 1; i <= pages; ++i) {
      Keep(InkOf(("1.1.1." + std::to_string(i)).c_str(), static_cast<std::uint64_t>(i) * 1000), i);
    }
  }

  std::vector<std::int64_t> Search(const std::string& text) {
    PageQuery query;
    query.text = text;
    return Ids(query);
  }
};

}  // namespace

TEST_F(CatalogueTest, TheNewestComesFirst) {
  Fill(3);
  EXPECT_THAT(Ids(), ElementsAre(3, 2, 1));
  Keep(InkOf("1.1.1.1", 99000), 100);
  EXPECT_THAT(Ids(), ElementsAre(1, 3, 2));
}

TEST_F(CatalogueTest, AListGoesOnWhereItEnded) {
  Fill(5);
  PageQuery query;
  query.limit = 2;
  bool has_more = false;
  auto rows = catalogue().Find(query, has_more);
  EXPECT_TRUE(has_more);
  query.after_arrived_ms = rows.back().arrived_ms;
  query.after_id = rows.back().id;
  EXPECT_THAT(Ids(query), ElementsAre(3, 2));
  query.after_arrived_ms = 2;
  query.after_id = 2;
  rows = catalogue().Find(query, has_more);
  EXPECT_FALSE(has_more);
  EXPECT_EQ(rows.size(), 1u);
}

TEST_F(CatalogueTest, PagesThatArrivedTogetherAreAllListed) {
  for (int i = 1; i <= 3; ++i) Keep(InkOf(("1.1.1." + std::to_string(i)).c_str()), 7);
  PageQuery query;
  query.after_arrived_ms = 7;
  query.after_id = 3;
  EXPECT_THAT(Ids(query), ElementsAre(2, 1));
}

TEST_F(CatalogueTest, SearchLooksAtTitleAddressAndPen) {
  Fill(2);
  Keep(InkOf("1.2.3.4", 1, 0xABCD), 9);
  keeper().SetTitle(1, "Shopping for Sunday");
  EXPECT_THAT(Search("sunDAY"), ElementsAre(1));
  EXPECT_THAT(Search("1.2.3"), ElementsAre(3));
  EXPECT_THAT(Search("abcd"), ElementsAre(3));
  EXPECT_THAT(Search("nothing"), IsEmpty());
}

TEST_F(CatalogueTest, WildcardsOfTheDatabaseAreLettersInASearch) {
  Fill(1);
  keeper().SetTitle(1, "100% [done]_");
  EXPECT_THAT(Search("100%"), ElementsAre(1));
  EXPECT_THAT(Search("e]_"), ElementsAre(1));
  EXPECT_THAT(Search("1%d"), IsEmpty());
  EXPECT_THAT(Search("'; DROP TABLE pages; --"), IsEmpty());
}

TEST_F(CatalogueTest, AnAddressMayHoldStars) {
  Fill(2);
  Keep(InkOf("2.1.1.1"));
  PageQuery query;
  query.address = "1.1.*.*";
  EXPECT_THAT(Ids(query), ElementsAre(2, 1));
  query.address = "1.1.1.2";
  EXPECT_THAT(Ids(query), ElementsAre(2));
  query.address = "[12].1.1.1";
  EXPECT_THAT(Ids(query), IsEmpty());
}

TEST_F(CatalogueTest, DatesAreThoseOfTheWriting) {
  Fill(3);
  PageQuery query;
  query.from_ms = 2000;
  EXPECT_THAT(Ids(query), ElementsAre(3, 2));
  query.to_ms = 2500;
  EXPECT_THAT(Ids(query), ElementsAre(2));
}

TEST_F(CatalogueTest, InkWithoutATimeCountsAsWrittenWhenItArrived) {
  Keep(InkFile().AddStroke("1.1.1.1", 0).bytes(), 5000);
  PageQuery query;
  query.from_ms = 4000;
  query.to_ms = 6000;
  EXPECT_THAT(Ids(query), ElementsAre(1));
  query.to_ms = 4500;
  EXPECT_THAT(Ids(query), IsEmpty());
}

TEST_F(CatalogueTest, PensAreListedWithTheirPages) {
  Keep(InkOf("1.1.1.1", 1, 1));
  Keep(InkOf("1.1.1.2", 1, 2));
  Keep(InkOf("1.1.1.3", 1, 2));
  keeper().Trash({1}, 1);
  const auto pens = catalogue().Pens();
  ASSERT_EQ(pens.size(), 1u) << "a pen whose pages are all in the trash has none";
  EXPECT_EQ(pens[0].pages, 2);
  EXPECT_EQ(catalogue().Count().pages, 2);
  EXPECT_EQ(catalogue().Count().trash, 1);
  PageQuery query;
  query.pen = "0000-0000-0000-0002";
  EXPECT_THAT(Ids(query), ElementsAre(3, 2));
}

TEST_F(CatalogueTest, ANotebookIsOrderedByPenAndByTheNumbersOfItsPages) {
  const auto page = [](const char* pen, const char* address) {
    PageRow row;
    row.pen = pen;
    row.address = address;
    return row;
  };
  EXPECT_TRUE(ComesBefore(page("A", "9.9.9.9"), page("B", "1.1.1.1")));
  EXPECT_TRUE(ComesBefore(page("A", "1.2.3.9"), page("A", "1.2.3.10")));
  EXPECT_FALSE(ComesBefore(page("A", "1.2.3.10"), page("A", "1.2.3.9")));
  EXPECT_TRUE(ComesBefore(page("A", "1.2.3.009"), page("A", "1.2.3.10")));
  EXPECT_TRUE(ComesBefore(page("A", "1.2.3.10"), page("A", "1.2.3.99999999999999999999")));
  EXPECT_FALSE(ComesBefore(page("A", "1.2.3.4"), page("A", "1.2.3.4")));
}

TEST_F(CatalogueTest, ChangesThatAreNotKeptAnyMoreAreTold) {
  Fill(3);
  EXPECT_EQ(catalogue().ChangesAfter(1, 100)->size(), 2u);
  EXPECT_TRUE(catalogue().ChangesAfter(3, 100)->empty());
  EXPECT_FALSE(catalogue().ChangesAfter(4, 100)) << "a number of another database";
  connection_->Execute("DELETE FROM changes WHERE id <= 2");
  EXPECT_TRUE(catalogue().ChangesAfter(2, 100));
  EXPECT_FALSE(catalogue().ChangesAfter(1, 100));
}

TEST_F(CatalogueTest, APageThatIsNotThereIsNone) {
  EXPECT_FALSE(catalogue().FindPage(1));
  EXPECT_FALSE(catalogue().LoadInk(1));
}
