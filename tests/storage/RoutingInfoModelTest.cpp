// The routing info beside a plain model of it. The model walks everything and writes the whole
// archive each time; the store keeps indexes and writes what differs. Random operations run on
// both, with other programs at work on the file in between, and after each of them the results, the
// answers and the bytes of the file must be the same.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>

#include "storage/StoreTest.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {
namespace {

constexpr unsigned int kSeed = 20260131;
constexpr int kRuns = 8;
constexpr int kSteps = 250;

const std::vector<std::string> kPages = {"1.2.3.4", "1.2.3.40", "0.0.0.1", "encrypted-stf2"};
const std::vector<std::string> kApps = {"a", "app.one", "app.two.with-a_long:name", "z"};

class RoutingInfoModelTest : public StoreTest {
 protected:
  // ---- Chance.
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  const std::string& AnyOf(const std::vector<std::string>& names) {
    return names[Below(names.size())];
  }
  Names SomeApps() {
    Names apps;
    for (const std::string& app : kApps) {
      if (Below(3) > 0) apps.insert(app);
    }
    return Below(8) == 0 ? Names() : apps;
  }
  Strokes SomeStrokes() {
    Strokes strokes;
    const std::size_t one_of = 1 + Below(20);
    for (const auto& [id, claims] : model_) {
      if (Below(one_of) == 0) strokes.insert(id);
    }
    if (Below(4) == 0) strokes.insert(Stroke("unknown"));
    return strokes;
  }
  std::string AnyFileName() {
    static const std::vector<std::string> extensions = {".stf2", ".stf2", ".stf2", ".a", ""};
    return std::to_string(Below(400)) + AnyOf(extensions);
  }

