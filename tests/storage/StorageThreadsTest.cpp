// The store from several threads at once. No test here measures time: each one does a number of
// rounds and looks at what is left.

#include <atomic>
#include <boost/filesystem.hpp>
#include <thread>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;
using testing::IsEmpty;

namespace fs = boost::filesystem;

namespace {

class StorageThreadsTest : public StoreTest {
 protected:
  static constexpr int kThreads = 4;

  // Runs `work` on several threads at once, each with a number of its own.
  template <typename Work>
  static void AtOnce(const Work& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
  }
};

}  // namespace

// Each import is the first ink of its pen, and directories without ink are tidied away all the
// time, as by two applications that have confirmed the pen's last stroke: whatever was imported is
// there afterwards, every time.
TEST_F(StorageThreadsTest, AnImportIsNeverLostToTheTidyingOfItsDirectory) {
  std::atomic<bool> stop(false);
  std::vector<std::thread> tidiers;
  for (int i = 0; i < 2; ++i) {
    tidiers.emplace_back([&] {
      while (!stop) EXPECT_NO_THROW(Cleanup(kPen));
    });
  }
  const LogCapture log(1);
  const fs::path file = PenPath("1.2.3.4/a.stf2");
  for (int round = 0; round < 1000; ++round) {
    EXPECT_TRUE(ImportStroke(kPen, Stroke("a"), {'i', 'n', 'k'}));
    EXPECT_EQ("ink", ReadFile(file)) << "lost in round " << round;
    fs::remove(file);
  }
  stop = true;
  for (std::thread& tidier : tidiers) tidier.join();
  EXPECT_THAT(log.lines(), IsEmpty());
}

// The pen's last ink has gone, its directory is tidied away, and new ink comes and is routed: the
// pen leaves the table before the new claims come into it, or not at all.
TEST_F(StorageThreadsTest, AClaimIsNeverLostToTheTidyingOfItsPen) {
  std::atomic<bool> stop(false);
  std::thread tidier([&] {
    while (!stop) EXPECT_NO_THROW(Cleanup(kPen));
  });
  for (int round = 0; round < 1000 && !HasFailure(); ++round) {
    EXPECT_TRUE(ImportStroke(kPen, Stroke("a"), {'i', 'n', 'k'}));
    EXPECT_TRUE(Sync({kApp}));
    EXPECT_TRUE(HasUndeliveredStrokes(kPen, kApp)) << "lost in round " << round;
    EXPECT_TRUE(RemoveStrokes(kPen, {Stroke("a")}));
  }
  stop = true;
  tidier.join();
}

// New ink that wants the name of the first of many strokes comes before the last of these has gone:
// the name is not given away until the table has forgotten them.
TEST_F(StorageThreadsTest, ANameIsHeldUntilTheRemovalIsSaved) {
  Strokes strokes;
  for (int i = 100; i < 400; ++i) strokes.insert(Stroke(std::to_string(i)));
  const StrokeID first = *strokes.begin();
  for (int round = 0; round < 3 && !HasFailure(); ++round) {
    for (const StrokeID& id : strokes) Put(StrokeIDToFileName(id));
    ASSERT_TRUE(Sync({kApp}));
    ASSERT_TRUE(SetRoutingInfoMarkers(kPen, kApp, strokes, strokes));
    std::thread remover([&] { EXPECT_TRUE(RemoveStrokes(kPen, strokes)); });
    EXPECT_TRUE(Eventually([&] { return !fs::exists(PenPath(first.string())); }));
    EXPECT_TRUE(ImportStroke(kPen, first, {'n', 'e', 'w'}));
    EXPECT_TRUE(Sync({kApp}));
    remover.join();
    EXPECT_TRUE(Sync({kApp}));
    ASSERT_EQ(1u, Undelivered().size()) << "lost in round " << round;
    const StrokeID filed = *Undelivered().begin();
    EXPECT_EQ("new", ReadFile(PenPath(filed.string())));
    EXPECT_TRUE(RemoveStrokes(kPen, {filed}));
  }
}

// A routing pass of one import sees the file that the next one is writing. An application that is
// offered it would confirm a part of the ink, and the rest would be lost to it.
TEST_F(StorageThreadsTest, InkIsRoutedAndExportedOnlyWhenItIsWhole) {
  constexpr int kRounds = 30;
  const std::vector<char> ink(2 << 20, 'i');
  std::atomic<int> imported(0);
  std::thread importer([&] {
    for (; imported < kRounds; ++imported) {
      EXPECT_TRUE(ImportStroke(kPen, Stroke(std::to_string(imported)), ink));
    }
  });
  while (imported < kRounds) {
    fs::path out;
    if (ExportStroke(kPen, Stroke(std::to_string(imported)), out)) {
      EXPECT_EQ(ink.size(), fs::file_size(out));
      fs::remove(out);
    }
    Sync({kApp});
    for (const StrokeID& id : Undelivered()) {
      EXPECT_EQ(ink.size(), fs::file_size(PenPath(id.string())));
    }
  }
  importer.join();
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_EQ(static_cast<std::size_t>(kRounds), Undelivered().size());
}

