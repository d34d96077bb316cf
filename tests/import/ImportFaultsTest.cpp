// Faults of the ink library in the middle of an import: each is one line in the log, and costs no
// more ink than it must.

#include "import/ImportFixture.h"
#include "support/FailingInk.h"

namespace {

typedef std::vector<std::string> Names;

class ImportFault : public ImportFixture {
 protected:
  ~ImportFault() override { LetInkCallFail(nullptr, 0); }

  static std::string TwoPages() {
    return InkFile()
        .AddStroke("1.1.1.1", 100)
        .AddStroke("2.2.2.2", 200)
        .AddStroke("1.1.1.1", 300)
        .bytes();
  }

  // The one line of level 1 beside the import's own.
  std::string Fault() const {
    const std::vector<std::string> errors = Errors();
    return errors.empty() ? "" : errors[0];
  }
};

TEST_F(ImportFault, InThePenEndsTheImport) {
  LetInkCallFail("Stf2InkDataGetPenIdAsString", STF2_OUT_OF_MEMORY);
  EXPECT_FALSE(Import(TwoPages()));
  EXPECT_EQ(Fault(), "Stf2InkDataGetPenIdAsString() failed: 4");
  EXPECT_TRUE(Stored().empty());
}

TEST_F(ImportFault, InTheSplitEndsTheImport) {
  LetInkCallFail("Stf2InkDataSplit", STF2_OUT_OF_MEMORY);
  EXPECT_FALSE(Import(TwoPages()));
  EXPECT_EQ(Fault(), "Stf2InkDataSplit() failed: 4");
  EXPECT_TRUE(Stored().empty());
}

TEST_F(ImportFault, InTheItemsOfAPartCostsThatPart) {
  LetInkCallFail("Stf2InkDataGetItems", STF2_OUT_OF_MEMORY);
  EXPECT_FALSE(Import(TwoPages()));
  EXPECT_EQ(Fault(), "Stf2InkDataGetItems() failed: 4");
  EXPECT_EQ(StoredNames(), Names{Stroke("2.2.2.2/200_200")});
}

TEST_F(ImportFault, InTheTypeOfAnItemSkipsTheItem) {
  LetInkCallFail("Stf2InkItemGetType", STF2_OUT_OF_MEMORY);
  EXPECT_TRUE(Import(TwoPages()));
  EXPECT_EQ(Errors(), Names{"Stf2InkItemGetType() failed: 4"});
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/300_300"), Stroke("2.2.2.2/200_200")}));
}

TEST_F(ImportFault, InAPageAddressSkipsTheStrokeWithItsTime) {
  LetInkCallFail("Stf2StrokeItemGetPageAddressAsString", STF2_OUT_OF_MEMORY);
  EXPECT_TRUE(Import(TwoPages()));
  EXPECT_EQ(Errors(), Names{"Stf2StrokeItemGetPageAddressAsString() failed: 4"});
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/300_300"), Stroke("2.2.2.2/200_200")}));
}

TEST_F(ImportFault, ThePageAddressIsAskedForOnlyUntilThereIsOne) {
  LetInkCallFail("Stf2StrokeItemGetPageAddressAsString", STF2_OUT_OF_MEMORY, 2);
  EXPECT_TRUE(Import(TwoPages()));  // one call for each of the two parts
  EXPECT_TRUE(Errors().empty());
}

TEST_F(ImportFault, InTheSamplesSkipsTheStrokesTime) {
  LetInkCallFail("Stf2StrokeItemGetSamples", STF2_OUT_OF_MEMORY);
  EXPECT_TRUE(Import(TwoPages()));
  EXPECT_EQ(Errors(), Names{"Stf2StrokeItemGetSamples() failed: 4"});
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/300_300"), Stroke("2.2.2.2/200_200")}));
}

TEST_F(ImportFault, InASamplesTypeTakesTheNextSample) {
  LetInkCallFail("Stf2SampleGetType", STF2_OUT_OF_MEMORY, 1);  // the first coordinate
  EXPECT_TRUE(Import(TwoPages()));
  EXPECT_EQ(Errors(), Names{"Stf2SampleGetType() failed: 4"});
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/110_300"), Stroke("2.2.2.2/200_200")}));
}

TEST_F(ImportFault, InACoordinatesTimeTakesTheNextSample) {
  LetInkCallFail("Stf2CoordinateGetTime", STF2_OUT_OF_MEMORY);
  EXPECT_TRUE(Import(TwoPages()));
  EXPECT_EQ(Errors(), Names{"Stf2CoordinateGetTime() failed: 4"});
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/110_300"), Stroke("2.2.2.2/200_200")}));
}

TEST_F(ImportFault, InTheWriterCostsThatPart) {
  const std::string ink = TwoPages();
  LetInkCallFail("Stf2WriterWriteDataHandle", STF2_OUT_OF_MEMORY);
  EXPECT_FALSE(Import(ink));
  EXPECT_EQ(Fault(), "Stf2WriterWriteDataHandle() failed");
  EXPECT_EQ(StoredNames(), Names{Stroke("2.2.2.2/200_200")});
}

TEST_F(ImportFault, AMissingPartClearsWhatWasThere) {
  std::string page = "1.2.3.4";
  unsigned long long first = 1;
  unsigned long long last = 2;
  EXPECT_FALSE(service->GetSTF2InkDataInfo(nullptr, page, first, last));
  EXPECT_EQ(page, "");
  EXPECT_EQ(first, 0u);
  EXPECT_EQ(last, 0u);
  EXPECT_EQ(Errors(), Names{"Stf2InkDataGetItems() failed: 1"});
}

}  // namespace
