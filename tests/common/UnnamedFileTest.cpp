// Files without a name, which get one when they are complete.

#include "common/UnnamedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/FolderFixture.h"

using namespace TalvoQuillpost::Common;
using TalvoCppUtils::Descriptor;

namespace fs = boost::filesystem;

namespace {

class UnnamedFileTest : public FolderFixture {
 protected:
  void SetUp() override {
    FolderFixture::SetUp();
    ASSERT_FALSE(OpenUnnamed(Path(""), 0640, file_));
    ASSERT_EQ(3, ::write(file_.get(), "ink", 3));
  }

  Descriptor file_;
};

}  // namespace

TEST_F(UnnamedFileTest, IsSeenByNobody) {
  EXPECT_TRUE(fs::is_empty(Path("")));
  file_.Close();
  EXPECT_TRUE(fs::is_empty(Path("")));
}

TEST_F(UnnamedFileTest, AppearsCompleteUnderItsName) {
  EXPECT_FALSE(GiveNameToUnnamed(file_.get(), Path("named")));
  file_.Close();
  EXPECT_EQ("ink", ReadFile(Path("named")));
  EXPECT_EQ(fs::perms(0640), fs::status(Path("named")).permissions());
}

TEST_F(UnnamedFileTest, TakesNobodysName) {
  WriteFile(Path("taken"), "other");
  EXPECT_EQ(boost::system::errc::file_exists, GiveNameToUnnamed(file_.get(), Path("taken")));
  EXPECT_EQ("other", ReadFile(Path("taken")));
  EXPECT_FALSE(GiveNameToUnnamed(file_.get(), Path("free")));
}

TEST_F(UnnamedFileTest, SaysWhatIsWrongWithTheDirectory) {
  Descriptor file;
  const auto missing = OpenUnnamed(Path("missing"), 0600, file);
  EXPECT_EQ(boost::system::errc::no_such_file_or_directory, missing);
  EXPECT_FALSE(MeansUnsupported(missing));
  EXPECT_FALSE(file.is_open());
}

// What kernels and file systems without such files have been seen to answer.
TEST_F(UnnamedFileTest, TellsAFileSystemThatHasNoSuchFiles) {
  using namespace boost::system::errc;
  for (const auto reason :
       {operation_not_supported, not_supported, is_a_directory, invalid_argument}) {
    EXPECT_TRUE(MeansUnsupported(make_error_code(reason))) << reason;
  }
  EXPECT_FALSE(MeansUnsupported(make_error_code(no_space_on_device)));
  EXPECT_FALSE(MeansUnsupported({}));
}