  // ---- The model: the rules, read literally.
  std::set<std::string> FilesOf(const std::string& page) const {
    std::set<std::string> names;
    if (!fs::exists(PenPath(page))) return names;
    for (const auto& entry : fs::directory_iterator(PenPath(page))) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  void SyncModel(const std::string& page, const Names& apps) {
    has_entry_ = true;
    for (auto stroke = model_.begin(); stroke != model_.end();) {
      ClaimList kept;
      for (const auto& claim : stroke->second) {
        if (apps.count(claim.first) > 0) kept.insert(claim);
      }
      const bool lost = kept.size() < stroke->second.size();
      const bool is_there = stroke->first.page_address == page;
      const bool leaves = is_there && (apps.empty() || (lost && kept.empty()));
      if (is_there) stroke->second = kept;
      stroke = leaves ? model_.erase(stroke) : std::next(stroke);
    }
    if (apps.empty()) return;
    for (const fs::path file : FilesOf(page)) {
      const std::string extension = file.extension().string();
      ClaimList& claims =
          model_[{page, file.stem().string(), extension.empty() ? "" : extension.substr(1)}];
      for (const std::string& app : apps) claims[app];
    }
  }

  Strokes ModelUndelivered(const std::string& app) const {
    Strokes strokes;
    for (const auto& [id, claims] : model_) {
      if (claims.count(app) > 0 && !claims.at(app).delivered) strokes.insert(id);
    }
    return strokes;
  }

  Strokes ModelProcessed() const {
    Strokes strokes;
    for (const auto& [id, claims] : model_) {
      bool all_delivered = !claims.empty();
      bool any_processed = false;
      for (const auto& [app, marks] : claims) {
        all_delivered = all_delivered && marks.delivered;
        any_processed = any_processed || marks.processed;
      }
      if (all_delivered && any_processed) strokes.insert(id);
    }
    return strokes;
  }

  // ---- Operations.
  void DoSync() {
    const std::string page = AnyOf(kPages);
    const Names apps = SomeApps();
    what_ = "sync of " + page;
    SyncModel(page, apps);
    ExpectSaved(SyncRoutingInfo(kPen, page, apps));
  }

  // What a routing pass does, with others at the file between its pages.
  void DoSyncOfMany() {
    what_ = "sync of all pages";
    bool saved = true;
    for (const std::string& page : kPages) {
      if (Below(5) == 0) Interfere();
      const Names apps = SomeApps();
      SyncModel(page, apps);
      saved = SyncPage(kPen, page, std::make_shared<const Names>(apps), {}) && saved;
    }
    ExpectSaved(SaveRoutingInfoOfPages(kPen) && saved);
  }

  void DoMark() {
    what_ = "marks";
    const std::string app = AnyOf(kApps);
    const Strokes delivered = SomeStrokes();
    const Strokes processed = SomeStrokes();
    for (const StrokeID& id : delivered) {
      const auto stroke = model_.find(id);
      if (stroke == model_.end() || stroke->second.count(app) == 0) continue;
      stroke->second[app].delivered = true;
      if (processed.count(id) > 0) stroke->second[app].processed = true;
    }
    const bool saved = SetRoutingInfoMarkers(kPen, app, delivered, processed);
    if (has_entry_) {
      ExpectSaved(saved);
    } else {
      EXPECT_FALSE(saved);
    }
  }

  // What delivery does: the first undelivered stroke alone.
  void DoMarkFirst() {
    what_ = "mark of the first";
    const std::string app = AnyOf(kApps);
    std::vector<StrokeID> first;
    if (FindUndeliveredStrokes(kPen, app, 1, first) == 0) return;
    model_[first.front()][app] = {true, true};
    ExpectSaved(SetRoutingInfoMarkers(kPen, app, {first.front()}, {first.front()}));
  }

  void DoRemove() {
    const Strokes strokes = Below(2) == 0 ? SomeStrokes() : ModelProcessed();
    what_ = "removal of " + std::to_string(strokes.size());
    has_entry_ = true;
    for (const StrokeID& id : strokes) model_.erase(id);
    ExpectSaved(RemoveStrokes(kPen, strokes));
  }

  void DoSave() {
    what_ = "save";
    if (has_entry_) ExpectSaved(SaveRoutingInfo(kPen));
  }

  void DoRestart() {
    what_ = "restart";
    Cleanup();
    model_.clear();
    if (fs::is_regular_file(RoutingInfoPath())) {
      try {
        model_ = Saved();
      } catch (const std::exception&) {  // what others have made of it
      }
    }
    has_entry_ = !model_.empty();
    EXPECT_TRUE(Initialize());
  }

  void DoPut() {
    what_ = "new stroke files";
    for (std::size_t i = Below(4); i > 0; --i) Put(AnyFileName(), AnyOf(kPages));
  }

  // ---- What other programs do to the file. It leaves nothing open.
  void Interfere() {
    WaitForClockTick();
    const fs::path file = RoutingInfoPath();
    if (!fs::is_regular_file(file)) return Repair();
    const std::string bytes = ReadFile(file);
    switch (Below(8)) {
      case 0:
        interference_ = "deleted";
        fs::remove(file);
        break;
      case 1:
        interference_ = "replaced by other bytes of the same size";
        WriteFile(PenPath("other"), std::string(bytes.size(), 'x'));
        fs::rename(PenPath("other"), file);
        break;
      case 2:
        interference_ = "replaced by a copy";
        WriteFile(PenPath("other"), bytes);
        fs::rename(PenPath("other"), file);
        break;
      case 3:
        interference_ = "cut";
        fs::resize_file(file, Below(bytes.size() + 1));
        break;
      case 4:
        interference_ = "extended";
        WriteFile(file, bytes + "more");
        break;
      case 5:
        interference_ = "one byte overwritten";
        OverwriteByte(file, Below(std::max<std::size_t>(bytes.size(), 1)));
        break;
      case 6:
        interference_ = "made unwritable";
        fs::remove(file);
        fs::create_directory(file);
        break;
      default:
        interference_ = "cut and written anew with other bytes";
        WriteFile(file, std::string(bytes.size(), '7'));
    }
  }

  void Repair() {
    interference_ = "made writable";
    boost::system::error_code ignored;
    fs::remove(RoutingInfoPath(), ignored);
  }

  static void OverwriteByte(const fs::path& file, std::size_t position) {
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(1, ::pwrite(descriptor, "~", 1, static_cast<off_t>(position)));
    ::close(descriptor);
  }

  // ---- Comparing.
  void ExpectSaved(bool saved) {
    const bool is_writable = !fs::is_directory(RoutingInfoPath());
    EXPECT_EQ(is_writable, saved);
    if (saved) {
      EXPECT_EQ(WriteRoutingInfo(model_), ReadFile(RoutingInfoPath()));
    }
  }

  void ExpectSameAnswers() const {
    for (const std::string& app : kApps) {
      const Strokes expected = ModelUndelivered(app);
      EXPECT_EQ(expected, Undelivered(app));
      std::vector<StrokeID> first;
      EXPECT_EQ(expected.size(), FindUndeliveredStrokes(kPen, app, 2, first));
      const auto end = std::next(expected.begin(), std::min<std::ptrdiff_t>(2, expected.size()));
      EXPECT_EQ(std::vector<StrokeID>(expected.begin(), end), first);
    }
    EXPECT_EQ(ModelProcessed(), Processed());
  }

  void Step() {
    static const std::vector<void (RoutingInfoModelTest::*)()> operations = {
        &RoutingInfoModelTest::DoSync,      &RoutingInfoModelTest::DoSync,
        &RoutingInfoModelTest::DoPut,       &RoutingInfoModelTest::DoMarkFirst,
        &RoutingInfoModelTest::DoMarkFirst, &RoutingInfoModelTest::DoMark,
        &RoutingInfoModelTest::DoRemove,    &RoutingInfoModelTest::DoSave,
        &RoutingInfoModelTest::DoPut,       &RoutingInfoModelTest::DoSyncOfMany};
    interference_ = "left alone";
    if (Below(5) == 0) Interfere();
    if (Below(40) == 0) {
      DoRestart();
    } else {
      (this->*operations[Below(operations.size())])();
    }
    ExpectSameAnswers();
    has_entry_ = true;  // a question makes one
  }

  std::mt19937 random_;
  StrokeMap model_;
  bool has_entry_ = false;
  std::string what_;
  std::string interference_;
};

TEST_F(RoutingInfoModelTest, EveryChangeLeavesWhatWritingTheWholeArchiveWouldLeave) {
  for (unsigned int run = 0; run < kRuns; ++run) {
    std::printf("seed %u\n", kSeed + run);
    random_.seed(kSeed + run);
    model_.clear();
    has_entry_ = false;
    Cleanup();
    boost::filesystem::remove_all(PenPath());
    for (int i = 0; i < 60; ++i) Put(AnyFileName(), AnyOf(kPages));
    for (int step = 0; step < kSteps; ++step) {
      Step();
      if (HasFailure()) {
        FAIL() << "seed " << kSeed + run << ", step " << step << ": file " << interference_
               << ", then " << what_;
      }
    }
  }
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
