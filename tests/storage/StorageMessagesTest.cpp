// Every message of the store appears at its level and above it, and nowhere without a logger.

#include <boost/filesystem.hpp>
#include <functional>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;

namespace fs = boost::filesystem;

namespace {

const std::vector<char> kInk = {'i', 'n', 'k'};
const StrokeID kStroke = {kPage, "a", "stf2"};

// Where a row's work is done. A message names paths of it.
struct Store {
  std::string Path(const std::string& relative) const {
    return (GetStorageRoot() / relative).string();
  }
  void Write(const std::string& relative, const std::string& bytes = "ink") const {
    WriteFile(Path(relative), bytes);
  }
  void MakeDirectory(const std::string& relative) const { fs::create_directories(Path(relative)); }
};

struct Row {
  int level;
  std::string message;  // "STORE/" stands for the store's full path
  std::function<void(const Store&)> cause;
};

void Import(const std::string& pen, const StrokeID& id, const std::vector<char>& data) {
  ImportStroke(pen, id, data);
}

void Export(const std::string& pen, const StrokeID& id) {
  fs::path out;
  ExportStroke(pen, id, out);
  boost::system::error_code ignored;
  fs::remove(out, ignored);
}

const std::vector<Row>& ImportAndExport() {
  static const std::vector<Row> rows = {
      {3, "Importing 3 bytes of Ink from Pen 'pen' and Page Address '1.2.3.4'...",
       [](const Store&) { Import("pen", kStroke, kInk); }},
      {3, "Ink was imported to: 'STORE/pen/1.2.3.4/a.stf2'",
       [](const Store&) { Import("pen", kStroke, kInk); }},
      {1, "Ink Import failed: invalid Pen Serial - '.'.",
       [](const Store&) { Import(".", kStroke, kInk); }},
      {1, "Ink Import failed: invalid Page Address - '1.2'.",
       [](const Store&) {
         Import("pen", {"1.2", "a", "stf2"}, kInk);
       }},
      {1, "Ink Import failed: empty name.",
       [](const Store&) {
         Import("pen", {kPage, "", "stf2"}, kInk);
       }},
      {1, "Ink Import failed: invalid stroke id.",
       [](const Store&) {
         Import("pen", {kPage, "a/b", "stf2"}, kInk);
       }},
      {1, "Ink Import failed: no data.", [](const Store&) { Import("pen", kStroke, {}); }},
      {1, "Ink Import failed: can't create directory 'STORE/pen/1.2.3.4'.",
       [](const Store& store) {
         store.Write("pen/1.2.3.4");
         Import("pen", kStroke, kInk);
       }},
      {1, "Ink Import failed: can't create file 'STORE/pen/1.2.3.4/a.stf2'",
       [](const Store& store) {
         store.MakeDirectory("pen/1.2.3.4");
         fs::permissions(store.Path("pen/1.2.3.4"), fs::perms(0555));
         const PlainUser user;
         Import("pen", kStroke, kInk);
       }},
      {3, "Exporting Ink '1.2.3.4/a.stf2' from Pen 'pen' storage...",
       [](const Store&) { Export("pen", kStroke); }},
      {1, "Ink Export failed: invalid Pen Serial - '.'.",
       [](const Store&) { Export(".", kStroke); }},
      {1, "Ink Export failed: invalid Page Address - '1.2'.",
       [](const Store&) {
         Export("pen", {"1.2", "a", "stf2"});
       }},
      {1, "Ink Export failed: invalid stroke id.",
       [](const Store&) {
         Export("pen", {kPage, "", "stf2"});
       }},
      {1, "Ink Export failed: file 'ROOT/pen/1.2.3.4/a.stf2' does not exists.",
       [](const Store&) { Export("pen", kStroke); }},
      {1, "Ink Export failed: failed to create temporary file.", [](const Store& store) {
         store.Write("pen/1.2.3.4/a.stf2");
         store.Write("../Temp");
         Export("pen", kStroke);
       }}};
  return rows;
}

const std::vector<Row>& ListingAndRemoving() {
  static const std::vector<Row> rows = {
      {2, "Got unexpected directory while looking for Pen Serials: 'STORE/not a pen'.",
       [](const Store& store) {
         store.MakeDirectory("not a pen");
         std::set<std::string> pens;
         GetKnownPens(pens);
       }},
      {2, "Got unexpected directory while looking for Page Address: 'STORE/pen/tmp'.",
       [](const Store& store) {
         store.MakeDirectory("pen/tmp");
         std::set<std::string> pages;
         GetPageAddresses("pen", pages);
       }},
      {3, "Removing 1 Inks from Pen 'pen' storage...",
       [](const Store&) { RemoveStrokes("pen", {kStroke}); }},
      {1, "Ink Removing failed: invalid Pen Serial - '.'.",
       [](const Store&) { RemoveStrokes(".", {kStroke}); }},
      {1, "Ink Removing failed (1.2/a.stf2): invalid Page Address - '1.2'.",
       [](const Store&) {
         RemoveStrokes("pen", {{"1.2", "a", "stf2"}});
       }},
      {1, "Ink Removing failed (1.2.3.4/unnamed.stf2): invalid stroke id.",
       [](const Store&) {
         RemoveStrokes("pen", {{kPage, "", "stf2"}});
       }},
      {1,
       "Ink Removing failed (1.2.3.4/a.stf2): file does not exists: "
       "'ROOT/pen/1.2.3.4/a.stf2'",
       [](const Store&) { RemoveStrokes("pen", {kStroke}); }},
      {1,
       "Ink Removing failed (1.2.3.4/a.stf2): can't remove file 'ROOT/pen/1.2.3.4/a.stf2': "
       "Directory not empty",
       [](const Store& store) {
         store.MakeDirectory("pen/1.2.3.4/a.stf2/below");
         RemoveStrokes("pen", {kStroke});
       }},
      {3, "Removed 1 Inks from Pen 'pen' storage.",
       [](const Store&) { RemoveStrokes("pen", {kStroke}); }},
      {3, "Removed empty Storage dir: 'ROOT/pen/1.2.3.4'.",
       [](const Store& store) {
         store.MakeDirectory("pen/1.2.3.4");
         Cleanup("pen");
       }},
      {3, "Removed empty Storage dir: 'ROOT/pen'.", [](const Store& store) {
         store.MakeDirectory("pen");
         Cleanup("pen");
       }}};
  return rows;
}

const std::vector<Row>& RoutingInfo() {
  static const std::vector<Row> rows = {
      {3, "Initializing Storage (ROOT: 'STORE')...", [](const Store&) { Initialize(); }},
      {3, "Storage initialized.", [](const Store&) { Initialize(); }},
      {3, "Storage deinitialized.", [](const Store&) { Cleanup(); }},
      {1, "Routing Info 'ROOT/pen/RoutingInfo.txt' is not regular file?!?.",
       [](const Store& store) {
         store.MakeDirectory("pen/RoutingInfo.txt");
         Initialize();
       }},
      {1, "Failed to open Routing Info 'ROOT/pen/RoutingInfo.txt'.",
       [](const Store& store) {
         store.Write("pen/RoutingInfo.txt");
         fs::permissions(store.Path("pen/RoutingInfo.txt"), fs::perms(0));
         const PlainUser user;
         Initialize();
       }},
      {2, "Corrupted Routing Info 'ROOT/pen/RoutingInfo.txt': input stream error.",
       [](const Store& store) {
         store.Write("pen/RoutingInfo.txt", "");
         Initialize();
       }},
      {3, "Loaded Routing Info 'ROOT/pen/RoutingInfo.txt' with 1 Ink items.",
       [](const Store& store) {
         store.Write("pen/RoutingInfo.txt", WriteRoutingInfo({{kStroke, {}}}));
         Initialize();
       }},
      {2, "Will not save Routing Info for Pen 'pen': nothing to save.",
       [](const Store&) { SaveRoutingInfo("pen"); }},
      {1, "Failed to save Routing Info for Pen 'pen': can't create directory 'ROOT/pen'.",
       [](const Store& store) {
         store.Write("pen");
         SyncRoutingInfo("pen", kPage, {});
       }},
      {1,
       "Failed to save Routing Info for Pen 'pen': can't create file "
       "'ROOT/pen/RoutingInfo.txt'.",
       [](const Store& store) {
         store.MakeDirectory("pen/RoutingInfo.txt");
         SyncRoutingInfo("pen", kPage, {});
       }}};
  return rows;
}

class StorageMessagesTest : public StoreTest {
 protected:
  // Does the row's work in a fresh store.
  static std::string Cause(const Row& row) {
    TalvoQuillpost::Storage::Cleanup();
    const Store store;
    fs::remove_all(GetStorageRoot());
    fs::remove_all(store.Path("../Temp"));
    row.cause(store);
    std::string message = row.message;
    const std::size_t placeholder = message.find("STORE");
    if (placeholder != std::string::npos) {
      message.replace(placeholder, 5, GetStorageRoot().string());
    }
    return message;
  }

