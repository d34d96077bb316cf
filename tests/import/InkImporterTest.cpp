// What becomes of the ink of an imported file: which stroke files, under which names.

#include "import/InkImporter.h"

#include <TalvoCppUtils/PenId.h>
#include <time.h>

#include "import/ImportFixture.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;

namespace {

typedef std::vector<std::string> Names;
typedef std::vector<StrokeInInk> Strokes;

Stf2Sample Sample(std::uint8_t type, std::uint32_t offset_ms, std::uint8_t flags) {
  return {offset_ms, 1000, 2000, 100, type, flags};
}

class ImportInk : public ImportFixture {
 protected:
  std::string FailureLine() const {
    return "Importing STF2 from '" + (root.path() / "capture.stf2").string() + "' failed.";
  }
};

TEST_F(ImportInk, ThreePagesYieldThreeStrokeFilesWithNamesOfTheirOwn) {
  InkFile ink;
  ink.AddStroke("1.2.3.4", 1700000000123)
      .AddStroke("1.2.3.5", 1700000001000)
      .AddStroke("1.2.3.4", 1700000004567)
      .AddStroke("0.1.2.3.6", 1700000005000)
      .AddStroke("1.2.3.5", 1700000006000);
  EXPECT_TRUE(Import(ink.bytes()));
  const auto stored = Stored();
  EXPECT_EQ(StoredNames(), (Names{Stroke("0.1.2.3.6/1700000005000_1700000005000"),
                                  Stroke("1.2.3.4/1700000000123_1700000004567"),
                                  Stroke("1.2.3.5/1700000001000_1700000006000")}));
  EXPECT_EQ(StrokesOf(stored.at(Stroke("1.2.3.4/1700000000123_1700000004567"))),
            (Strokes{{"1.2.3.4", 1700000000123}, {"1.2.3.4", 1700000004567}}));
  EXPECT_EQ(StrokesOf(stored.at(Stroke("0.1.2.3.6/1700000005000_1700000005000"))),
            (Strokes{{"0.1.2.3.6", 1700000005000}}));
}

TEST_F(ImportInk, PartsAreStoredInTheOrderOfTheirFirstStrokes) {
  EXPECT_TRUE(Import(InkFile().AddStroke("9.9.9.9", 100).AddStroke("1.1.1.1", 200).bytes()));
  std::vector<std::string> imported;
  for (const auto& line : log.lines()) {
    if (line.second.find("Ink was imported to") == 0) imported.push_back(line.second);
  }
  ASSERT_EQ(imported.size(), 2u);
  EXPECT_NE(imported[0].find("9.9.9.9"), std::string::npos);
  EXPECT_NE(imported[1].find("1.1.1.1"), std::string::npos);
}

TEST_F(ImportInk, ThePenDirectoryIsThePensTextForm) {
  EXPECT_TRUE(Import(InkFile(7).AddStroke("1.2.3.4", 100).bytes()));
  EXPECT_EQ(StoredNames(), Names{"0000-0000-0000-0007/1.2.3.4/100_100.stf2"});
}

TEST_F(ImportInk, TheNameIsTheTimeOfTheFirstAndOfTheLastTimedStrokeAsTheyStand) {
  EXPECT_TRUE(Import(InkFile()
                         .AddStroke("1.2.3.4", 0)
                         .AddStroke("1.2.3.4", 300)
                         .AddStroke("1.2.3.4", 900)
                         .AddStroke("1.2.3.4", 0)
                         .AddStroke("1.2.3.4", 200)
                         .AddStroke("1.2.3.4", 0)
                         .bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.2.3.4/300_200")});
}

TEST_F(ImportInk, AStrokesTimeIsThatOfItsFirstTimedCoordinate) {
  EXPECT_TRUE(Import(InkFile()
                         .AddStroke("1.2.3.4", 1000,
                                    {Sample(STF2_SAMPLE_PEN_DOWN, 1, STF2_SAMPLE_HAS_TIME),
                                     Sample(STF2_SAMPLE_COORDINATE, 2, 0),
                                     Sample(STF2_SAMPLE_COORDINATE, 30, STF2_SAMPLE_HAS_TIME),
                                     Sample(STF2_SAMPLE_COORDINATE, 40, STF2_SAMPLE_HAS_TIME),
                                     Sample(STF2_SAMPLE_PEN_UP, 50, STF2_SAMPLE_HAS_TIME)})
                         .bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.2.3.4/1030_1030")});
}

TEST_F(ImportInk, TimesUseAll64Bits) {
  const std::uint64_t last = UINT64_MAX - 10;
  EXPECT_TRUE(Import(InkFile().AddStroke("1.2.3.4", 1).AddStroke("1.2.3.4", last).bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.2.3.4/1_18446744073709551605")});
}

TEST_F(ImportInk, TimesAreWrittenWithoutTheHostsPunctuation) {
  const ForeignLocale locale;
  EXPECT_TRUE(Import(InkFile().AddStroke("1.2.3.4", 1700000000123).bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.2.3.4/1700000000123_1700000000123")});
}

TEST_F(ImportInk, OnlyStrokesHaveTimesAndPages) {
  const std::string ink = InkFile()
                              .AddMarker("9.9.9.9", 50, "start")
                              .AddProperty("author", "somebody")
                              .AddStroke("1.2.3.4", 100)
                              .AddMarker("1.2.3.4", 900, "end")
                              .bytes();
  EXPECT_TRUE(Import(ink));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.2.3.4/100_100")});
}

TEST_F(ImportInk, APartWithoutATimeFailsTheImportAndNotTheOtherParts) {
  EXPECT_FALSE(Import(InkFile()
                          .AddStroke("1.1.1.1", 100)
                          .AddStroke("2.2.2.2", 0)
                          .AddStroke("3.3.3.3", 300)
                          .bytes()));
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/100_100"), Stroke("3.3.3.3/300_300")}));
  EXPECT_EQ(Errors(), Names{FailureLine()});
}

TEST_F(ImportInk, APartWithoutAPageFailsTheImportAndNotTheOtherParts) {
  EXPECT_FALSE(Import(InkFile()
                          .AddStroke(nullptr, 100)
                          .AddStroke("1.1.1.1", 200)
                          .AddStroke("", 300)
                          .AddStroke("3.3.3.3", 400)
                          .bytes()));
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.1.1.1/200_200"), Stroke("3.3.3.3/400_400")}));
  EXPECT_EQ(Errors(), Names{FailureLine()});
}

TEST_F(ImportInk, AStrokeWithoutSamplesIsReportedAndDoesNotHarmItsPart) {
  EXPECT_TRUE(Import(InkFile().AddStroke("1.2.3.4", 50, {}).AddStroke("1.2.3.4", 100).bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.2.3.4/100_100")});
  EXPECT_EQ(Errors(), Names{"Stf2StrokeItemGetSamples() returned no samples"});
}

TEST_F(ImportInk, AStrokeWithoutCoordinatesHasNoTime) {
  EXPECT_FALSE(Import(InkFile()
                          .AddStroke("1.2.3.4", 50,
                                     {Sample(STF2_SAMPLE_PEN_DOWN, 1, STF2_SAMPLE_HAS_TIME),
                                      Sample(STF2_SAMPLE_PEN_UP, 2, STF2_SAMPLE_HAS_TIME)})
                          .bytes()));
  EXPECT_TRUE(Stored().empty());
  EXPECT_EQ(Errors(), Names{FailureLine()});
}

// Splitting makes parts of one page each. What a part is taken for does not rely on it.
TEST_F(ImportInk, APartsPageIsTheFirstThatAStrokeHasAndEveryStrokeHasATime) {
  struct Row {
    std::vector<StrokeInInk> strokes;  // a page "none" is no page
    const char* page;
    unsigned long long first;
    unsigned long long last;
    bool expected;
  };
  const std::vector<Row> rows = {{{{"1.1.1.1", 300}, {"2.2.2.2", 50}}, "1.1.1.1", 300, 50, true},
                                 {{{"none", 100}, {"2.2.2.2", 200}}, "2.2.2.2", 100, 200, true},
                                 {{{"1.1.1.1", 0}, {"none", 200}}, "1.1.1.1", 200, 200, true},
                                 {{{"none", 100}, {"none", 200}}, "", 100, 200, false},
                                 {{{"1.1.1.1", 0}, {"2.2.2.2", 0}}, "1.1.1.1", 0, 0, false}};
  for (const Row& row : rows) {
    InkFile file;
    for (const StrokeInInk& stroke : row.strokes) {
      file.AddStroke(stroke.page == "none" ? nullptr : stroke.page.c_str(), stroke.start_time_ms);
    }
    const std::string bytes = file.bytes();
    InkDataHandle* part = nullptr;
    ASSERT_EQ(Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &part),
              STF2_SUCCESS);
    std::string page = "stale";
    unsigned long long first = 7;
    unsigned long long last = 7;
    EXPECT_EQ(service->GetSTF2InkDataInfo(part, page, first, last), row.expected) << row.page;
    Stf2InkDataFreeHandle(&part);
    EXPECT_EQ(page, row.page);
    EXPECT_EQ(first, row.first) << row.page;
    EXPECT_EQ(last, row.last) << row.page;
  }
}

TEST_F(ImportInk, InkWithoutStrokesIsASuccessWithNothingToStore) {
  EXPECT_TRUE(Import(InkFile().AddProperty("a", "b").AddMarker("1.2.3.4", 5, "m").bytes()));
  EXPECT_TRUE(Import(InkFile().bytes()));
  EXPECT_TRUE(Stored().empty());
  EXPECT_TRUE(Errors().empty());
}

TEST_F(ImportInk, AnInvalidPageAddressIsRefusedByTheStore) {
  EXPECT_FALSE(Import(InkFile()
                          .AddStroke("../../etc", 100)
                          .AddStroke("1.2.3", 200)
                          .AddStroke("1.1.1.1", 300)
                          .bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.1.1.1/300_300")});
  EXPECT_EQ(Errors(), (Names{"Ink Import failed: invalid Page Address - '../../etc'.",
                             "Ink Import failed: invalid Page Address - '1.2.3'.", FailureLine()}));
}

// A page address may be as long as it likes, a directory's name may not.
TEST_F(ImportInk, APartWhoseDirectoryCanNotBeMadeDoesNotHarmTheOthers) {
  const std::string page = "1.2.3." + std::string(300, '4');
  EXPECT_FALSE(Import(InkFile().AddStroke(page.c_str(), 100).AddStroke("1.1.1.1", 300).bytes()));
  EXPECT_EQ(StoredNames(), Names{Stroke("1.1.1.1/300_300")});
  EXPECT_TRUE(log.Has(1, "Ink Import failed: can't create directory '" +
                             (root.storage() / kTestPenSerial / page).string() + "'."));
}

// A page directory without rights.
TEST_F(ImportInk, APartWhoseFileCanNotBeMadeDoesNotHarmTheOthers) {
  const fs::path page = root.storage() / kTestPenSerial / "1.1.1.1";
  fs::create_directories(page);
  fs::permissions(root.path(), fs::all_all);
  for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
    fs::permissions(entry.path(), fs::all_all);
  }
  fs::permissions(page, fs::no_perms);
  {
    const PlainUser user;
    EXPECT_FALSE(Import(InkFile().AddStroke("1.1.1.1", 100).AddStroke("2.2.2.2", 200).bytes()));
  }
  fs::permissions(page, fs::all_all);
  EXPECT_TRUE(fs::exists(root.storage() / Stroke("2.2.2.2/200_200")));
  ASSERT_EQ(Errors().size(), 2u);
  EXPECT_EQ(Errors()[0],
            "Ink Import failed: can't create file '" + (page / "100_100.stf2").string() + "'");
  EXPECT_EQ(Errors()[1], FailureLine());
}

TEST_F(ImportInk, TheSameFileAgainIsStoredUnderANumberedName) {
  const std::string ink = InkFile().AddStroke("1.2.3.4", 100).bytes();
  EXPECT_TRUE(Import(ink));
  EXPECT_TRUE(Import(ink));
  EXPECT_TRUE(Import(ink));
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.2.3.4/100_100-1"), Stroke("1.2.3.4/100_100-2"),
                                  Stroke("1.2.3.4/100_100")}));
}

TEST_F(ImportInk, WhatIsNoInkIsRefused) {
  for (const std::string& bytes :
       {std::string("x"), std::string(1000, '\0'), std::string("STF2STF2STF2STF2STF2STF2")}) {
    log.Clear();
    EXPECT_FALSE(Import(bytes));
    EXPECT_EQ(Errors(), (Names{"Stf2InkDataInitialize() failed: 2", FailureLine()}));
  }
  EXPECT_TRUE(Stored().empty());
}

TEST_F(ImportInk, InkCutShortAtAnyByteIsRefusedAndStoresNothing) {
  const std::string ink = InkFile().AddStroke("1.2.3.4", 100).AddStroke("1.2.3.5", 200).bytes();
  for (std::size_t size = 1; size < ink.size(); ++size) {
    // A buffer of its own, so that a checker of memory sees reading beyond it.
    const std::vector<char> cut(ink.begin(), ink.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(service->ImportSTF2RawData(cut.data(), cut.size())) << size;
  }
  EXPECT_TRUE(Stored().empty());
}

// A few megabytes of properties that a few hundred pages would each repeat.
TEST_F(ImportInk, InkThatCanNotBeSplitIsRefused) {
  const std::string value(8 << 20, 'x');
  InkFile ink;
  ink.AddProperty("key", value.c_str());
  for (int page = 0; page < 200; ++page) {
    ink.AddStroke(("1.2.3." + std::to_string(page)).c_str(), 100);
  }
  EXPECT_FALSE(Import(ink.bytes()));
  ASSERT_EQ(Errors().size(), 2u);
  EXPECT_EQ(Errors()[0].find("Stf2InkDataSplit() failed: "), 0u) << Errors()[0];
  EXPECT_EQ(Errors()[1], FailureLine());
  EXPECT_TRUE(Stored().empty());
}

class ImportSealedInk : public ImportInk {
 protected:
  // The names of stroke files at and after `now`, as imports within some seconds may use them.
  static std::string NameAt(std::time_t second) {
    return Stroke("encrypted-stf2/" + std::to_string(second));
  }
};

TEST_F(ImportSealedInk, IsStoredUnreadUnderTheSecondOfItsImport) {
  const std::string sealed = Seal(InkFile().AddStroke("1.2.3.4", 100).bytes());
  const std::time_t before = ::time(nullptr);
  EXPECT_TRUE(Import(sealed));
  const std::time_t after = ::time(nullptr);
  const auto stored = Stored();
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored.begin()->second, sealed);
  bool found = false;
  for (std::time_t second = before; second <= after; ++second) {
    found = found || stored.begin()->first == NameAt(second);
  }
  EXPECT_TRUE(found) << stored.begin()->first;
  EXPECT_TRUE(log.Has(3, "Importing " + std::to_string(sealed.size()) + " bytes of Ink from Pen '" +
                             kTestPenSerial + "' and Page Address 'encrypted-stf2'..."));
  EXPECT_TRUE(log.Has(
      3, "Complete importing STF2 file '" + (root.path() / "capture.stf2").string() + "'."));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(ImportSealedInk, LiesInTheSamePenDirectoryAsPlainInk) {
  const std::uint64_t pen = 0xFEDCBA9876543210;
  const std::string ink = InkFile(pen).AddStroke("1.2.3.4", 100).bytes();
  EXPECT_TRUE(Import(ink));
  EXPECT_TRUE(Import(Seal(ink)));
  std::vector<fs::path> pens(fs::directory_iterator(root.storage()), fs::directory_iterator());
  EXPECT_EQ(pens, std::vector<fs::path>{root.storage() / TalvoCppUtils::PenId(pen).string()});
  EXPECT_EQ(pens[0].filename(), "FEDC-BA98-7654-3210");
}

TEST_F(ImportSealedInk, ATakenSecondGetsANumber) {
  const std::string sealed = Seal(InkFile().AddStroke("1.2.3.4", 100).bytes());
  const std::time_t now = ::time(nullptr);
  for (int second = 0; second < 100; ++second) {
    WriteFile(root.storage() / NameAt(now + second), "taken");
  }
  EXPECT_TRUE(Import(sealed));
  std::vector<std::string> numbered;
  for (const auto& file : Stored()) {
    if (file.second == sealed) numbered.push_back(file.first);
  }
  ASSERT_EQ(numbered.size(), 1u);
  EXPECT_NE(numbered[0].find("-1.stf2"), std::string::npos) << numbered[0];
}

TEST_F(ImportSealedInk, TwoImportsInOneSecondAreBothStored) {
  const std::string first = Seal(InkFile().AddStroke("1.2.3.4", 100).bytes());
  const std::string second = Seal(InkFile().AddStroke("1.2.3.4", 200).bytes());
  std::time_t began = 0;
  do {  // until both fall into the same second
    fs::remove_all(root.storage());
    began = ::time(nullptr);
    EXPECT_TRUE(Import(first));
    EXPECT_TRUE(Import(second));
  } while (::time(nullptr) != began);
  const std::string name = Stroke("encrypted-stf2/" + std::to_string(began));
  const std::string numbered = Stroke("encrypted-stf2/" + std::to_string(began) + "-1");
  const auto stored = Stored();
  ASSERT_EQ(StoredNames(), (Names{numbered, name}));
  EXPECT_EQ(stored.at(name), first);
  EXPECT_EQ(stored.at(numbered), second);
}

TEST_F(ImportSealedInk, ADamagedEnvelopeIsRefused) {
  const std::string sealed = Seal(InkFile().AddStroke("1.2.3.4", 100).bytes());
  for (const std::size_t size : {std::size_t(8), sealed.size() / 2, sealed.size() - 1}) {
    log.Clear();
    EXPECT_FALSE(Import(sealed.substr(0, size))) << size;
    EXPECT_EQ(Errors(), (Names{"GetEncryptedDataInfo() failed: 2", FailureLine()})) << size;
  }
  EXPECT_TRUE(Stored().empty());
}

// Nobody can see inside: whether the box can be opened is the application's concern.
TEST_F(ImportSealedInk, ADamagedBoxIsStoredAsItIs) {
  std::string sealed = Seal(InkFile().AddStroke("1.2.3.4", 100).bytes());
  const std::size_t middle = sealed.size() / 2 + 40;
  sealed[middle] = static_cast<char>(sealed[middle] ^ 1);
  EXPECT_TRUE(Import(sealed));
  ASSERT_EQ(Stored().size(), 1u);
  EXPECT_EQ(Stored().begin()->second, sealed);
}

// Imports in the importer's queue, and what it says of them, in this order.
class QueuedImports : public ImportInk {
 protected:
  QueuedImports() { WriteFile(file, InkFile().AddStroke("1.2.3.4", 100).bytes()); }

  void Import(const std::string& answer = "answered") {
    importer.Import(file, [this, answer](bool is_stored) {
      said.push_back(is_stored ? answer : answer + ": failed");
    });
  }
  void QueueImport(const std::string& answer = "answered") {
    queue.Post("import", [this, answer] { Import(answer); });
  }
  void RunAll() { queue.io_service().poll(); }

  const fs::path file = root.path() / "ink.stf2";
  Names said;
  TalvoQuillpost::EventQueue queue;
  TalvoQuillpost::InkImporter importer{queue, [this] { said.push_back("stored"); }};
};

// One sync of the disk serves all imports that wait: none is named before the last was read.
TEST_F(QueuedImports, AreCommittedTogether) {
  for (const char* answer : {"one", "two"}) {
    QueueImport(answer);
    queue.Post("look", [this] { EXPECT_TRUE(StoredNames().empty()); });
  }
  RunAll();
  EXPECT_EQ(said, (Names{"one", "two", "stored"}));
  EXPECT_EQ(StoredNames(), (Names{Stroke("1.2.3.4/100_100-1"), Stroke("1.2.3.4/100_100")}));
}

// Those that come while it waits for them have a commit of their own: nobody waits for ever.
TEST_F(QueuedImports, AreCommittedWithThoseThatComeWhileTheyAreReadAndWithNoLater) {
  QueueImport();
  queue.Post("import", [this] {
    Import();
    queue.Post("import of one that came late", [this] {  // behind the commit of the first
      Import();
      QueueImport();  // too late: behind the commit of these three
    });
  });
  RunAll();
  EXPECT_EQ(said, (Names{"answered", "answered", "answered", "answered", "stored"}));
}

// Each word of it has the whole store looked through.
TEST_F(QueuedImports, AreToldOnceForTwoCommitsInARowAndForNoMore) {
  queue.Post("import", [this] {
    Import();
    queue.Post("import behind the commit of the first", [this] {
      Import();
      QueueImport();  // behind the commit of the second
    });
  });
  RunAll();
  EXPECT_EQ(said, (Names{"answered", "answered", "stored", "answered", "stored"}));
}

// What is queued behind it may be as large.
TEST_F(QueuedImports, ThatMakeAFullGroupAreToldImmediately) {
  constexpr int kImportsOfAGroup = 256;
  for (int i = 0; i <= kImportsOfAGroup; ++i) QueueImport();
  RunAll();
  Names expected(kImportsOfAGroup + 1, "answered");
  expected.insert(expected.begin(), "stored");
  expected.push_back("stored");
  EXPECT_EQ(said, expected);
}

}  // namespace
