// RoutingInfo.txt beside the archive library alone: after every change that succeeds the file is
// what the library would have written, byte for byte; after every change that fails the library
// still reads it, as it was before or after the change; and the next save makes all good. Random
// changes run on the store and on a plain table, by the functions that the rest of the service
// calls.

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "storage/FailingFileCalls.h"
#include "storage/LibraryArchive.h"
#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;

namespace fs = boost::filesystem;

namespace {

constexpr unsigned int kSeed = 20261122;
constexpr int kRuns = 6;
constexpr int kSteps = 200;
constexpr char kFile[] = "RoutingInfo.txt";

const std::vector<std::string> kPages = {"1.2.3.4", "1.2.3.40", "encrypted-stf2"};

// The number of strokes, and so its digits, changes.
constexpr std::size_t kCounts[] = {0, 1, 2, 8, 9, 10, 11, 98, 99, 100, 101};

// Twelve applications, for claim lists of one and of two digits; IDs of one, two and three digits'
// length.
std::vector<std::string> MakeApplications() {
  std::vector<std::string> apps = {"a", std::string(99, 'b'), std::string(100, 'c')};
  for (int i = 10; i < 19; ++i) apps.push_back("app." + std::to_string(i));
  return apps;
}

class StockArchiveTest : public StoreTest {
 protected:
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  const std::string& AnyPage() { return kPages[Below(kPages.size())]; }

  Names SomeApps() {
    Names apps;
    const std::size_t one_of = 1 + Below(3);
    for (const std::string& app : apps_) {
      if (Below(one_of) == 0) apps.insert(app);
    }
    return Below(10) == 0 ? Names() : apps;
  }

  Strokes SomeStrokes() {
    Strokes strokes;
    const std::size_t one_of = 1 + Below(12);
    for (const auto& [id, claims] : table_) {
      if (Below(one_of) == 0) strokes.insert(id);
    }
    return strokes;
  }

  Strokes AllStrokes() const {
    Strokes strokes;
    for (const auto& stroke : table_) strokes.insert(stroke.first);
    return strokes;
  }

  void PutStrokes(std::size_t count) {
    for (; count > 0; --count) {
      const std::string page = AnyPage();
      // New ones stand before, between and behind the others.
      const std::string name = std::to_string(Below(1000)) + "_" + std::to_string(++last_name_);
      Put(name + ".stf2", page);
      files_[page].insert(name);
    }
  }

  // ---- Changes: of the plain table first, then of the store. Each returns the store's result.
  bool Claim() { return ClaimBy(AnyPage(), SomeApps()); }

  bool ClaimBy(const std::string& page, const Names& apps) {
    for (auto stroke = table_.begin(); stroke != table_.end();) {
      bool leaves = false;
      if (stroke->first.page_address == page) {
        const std::size_t before = stroke->second.size();
        ClaimList kept;
        for (const auto& claim : stroke->second) {
          if (apps.count(claim.first) > 0) kept.insert(claim);
        }
        leaves = apps.empty() || (kept.size() < before && kept.empty());
        stroke->second = kept;
      }
      stroke = leaves ? table_.erase(stroke) : std::next(stroke);
    }
    for (const std::string& name : apps.empty() ? Names() : files_[page]) {
      for (const std::string& app : apps) table_[{page, name, "stf2"}][app];
    }
    return SyncRoutingInfo(kPen, page, apps);
  }

  bool Grow() {
    const std::size_t target = kCounts[Below(sizeof kCounts / sizeof *kCounts)];
    if (target > table_.size()) PutStrokes(target - table_.size());
    return Claim();
  }

  bool Remove(const Strokes& strokes) {
    for (const StrokeID& id : strokes) {
      table_.erase(id);
      files_[id.page_address].erase(id.name);
    }
    return RemoveStrokes(kPen, strokes);
  }

  bool RemoveSome() { return Remove(SomeStrokes()); }

  bool Shrink() {
    const std::size_t target = kCounts[Below(sizeof kCounts / sizeof *kCounts)];
    Strokes strokes;
    for (const auto& [id, claims] : table_) {
      if (strokes.size() + target < table_.size()) strokes.insert(id);
    }
    return Remove(strokes);
  }

