#include "routing/MergedPackage.h"

#include <thread>

#include "routing/ClientFixture.h"
#include "support/FailingInk.h"
#include "support/InkFile.h"

namespace fs = boost::filesystem;

namespace {

typedef std::vector<StrokeInInk> Ink;

class MergedPackage : public ClientFixture {
 protected:
  ~MergedPackage() override { LetInkCallFail(nullptr, 0); }

  // A stroke file with one stroke at `time_ms`, and its id.
  StrokeID AddInk(const std::string& page, const std::string& name, std::uint64_t time_ms) {
    AddStroke(page, name, InkFile().AddStroke(page.c_str(), time_ms).bytes());
    return Stroke(page, name);
  }

  // A stroke file that holds these bytes, and its id.
  StrokeID AddBytes(const std::string& name, const std::string& bytes) {
    AddStroke("1.2.3.4", name, bytes);
    return Stroke("1.2.3.4", name);
  }

  // The ink that the strokes make. Empty if merging them failed.
  Ink Merge(const Strokes& strokes) {
    TalvoQuillpost::Common::ScratchFile file;
    if (!TalvoQuillpost::MergeStrokes("PEN", strokes, file, packed)) return {};
    EXPECT_EQ(file.path().parent_path(), root.scratch());
    EXPECT_EQ(CountScratchFiles(), 1u);
    return StrokesOf(ReadFile(file.path()));
  }

  std::vector<std::string> Errors() const {
    std::vector<std::string> errors;
    for (const auto& line : log.lines()) {
      if (line.first == 1) errors.push_back(line.second);
    }
    return errors;
  }

