// A service that has not been started, over a store that the test fills: enough for the routing
// pass, for clean-up, and for the delivery pass without clients.

#pragma once

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <boost/make_shared.hpp>
#include <set>
#include <string>
#include <vector>

#include "service/Service.h"
#include "storage/FilesStorage.h"
#include "support/LogCapture.h"
#include "support/TestRoot.h"

class StoreFixture : public testing::Test {
 protected:
  typedef std::vector<LogCapture::Line> Lines;
  typedef TalvoQuillpost::Storage::StrokeID StrokeID;
  typedef std::set<StrokeID> Strokes;

  ~StoreFixture() override { TalvoQuillpost::Storage::Cleanup(); }

  // Files a stroke and returns its path.
  boost::filesystem::path AddStroke(const std::string& page, const std::string& name,
                                    const std::string& bytes = "ink",
                                    const std::string& pen = "PEN") {
    const boost::filesystem::path file = root.storage() / pen / page / (name + ".stf2");
    WriteFile(file, bytes);
    return file;
  }

  static StrokeID Stroke(const std::string& page, const std::string& name) {
    return {page, name, "stf2"};
  }

  // A routing pass whose lines nobody asks for.
  void Route() {
    service->RouteInk();
    log.Clear();
  }

  Strokes Undelivered(const std::string& app, const std::string& pen = "PEN") const {
    Strokes strokes;
    EXPECT_TRUE(TalvoQuillpost::Storage::GetUndeliveredStrokes(pen, app, strokes));
    return strokes;
  }

  Strokes Processed(const std::string& pen = "PEN") const {
    Strokes strokes;
    EXPECT_TRUE(TalvoQuillpost::Storage::GetProccessedStrokes(pen, strokes));
    return strokes;
  }

  // What a confirmation marks.
  void Mark(const std::string& app, const Strokes& delivered, const Strokes& processed) {
    EXPECT_TRUE(TalvoQuillpost::Storage::SetRoutingInfoMarkers("PEN", app, delivered, processed));
  }

  // Files in the scratch directory.
  std::size_t CountScratchFiles() const {
    namespace fs = boost::filesystem;
    if (!fs::exists(root.scratch())) return 0;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(root.scratch()), fs::directory_iterator()));
  }

  // Puts a link to itself in the place of a file: asking for its status is an error.
  static void MakeUnanswerable(const boost::filesystem::path& file) {
    boost::filesystem::remove(file);
    boost::filesystem::create_symlink(file, file);
  }

  // Lets any user work in the store.
  void OpenToEveryone() const {
    namespace fs = boost::filesystem;
    fs::permissions(root.path(), fs::all_all);
    for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
      fs::permissions(entry.path(), fs::all_all);
    }
  }

  TestRoot root;
  LogCapture log;
  boost::shared_ptr<TalvoQuillpost::Service> service =
      boost::make_shared<TalvoQuillpost::Service>();
};