  static void ExpectGated(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.message);
      for (int level = 0; level <= 4; ++level) {
        const LogCapture log(level);
        const std::string message = Cause(row);
        // Not counting what the work itself has logged before it: only this one is looked for.
        EXPECT_EQ(level >= row.level, log.Has(row.level, message)) << "at level " << level;
        for (const auto& [line_level, line] : log.lines()) EXPECT_LE(line_level, level) << line;
      }
      const LogCapture other(4, "Other");
      Cause(row);
      EXPECT_TRUE(other.lines().empty());
    }
  }
};

}  // namespace

TEST_F(StorageMessagesTest, ImportAndExportAreGatedByLevel) {
  ExpectGated(ImportAndExport());
}

TEST_F(StorageMessagesTest, ListingAndRemovingAreGatedByLevel) {
  ExpectGated(ListingAndRemoving());
}

TEST_F(StorageMessagesTest, RoutingInfoIsGatedByLevel) {
  ExpectGated(RoutingInfo());
}

TEST_F(StorageMessagesTest, AnExportIsGatedByLevel) {
  Put("a.stf2");
  for (int level = 1; level <= 4; ++level) {
    const LogCapture log(level);
    fs::path out;
    ASSERT_TRUE(ExportStroke(kPen, Stroke("a"), out));
    EXPECT_EQ(level >= 3, log.Has(3, "Exported Ink 'ROOT/AJ3-000-1X/1.2.3.4/a.stf2' -> '" +
                                         out.string() + "'"));
    EXPECT_EQ(level >= 3 ? 2u : 0u, log.lines().size());
  }
}