  bool Mark() {
    const std::string& app = apps_[Below(apps_.size())];
    const Strokes delivered = SomeStrokes();
    const Strokes processed = SomeStrokes();
    for (const StrokeID& id : delivered) {
      ClaimList& claims = table_[id];
      if (claims.count(app) == 0) continue;
      claims[app].delivered = true;
      if (processed.count(id) > 0) claims[app].processed = true;
    }
    return SetRoutingInfoMarkers(kPen, app, delivered, processed);
  }

  // A file as somebody else has written it: some strokes have no claims, at times the first ones.
  void LoadStrokesWithoutClaims() {
    const std::size_t first = Below(3) == 0 ? table_.size() : Below(3);
    std::size_t number = 0;
    for (auto& [id, claims] : table_) {
      if (number++ < first || Below(6) == 0) claims.clear();
    }
    WriteFile(RoutingInfoPath(), WriteWithLibrary(table_));
    Load();
  }

  // What a start does, and a save.
  void Load() {
    Cleanup();
    EXPECT_TRUE(Initialize());
    HasUndeliveredStrokes(kPen, kApp);  // makes an entry, if the file had no stroke
    EXPECT_TRUE(SaveRoutingInfo(kPen));
  }

  bool Change() {
    static const std::vector<bool (StockArchiveTest::*)()> changes = {
        &StockArchiveTest::Grow, &StockArchiveTest::Claim,      &StockArchiveTest::Mark,
        &StockArchiveTest::Mark, &StockArchiveTest::RemoveSome, &StockArchiveTest::Shrink};
    return (this->*changes[Below(changes.size())])();
  }

  void ExpectTheFileIsTheTable() {
    const std::string bytes = ReadFile(RoutingInfoPath());
    EXPECT_EQ(bytes, WriteWithLibrary(table_));
    StrokeMap read;
    ASSERT_NO_THROW(read = ReadWithLibrary(bytes));
    EXPECT_EQ(read, table_);
  }

  // The table of before or after a change; of marks, each as before or after it.
  static bool IsBetween(const StrokeMap& read, const StrokeMap& before, const StrokeMap& after) {
    if (read == before || read == after) return true;
    const auto same_strokes = [](const auto& one, const auto& other) {
      const auto same_claims = [](const auto& claim, const auto& also) {
        return claim.first == also.first;
      };
      return one.first == other.first &&
             std::equal(one.second.begin(), one.second.end(), other.second.begin(),
                        other.second.end(), same_claims);
    };
    if (!std::equal(before.begin(), before.end(), after.begin(), after.end(), same_strokes) ||
        !std::equal(before.begin(), before.end(), read.begin(), read.end(), same_strokes)) {
      return false;
    }
    for (const auto& [id, claims] : read) {
      for (const auto& [app, marks] : claims) {
        const RoutingInfo_App& old = before.at(id).at(app);
        const RoutingInfo_App& now = after.at(id).at(app);
        if (marks.delivered != old.delivered && marks.delivered != now.delivered) return false;
        if (marks.processed != old.processed && marks.processed != now.processed) return false;
      }
    }
    return true;
  }

  void ExpectTheFileIsBetween(const StrokeMap& before) {
    const std::string bytes = ReadFile(RoutingInfoPath());
    StrokeMap read;
    ASSERT_NO_THROW(read = ReadWithLibrary(bytes)) << bytes.substr(0, 200);
    EXPECT_TRUE(IsBetween(read, before, table_)) << bytes;
  }

  void ExpectAStartFinishesTheChange() {
    const LogCapture log(2);
    Load();
    EXPECT_TRUE(log.lines().empty());
    ASSERT_NO_THROW(table_ = ReadWithLibrary(ReadFile(RoutingInfoPath())));
  }

  void ExpectTheFileIsReadable() { EXPECT_NO_THROW(ReadWithLibrary(ReadFile(RoutingInfoPath()))); }