// Names of ink are used again, those of sealed ink within the second. Cleaning up removes the ink
// that was processed, and never other ink of its page and times.
TEST_F(StorageThreadsTest, CleaningUpNeverRemovesInkThatWantsAFreedName) {
  constexpr int kRounds = 300;
  std::atomic<bool> stop(false);
  const auto until_stopped = [&](void (*work)()) {
    return std::thread([&stop, work] {
      while (!stop) work();
    });
  };
  std::thread threads[] = {until_stopped([] { RemoveProccessedStrokes(kPen); }),
                           until_stopped([] { RemoveProccessedStrokes(kPen); }),
                           until_stopped([] { Sync({kApp}); })};
  for (int round = 0; round < kRounds; ++round) {
    const std::string ink = "ink " + std::to_string(round);
    EXPECT_TRUE(ImportStroke(kPen, Stroke("a"), std::vector<char>(ink.begin(), ink.end())));
    std::vector<StrokeID> undelivered;
    ASSERT_TRUE(Eventually([&] { return FindUndeliveredStrokes(kPen, kApp, 1, undelivered) == 1; }))
        << "lost in round " << round;
    const StrokeID filed = undelivered.front();
    EXPECT_EQ(ink, ReadFile(PenPath(filed.string())));
    EXPECT_TRUE(SetRoutingInfoMarkers(kPen, kApp, {filed}, {filed}));
    EXPECT_TRUE(Eventually([&] { return !fs::exists(PenPath(filed.string())); }));
    if (HasFailure()) break;
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
}

TEST_F(StorageThreadsTest, ImportsOfOneNameBecomeAsManyFiles) {
  AtOnce([](int) {
    for (int i = 0; i < 25; ++i) {
      EXPECT_TRUE(ImportStroke(kPen, Stroke("a"), {'i', 'n', 'k'}));
    }
  });
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_EQ(25u * kThreads, Undelivered().size());
}

// Importer, worker and delivery threads of four pens and applications, all on one table.
TEST_F(StorageThreadsTest, TheTableSurvivesAllOperationsTogether) {
  constexpr int kStrokes = 15;
  const auto pen = [](int i) { return "pen-" + std::to_string(i); };
  const auto app = [](int i) { return "app." + std::to_string(i); };
  Names apps;
  for (int i = 0; i < kThreads; ++i) apps.insert(app(i));
  for (int i = 0; i < kThreads; ++i) {
    for (int s = 0; s < kStrokes; ++s) ImportStroke(pen(i), Stroke(std::to_string(s)), {'i'});
    ASSERT_TRUE(SyncRoutingInfo(pen(i), kPage, apps));
  }
  // Each thread is one application that confirms all strokes of all pens, and one worker.
  AtOnce([&](int thread) {
    for (int i = 0; i < kThreads; ++i) {
      const std::string p = pen((thread + i) % kThreads);
      Strokes undelivered;
      while (GetUndeliveredStrokes(p, app(thread), undelivered) && !undelivered.empty()) {
        const Strokes first = {*undelivered.begin()};
        EXPECT_TRUE(SetRoutingInfoMarkers(p, app(thread), first, first));
        EXPECT_TRUE(SyncRoutingInfo(p, kPage, apps));
      }
      Strokes processed;
      EXPECT_TRUE(GetProccessedStrokes(p, processed));
      EXPECT_TRUE(SaveRoutingInfo(p));
    }
  });
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(static_cast<std::size_t>(kStrokes), Processed(pen(i)).size());
    const std::string saved = ReadFile(Path(pen(i) + "/RoutingInfo.txt"));
    EXPECT_EQ(static_cast<std::size_t>(kStrokes), ReadRoutingInfo(saved).size());
  }
}

// Marks overwrite their own bytes: a process that is killed at any moment leaves a whole archive.
TEST_F(StorageThreadsTest, RoutingInfoIsNeverShorterWhileMarksAreSet) {
  for (int i = 0; i < 50; ++i) Put(std::to_string(i) + ".stf2");
  ASSERT_TRUE(Sync({kApp}));
  const auto size = fs::file_size(RoutingInfoPath());
  std::atomic<bool> stop(false);
  std::thread reader([&] {
    while (!stop) EXPECT_EQ(size, fs::file_size(RoutingInfoPath()));
  });
  for (int i = 0; i < 500; ++i) {
    const Strokes stroke = {Stroke(std::to_string(i % 50))};
    EXPECT_TRUE(SetRoutingInfoMarkers(kPen, kApp, stroke, stroke));
  }
  stop = true;
  reader.join();
}

// A stop while passes still run: the table is empty or whole, never between.
TEST_F(StorageThreadsTest, StartingAndStoppingBesideEverythingElse) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  AtOnce([](int thread) {
    for (int round = 0; round < 50; ++round) {
      if (thread == 0) {
        Cleanup();
        EXPECT_TRUE(Initialize());
      } else if (thread == 1) {
        EXPECT_TRUE(Sync({kApp}));
      } else {
        Strokes strokes;
        EXPECT_TRUE(GetUndeliveredStrokes(kPen, kApp, strokes));
        EXPECT_LE(strokes.size(), 1u);
      }
    }
  });
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_EQ(1u, Undelivered().size());
}

TEST_F(StorageThreadsTest, CopiesOfOneStrokeAreMadeByManyAtOnce) {
  Put("a.stf2");
  AtOnce([&](int) {
    for (int i = 0; i < 25; ++i) {
      fs::path out;
      EXPECT_TRUE(ExportStroke(kPen, Stroke("a"), out));
      EXPECT_EQ("ink", ReadFile(out));
    }
  });
  EXPECT_EQ(25 * kThreads,
            std::distance(fs::directory_iterator(root_.scratch()), fs::directory_iterator()));
}
