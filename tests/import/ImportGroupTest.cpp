#include "import/ImportGroup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/TestRoot.h"

namespace TalvoQuillpost {
namespace {

using testing::ElementsAre;

class ImportGroupTest : public testing::Test {
 protected:
  // An import of one stroke of so many bytes.
  void Add(const std::string& name, std::size_t size_bytes = 3) {
    auto strokes = std::make_unique<Storage::NewStrokes>();
    const std::string ink(size_bytes, 'i');
    EXPECT_TRUE(strokes->Add(kTestPenSerial, {"1.2.3.4", name, "stf2"}, ink.data(), ink.size()));
    group_.Add(name, std::move(strokes), Answer(name));
  }

  ImportGroup::Done Answer(const std::string& name) {
    return [this, name](bool is_stored) { said_.push_back(name + (is_stored ? "+" : "-")); };
  }

  boost::filesystem::path File(const std::string& name) const {
    return root_.storage() / kTestPenSerial / "1.2.3.4" / name;
  }

  const TestRoot root_;
  const LogCapture log_;
  ImportGroup group_;
  std::vector<std::string> said_;  // in its order
};

TEST_F(ImportGroupTest, EachImportIsAnsweredInItsOrderOnceAllAreStored) {
  Add("a");
  group_.AddRefused(Answer("refused"));
  Add("b");
  EXPECT_EQ(3u, group_.size());
  EXPECT_TRUE(said_.empty());
  group_.Commit([this] {
    EXPECT_EQ("iii", ReadFile(File("a.stf2")));
    EXPECT_EQ("iii", ReadFile(File("b.stf2")));
    said_.push_back("stored");
  });
  EXPECT_THAT(said_, ElementsAre("stored", "a+", "refused-", "b+"));
  EXPECT_TRUE(log_.Has(3, "Complete importing STF2 file 'a'."));
  EXPECT_EQ(0u, group_.size());
}

TEST_F(ImportGroupTest, NothingIsSaidToBeStoredIfNothingIs) {
  group_.AddRefused(Answer("refused"));
  auto failed = std::make_unique<Storage::NewStrokes>();
  failed->Fail();
  group_.Add("empty", std::move(failed), Answer("failed"));
  group_.Commit([this] { said_.push_back("stored"); });
  EXPECT_THAT(said_, ElementsAre("refused-", "failed-"));
  EXPECT_TRUE(log_.Has(1, "Importing STF2 from 'empty' failed."));
}

TEST_F(ImportGroupTest, AnAnswerThatThrowsKeepsNoOtherBack) {
  group_.AddRefused([](bool) { throw std::runtime_error("gone"); });
  Add("a");
  group_.Commit([] { throw std::runtime_error("gone"); });
  EXPECT_THAT(said_, ElementsAre("a+"));
  EXPECT_EQ(2u, log_.CountUpTo(1));
}

TEST_F(ImportGroupTest, AnAnswerMayAddTheNextImport) {
  group_.AddRefused([this](bool) { Add("next"); });
  group_.Commit();
  EXPECT_EQ(1u, group_.size());
  group_.Commit();
  EXPECT_THAT(said_, ElementsAre("next+"));
}

TEST_F(ImportGroupTest, IsFullOf256Imports) {
  for (int i = 0; i < 255; ++i) group_.AddRefused(Answer("refused"));
  EXPECT_FALSE(group_.IsFull());
  group_.AddRefused(Answer("refused"));
  EXPECT_TRUE(group_.IsFull());
  group_.Commit();
  EXPECT_FALSE(group_.IsFull());
}

TEST_F(ImportGroupTest, IsFullOf16MebibytesOfInk) {
  Add("a", 16 << 19);
  Add("b", (16 << 19) - 1);
  EXPECT_FALSE(group_.IsFull());
  Add("c", 1);
  EXPECT_TRUE(group_.IsFull());
}

TEST_F(ImportGroupTest, IsFullOfAsManyFilesAsMayBeOpen) {
  const std::size_t most = Storage::NewStrokes::MaxOpenFiles();
  for (std::size_t i = 0; i + 1 < most && i < 255; ++i) Add(std::to_string(i));
  EXPECT_FALSE(group_.IsFull());
  Add("last");
  EXPECT_TRUE(group_.IsFull());
}

}  // namespace
}  // namespace TalvoQuillpost