  Strokes packed = {Stroke("9.9.9.9", "from before")};
};

TEST_F(MergedPackage, HoldsTheInkOfItsStrokesInTheirOrder) {
  const Strokes strokes = {AddInk("2.2.2.2", "a", 200), AddInk("1.1.1.1", "b", 100),
                           AddInk("3.3.3.3", "c", 300)};
  EXPECT_EQ(Merge(strokes), (Ink{{"2.2.2.2", 200}, {"1.1.1.1", 100}, {"3.3.3.3", 300}}));
  EXPECT_EQ(packed, strokes);
  EXPECT_EQ(log.lines().size(), 6u);
  EXPECT_EQ(log.lines()[0], Exporting("2.2.2.2/a.stf2"));
  EXPECT_EQ(log.lines()[2], Exporting("1.1.1.1/b.stf2"));
  EXPECT_EQ(log.lines()[4], Exporting("3.3.3.3/c.stf2"));
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(MergedPackage, HoldsEveryItemOfEveryStrokeFile) {
  AddStroke(
      "1.2.3.4", "a",
      InkFile().AddStroke("1.2.3.4", 1).AddProperty("k", "v").AddStroke("1.2.3.4", 2).bytes());
  AddStroke("1.2.3.4", "b", InkFile().AddStroke("1.2.3.4", 3).AddStroke("1.2.3.4", 4).bytes());
  EXPECT_EQ(Merge({Stroke("1.2.3.4", "a"), Stroke("1.2.3.4", "b")}),
            (Ink{{"1.2.3.4", 1}, {"1.2.3.4", 2}, {"1.2.3.4", 3}, {"1.2.3.4", 4}}));
}

TEST_F(MergedPackage, OfManyStrokesHoldsThemAll) {
  Strokes strokes;
  for (int i = 100; i < 300; ++i) {
    strokes.insert(AddInk("1.2.3.4", std::to_string(i), static_cast<std::uint64_t>(i)));
  }
  EXPECT_EQ(Merge(strokes).size(), 200u);
  EXPECT_EQ(packed, strokes);
}

TEST_F(MergedPackage, LeavesOutStrokesThatAreNoInk) {
  const StrokeID first = AddBytes("a", "no ink");
  const StrokeID second = AddInk("1.2.3.4", "b", 100);
  const StrokeID third = AddBytes("c", "no ink");
  const StrokeID fourth = AddInk("1.2.3.4", "d", 200);
  EXPECT_EQ(Merge({first, second, third, fourth}), (Ink{{"1.2.3.4", 100}, {"1.2.3.4", 200}}));
  EXPECT_EQ(packed, (Strokes{second, fourth}));
  EXPECT_EQ(Errors(),
            (std::vector<std::string>{"Stf2InkDataInitialize('1.2.3.4/a.stf2') failed: 2",
                                      "Stf2InkDataInitialize('1.2.3.4/c.stf2') failed: 2"}));
}

TEST_F(MergedPackage, LeavesOutSealedInk) {
  const StrokeID plain = AddInk("1.2.3.4", "a", 100);
  const StrokeID sealed = AddBytes("b", Seal(InkFile().AddStroke("1.2.3.4", 200).bytes()));
  EXPECT_EQ(Merge({plain, sealed}), (Ink{{"1.2.3.4", 100}}));
  EXPECT_EQ(Errors(),
            (std::vector<std::string>{"Stf2InkDataInitialize('1.2.3.4/b.stf2') failed: 3"}));
}

TEST_F(MergedPackage, LeavesOutEmptyFilesInSilence) {
  const StrokeID empty = AddBytes("a", "");
  const StrokeID good = AddInk("1.2.3.4", "b", 100);
  EXPECT_EQ(Merge({empty, good}), (Ink{{"1.2.3.4", 100}}));
  EXPECT_EQ(packed, Strokes{good});
  EXPECT_TRUE(Errors().empty());
}

TEST_F(MergedPackage, LeavesOutStrokesThatCanNotBeExported) {
  const StrokeID good = AddInk("1.2.3.4", "a", 100);
  EXPECT_EQ(Merge({good, Stroke("1.2.3.4", "missing")}), (Ink{{"1.2.3.4", 100}}));
  EXPECT_EQ(packed, Strokes{good});
  EXPECT_EQ(Errors(),
            (std::vector<std::string>{
                "Ink Export failed: file 'ROOT/PEN/1.2.3.4/missing.stf2' does not exists."}));
}

TEST_F(MergedPackage, LeavesOutAStrokeWhoseItemsCanNotBeRead) {
  const StrokeID first = AddInk("1.2.3.4", "a", 100);
  const StrokeID second = AddInk("1.2.3.4", "b", 200);
  const StrokeID third = AddInk("1.2.3.4", "c", 300);
  LetInkCallFail("Stf2InkDataGetItems", STF2_OUT_OF_MEMORY);  // the base's items are not asked for
  TalvoQuillpost::Common::ScratchFile file;
  ASSERT_TRUE(TalvoQuillpost::MergeStrokes("PEN", {first, second, third}, file, packed));
  EXPECT_EQ(packed, (Strokes{first, third}));
  EXPECT_EQ(StrokesOf(ReadFile(file.path())), (Ink{{"1.2.3.4", 100}, {"1.2.3.4", 300}}));
  EXPECT_EQ(Errors(),
            (std::vector<std::string>{"Stf2InkDataGetItems('1.2.3.4/b.stf2') failed: 4"}));
}

TEST_F(MergedPackage, LeavesOutAStrokeThatCanNotBeMerged) {
  const StrokeID first = AddInk("1.2.3.4", "a", 100);
  const StrokeID second = AddInk("1.2.3.4", "b", 200);
  LetInkCallFail("Stf2InkDataMergeInkItems", STF2_OUT_OF_MEMORY);
  EXPECT_EQ(Merge({first, second}), (Ink{{"1.2.3.4", 100}}));
  EXPECT_EQ(packed, Strokes{first});
  EXPECT_EQ(Errors(),
            (std::vector<std::string>{"Stf2InkDataMergeInkItems('1.2.3.4/b.stf2') failed: 4"}));
}

TEST_F(MergedPackage, WithoutAGoodStrokeFailsAndLeavesNoFile) {
  EXPECT_EQ(Merge({AddBytes("a", "no ink"), AddBytes("b", "")}), Ink());
  EXPECT_TRUE(packed.empty());
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(MergedPackage, ThatCanNotBeWrittenFailsAndLeavesNoFile) {
  const Strokes strokes = {AddInk("1.2.3.4", "a", 100), AddInk("1.2.3.4", "b", 200)};
  LetInkCallFail("Stf2WriterWriteDataHandle", STF2_OUT_OF_MEMORY);
  EXPECT_EQ(Merge(strokes), Ink());
  EXPECT_EQ(CountScratchFiles(), 0u);
}

// The scratch file is taken away before the ink is written to it, and not made again.
TEST_F(MergedPackage, WhoseFileVanishesFailsAndLeavesNoFile) {
  const Strokes strokes = {AddInk("1.2.3.4", "a", 100), AddInk("1.2.3.4", "b", 200)};
  InkCallPause pause("Stf2WriterWriteDataHandle");
  std::thread other([&] {
    EXPECT_TRUE(pause.WaitUntilReached());
    for (const fs::directory_entry& entry : fs::directory_iterator(root.scratch())) {
      fs::remove(entry.path());
    }
    pause.LetGo();
  });
  EXPECT_EQ(Merge(strokes), Ink());
  other.join();
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(MergedPackage, WithoutAScratchDirectoryFails) {
  const Strokes strokes = {AddInk("1.2.3.4", "a", 100), AddInk("1.2.3.4", "b", 200)};
  WriteFile(root.scratch(), "in the way");
  EXPECT_EQ(Merge(strokes), Ink());
  EXPECT_TRUE(packed.empty());
}

TEST_F(MergedPackage, IsOfferedWithTheStrokesThatAreInIt) {
  const Strokes strokes = {AddInk("2.2.2.2", "a", 200), AddBytes("b", "no ink"),
                           AddInk("1.1.1.1", "c", 100)};
  Route();
  OnDeliveryThread([&] { service->DeliverInk(client, "PEN", InkType::kSTF2, strokes); });
  ASSERT_EQ(CountNotifications(), 1u);
  EXPECT_EQ(LastPackage()["InkPackagePages"].size(), 2u);
  EXPECT_EQ(LastPackage()["InkPackagePages"][0], "1.1.1.1");
  EXPECT_EQ(LastPackage()["InkPackagePages"][1], "2.2.2.2");
  EXPECT_EQ(StrokesOf(ReadFile(LastPath())), (Ink{{"2.2.2.2", 200}, {"1.1.1.1", 100}}));
  EXPECT_EQ(Packages().at("PEN").strokes,
            (Strokes{Stroke("2.2.2.2", "a"), Stroke("1.1.1.1", "c")}));
  EXPECT_EQ(CountScratchFiles(), 1u);  // the copies that it was made from are gone
  Confirm();
  // What was left out is undelivered, and so the next on offer.
  EXPECT_EQ(Undelivered("Alpha"), Strokes{Stroke("1.2.3.4", "b")});
  EXPECT_EQ(ReadFile(LastPath()), "no ink");
}

TEST_F(MergedPackage, OfNoGoodStrokeIsNotOffered) {
  const Strokes strokes = {AddBytes("a", "no ink"), AddBytes("b", "no ink")};
  OnDeliveryThread([&] { service->DeliverInk(client, "PEN", InkType::kSTF2, strokes); });
  EXPECT_EQ(CountNotifications(), 0u);
  EXPECT_TRUE(Packages().empty());
  EXPECT_EQ(CountScratchFiles(), 0u);
}

}  // namespace