  // Leaves that many pages of the disk free.
  static void FillUpTo(const std::string& filler, int free_pages) {
    const int fd = ::open(filler.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string page(4096, 'x');
    off_t size = 0;
    while (::write(fd, page.data(), page.size()) > 0) size += 4096;
    EXPECT_EQ(0, ::ftruncate(fd, size - free_pages * 4096));
    ::close(fd);
  }

  void Begin(unsigned int seed) {
    random_.seed(seed);
    Cleanup();
    fs::remove_all(PenPath());
    table_.clear();
    files_.clear();
    PutStrokes(12);
    ASSERT_TRUE(Claim());
  }

  const std::vector<std::string> apps_ = MakeApplications();
  std::mt19937 random_;
  StrokeMap table_;                     // what the store's is to be
  std::map<std::string, Names> files_;  // names of stroke files, by page
  int last_name_ = 0;
};

}  // namespace

TEST_F(StockArchiveTest, EveryChangeLeavesWhatTheArchiveLibraryWrites) {
  for (unsigned int seed = kSeed; seed < kSeed + kRuns; ++seed) {
    Begin(seed);
    for (int step = 0; step < kSteps && !HasFailure(); ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
      if (Below(15) == 0) LoadStrokesWithoutClaims();
      EXPECT_TRUE(Change());
      ExpectTheFileIsTheTable();
    }
  }
}

// The disk is full or broken at one call of a change, or from that call on.
TEST_F(StockArchiveTest, EveryFailedCallLeavesAFileThatTheArchiveLibraryReads) {
  int failures = 0;
  for (unsigned int seed = kSeed; seed < kSeed + kRuns; ++seed) {
    Begin(seed);
    for (int step = 0; step < kSteps && !HasFailure(); ++step) {
      if (Below(15) == 0) LoadStrokesWithoutClaims();
      const StrokeMap before = table_;
      const int call = 1 + static_cast<int>(Below(10));
      const int error = Below(2) == 0 ? ENOSPC : EIO;
      const auto lasting =
          Below(2) == 0 ? FailingFileCalls::Lasting::kOnce : FailingFileCalls::Lasting::kFromThenOn;
      std::string failed;
      bool saved;
      {
        const FailingFileCalls calls(kFile, call, error, lasting);
        saved = Change();
        failed = calls.failed();
      }
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step) + ", call " +
                   std::to_string(call) + ": " + failed);
      if (!failed.empty()) ++failures;
      // What fails once may be done another way.
      const bool is_lasting = lasting == FailingFileCalls::Lasting::kFromThenOn;
      EXPECT_TRUE(saved ? failed.empty() || !is_lasting : !failed.empty());
      if (saved) {
        ExpectTheFileIsTheTable();
      } else if (is_lasting && ReadFile(RoutingInfoPath()).compare(0, 5, "redo ") == 0) {
        // A disk that takes nothing back either: the next service goes on with the change.
        ExpectAStartFinishesTheChange();
      } else {
        ExpectTheFileIsBetween(before);
      }
      EXPECT_TRUE(SaveRoutingInfo(kPen));
      ExpectTheFileIsTheTable();
    }
  }
  EXPECT_GT(failures, 100);
}

// A disk with room for some of a change, from none to more than it takes.
TEST_F(StockArchiveTest, ANearlyFullDiskLeavesAFileThatTheArchiveLibraryReads) {
  const Disk disk(PenPath(), "size=4m");
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  const std::string filler = PenPath(".filler").string();
  const Names few = {apps_[0], apps_[1], apps_[5]};
  int refused = 0;
  for (int free_pages = 0; free_pages < 20; ++free_pages) {
    for (unsigned int seed = kSeed; seed < kSeed + 8 && !HasFailure(); ++seed) {
      SCOPED_TRACE(std::to_string(free_pages) + " pages free, seed " + std::to_string(seed));
      random_.seed(seed);
      PutStrokes(5 + Below(60));
      for (const std::string& page : kPages) ASSERT_TRUE(ClaimBy(page, few));
      PutStrokes(Below(40));
      FillUpTo(filler, free_pages);
      const StrokeMap before = table_;
      const bool has_grown = ClaimBy(AnyPage(), Names(apps_.begin(), apps_.end()));
      if (!has_grown) ++refused;
      ExpectTheFileIsBetween(before);
      RemoveSome();
      ExpectTheFileIsReadable();
      fs::remove(filler);
      EXPECT_TRUE(SaveRoutingInfo(kPen));
      ExpectTheFileIsTheTable();
      EXPECT_TRUE(Remove(AllStrokes()));
    }
  }
  EXPECT_GT(refused, 10);
}
