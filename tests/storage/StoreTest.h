// A store of its own for one test, and the table of routing info empty before and after it.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <set>
#include <string>
#include <vector>

#include "storage/FilesStorage.h"
#include "storage/RoutingInfoFormat.h"
#include "support/LogCapture.h"
#include "support/Machine.h"
#include "support/TestRoot.h"

constexpr char kPen[] = "AJ3-000-1X";
constexpr char kPage[] = "1.2.3.4";
constexpr char kApp[] = "app.one";

class StoreTest : public testing::Test {
 protected:
  typedef std::vector<LogCapture::Line> Lines;
  typedef TalvoQuillpost::Storage::StrokeID StrokeID;
  typedef std::set<StrokeID> Strokes;
  typedef std::set<std::string> Names;

  StoreTest() {
    TalvoQuillpost::Storage::Cleanup();
    boost::filesystem::create_directories(root_.home());
    // For a user without rights, too.
    boost::filesystem::permissions(root_.path(), boost::filesystem::perms(0755));
  }
  ~StoreTest() override { TalvoQuillpost::Storage::Cleanup(); }

  static StrokeID Stroke(const std::string& name, const std::string& page = kPage) {
    return {page, name, "stf2"};
  }

  // A path in the store.
  boost::filesystem::path Path(const std::string& relative) const {
    return root_.storage() / relative;
  }
  boost::filesystem::path PenPath(const std::string& relative = std::string()) const {
    return relative.empty() ? Path(kPen) : Path(kPen) / relative;
  }
  boost::filesystem::path RoutingInfoPath() const { return PenPath("RoutingInfo.txt"); }

  // Puts a stroke file there as an import would.
  void Put(const std::string& name, const std::string& page = kPage) const {
    WriteFile(PenPath(page + "/" + name), "ink");
  }

  // The pen's routing info as it was saved last.
  TalvoQuillpost::Storage::StrokeMap Saved() const {
    return TalvoQuillpost::Storage::ReadRoutingInfo(ReadFile(RoutingInfoPath()));
  }

  static bool Sync(const Names& apps, const std::string& page = kPage) {
    return TalvoQuillpost::Storage::SyncRoutingInfo(kPen, page, apps);
  }

  static Strokes Undelivered(const std::string& app = kApp, const std::string& pen = kPen) {
    Strokes strokes = {Stroke("stale")};
    EXPECT_TRUE(TalvoQuillpost::Storage::GetUndeliveredStrokes(pen, app, strokes));
    EXPECT_EQ(!strokes.empty(), TalvoQuillpost::Storage::HasUndeliveredStrokes(pen, app));
    return strokes;
  }

  static Strokes Processed(const std::string& pen = kPen) {
    Strokes strokes = {Stroke("stale")};
    EXPECT_TRUE(TalvoQuillpost::Storage::GetProccessedStrokes(pen, strokes));
    return strokes;
  }

  const TestRoot root_;
};

namespace TalvoQuillpost {
namespace Storage {

inline bool operator==(const RoutingInfo_App& one, const RoutingInfo_App& other) {
  return one.delivered == other.delivered && one.processed == other.processed;
}

inline void PrintTo(const StrokeID& id, std::ostream* out) {
  *out << "(" << id.page_address << "|" << id.name << "|" << id.extension << ")";
}

inline void PrintTo(const RoutingInfo_App& marks, std::ostream* out) {
  *out << marks.delivered << marks.processed;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
