// Which files are imported, and what the log says about those that are not.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "import/ImportFixture.h"

namespace fs = boost::filesystem;

namespace {

typedef std::vector<LogCapture::Line> Lines;

constexpr std::uintmax_t kLimit = 104857600;

class ImportFile : public ImportFixture {
 protected:
  // The log of an import that ended with `reason`.
  static Lines Failure(const fs::path& file, const std::string& reason) {
    return {{3, "Started importing STF2 file '" + file.string() + "'."},
            {1, "Importing STF2 from '" + file.string() + "' failed" + reason}};
  }

  fs::path SparseFile(std::uintmax_t size_bytes) {
    const fs::path file = Capture("x");
    fs::resize_file(file, size_bytes);
    return file;
  }
};

TEST_F(ImportFile, AGoodFileIsStoredAndLeftWhereItIs) {
  const std::string ink = InkFile().AddStroke("1.2.3.4", 1700000000123).bytes();
  const fs::path file = Capture(ink);
  EXPECT_TRUE(service->ImportSTF2File(file));
  EXPECT_EQ(ReadFile(file), ink);
  const std::string name = Stroke("1.2.3.4/1700000000123_1700000000123");
  const auto stored = Stored();
  ASSERT_EQ(stored.count(name), 1u);
  EXPECT_EQ(stored.size(), 1u);
  const std::string size = std::to_string(stored.at(name).size());
  EXPECT_EQ(log.lines(),
            (Lines{{3, "Started importing STF2 file '" + file.string() + "'."},
                   {3, "Importing " + size + " bytes of Ink from Pen '" + kTestPenSerial +
                           "' and Page Address '1.2.3.4'..."},
                   {3, "Ink was imported to: '" + (root.storage() / name).string() + "'"},
                   {3, "Complete importing STF2 file '" + file.string() + "'."}}));
}

TEST_F(ImportFile, AMissingFileDoesNotExist) {
  const fs::path file = root.path() / "missing.stf2";
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), Failure(file, ": file does not exists."));
}

TEST_F(ImportFile, AnEmptyPathDoesNotExist) {
  EXPECT_FALSE(service->ImportSTF2File(""));
  EXPECT_EQ(log.lines(), Failure("", ": file does not exists."));
}

TEST_F(ImportFile, ADanglingLinkDoesNotExist) {
  const fs::path file = root.path() / "link";
  fs::create_symlink(root.path() / "missing", file);
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), Failure(file, ": file does not exists."));
}

TEST_F(ImportFile, ALinkIsFollowed) {
  const fs::path file = root.path() / "link";
  fs::create_symlink(Capture(InkFile().AddStroke("1.2.3.4", 100).bytes()), file);
  EXPECT_TRUE(service->ImportSTF2File(file));
  EXPECT_EQ(StoredNames(), std::vector<std::string>{Stroke("1.2.3.4/100_100")});
}

TEST_F(ImportFile, AFileWhoseStatusCanNotBeAskedDoesNotExist) {
  const fs::path below_a_file = Capture("x") / "capture.stf2";
  EXPECT_FALSE(service->ImportSTF2File(below_a_file));
  EXPECT_EQ(log.lines(), Failure(below_a_file, ": file does not exists."));
  log.Clear();
  const fs::path too_long = root.path() / std::string(5000, 'x');
  EXPECT_FALSE(service->ImportSTF2File(too_long));
  EXPECT_EQ(log.lines(), Failure(too_long, ": file does not exists."));
}

// The system would end the path at the zero byte, and import another file than the one named.
TEST_F(ImportFile, APathWithAZeroByteDoesNotExist) {
  const fs::path file = Capture(InkFile().AddStroke("1.2.3.4", 100).bytes());
  EXPECT_FALSE(service->ImportSTF2File(file.string() + std::string("\0.stf2", 6)));
  EXPECT_EQ(log.lines(), Failure(file, ": file does not exists."));
  EXPECT_TRUE(Stored().empty());
}

TEST_F(ImportFile, ARelativePathStartsAtTheWorkingDirectory) {
  Capture(InkFile().AddStroke("1.2.3.4", 100).bytes());
  const fs::path before = fs::current_path();
  fs::current_path(root.path());
  EXPECT_TRUE(service->ImportSTF2File("capture.stf2"));
  fs::current_path(before);
  EXPECT_TRUE(log.Has(3, "Complete importing STF2 file 'capture.stf2'."));
}

TEST_F(ImportFile, AnEmptyFileIsEmpty) {
  const fs::path file = Capture("");
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), Failure(file, ": file is empty."));
}

TEST_F(ImportFile, AFifoCanNotBeOpenedAndIsNotWaitedFor) {
  const fs::path file = root.path() / "fifo";
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), Failure(file, ": can't open file."));
}

TEST_F(ImportFile, ADirectoryCanNotBeOpened) {
  EXPECT_FALSE(service->ImportSTF2File(root.path()));
  EXPECT_EQ(log.lines(), Failure(root.path(), ": can't open file."));
}

TEST_F(ImportFile, ADeviceCanNotBeOpened) {
  EXPECT_FALSE(service->ImportSTF2File("/dev/zero"));
  EXPECT_EQ(log.lines(), Failure("/dev/zero", ": can't open file."));
}

TEST_F(ImportFile, ASocketCanNotBeOpened) {
  const fs::path file = root.path() / "socket";
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  file.string().copy(address.sun_path, sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_FALSE(service->ImportSTF2File(file));
  ::close(socket);
  EXPECT_EQ(log.lines(), Failure(file, ": can't open file."));
}

TEST_F(ImportFile, AFileOfAnotherUserCanNotBeOpened) {
  const fs::path file = Capture(InkFile().AddStroke("1.2.3.4", 100).bytes());
  fs::permissions(file, fs::no_perms);
  fs::permissions(root.path(), fs::owner_all | fs::group_exe | fs::others_exe);
  const uid_t user = ::geteuid();
  constexpr uid_t kNobody = 65534;
  // Root may open anything, so the import is done as somebody else.
  ASSERT_EQ(::seteuid(user == 0 ? kNobody : user), 0);
  EXPECT_FALSE(service->ImportSTF2File(file));
  ASSERT_EQ(::seteuid(user), 0);
  EXPECT_EQ(log.lines(), Failure(file, ": can't open file."));
}

TEST_F(ImportFile, AFileOfExactlyTheLimitIsParsed) {
  const fs::path file = SparseFile(kLimit);
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), (Lines{{3, "Started importing STF2 file '" + file.string() + "'."},
                                {1, "Stf2InkDataInitialize() failed: 2"},
                                {1, "Importing STF2 from '" + file.string() + "' failed."}}));
}

TEST_F(ImportFile, AFileOfOneByteMoreIsTooBig) {
  const fs::path file = SparseFile(kLimit + 1);
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), Failure(file, ": file is too big (104857601)."));
}

TEST_F(ImportFile, AFileBiggerThanTheMemoryIsTooBig) {
  const fs::path file = SparseFile(std::uintmax_t(1) << 42);
  EXPECT_FALSE(service->ImportSTF2File(file));
  EXPECT_EQ(log.lines(), Failure(file, ": file is too big (4398046511104)."));
}

// Another program writes the file anew again and again, and cuts it short first, while the service
// imports it. A service that parsed the file where it lies would be ended by a signal.
TEST_F(ImportFile, AFileCutShortDuringItsImportEndsNothing) {
  InkFile ink;
  for (int i = 1; i <= 20000; ++i) ink.AddStroke("1.2.3.4", 1000 + i);
  const std::string bytes = ink.bytes();
  const fs::path file = Capture("");
  std::atomic<bool> done{false};
  std::thread writer([&] {
    while (!done) {
      fs::resize_file(file, 0);
      fs::resize_file(file, bytes.size());
    }
  });
  for (int i = 0; i < 50; ++i) EXPECT_FALSE(service->ImportSTF2File(file)) << i;
  done = true;
  writer.join();
  EXPECT_TRUE(Stored().empty());
  EXPECT_TRUE(Import(bytes));
  EXPECT_EQ(StoredNames(), std::vector<std::string>{Stroke("1.2.3.4/1001_21000")});
}

class ImportLog : public testing::TestWithParam<int> {};

// A message of level N appears at level N and higher.
TEST_P(ImportLog, HoldsTheMessagesOfItsLevel) {
  const TestRoot root;
  const auto service = boost::make_shared<TalvoQuillpost::Service>();
  const fs::path good = root.path() / "good.stf2";
  const fs::path bad = root.path() / "bad.stf2";
  WriteFile(good, InkFile().AddStroke("1.2.3.4", 100).bytes());
  WriteFile(bad, "no ink");
  const LogCapture log(GetParam());
  EXPECT_TRUE(service->ImportSTF2File(good));
  EXPECT_FALSE(service->ImportSTF2File(bad));
  const bool all = GetParam() >= 3;
  EXPECT_EQ(log.Count(3, "Started importing STF2 file '" + good.string() + "'."), all ? 1u : 0u);
  EXPECT_EQ(log.Count(3, "Complete importing STF2 file '" + good.string() + "'."), all ? 1u : 0u);
  const bool errors = GetParam() >= 1;
  EXPECT_EQ(log.Count(1, "Stf2InkDataInitialize() failed: 2"), errors ? 1u : 0u);
  EXPECT_EQ(log.Count(1, "Importing STF2 from '" + bad.string() + "' failed."), errors ? 1u : 0u);
  EXPECT_EQ(log.lines().size(), all ? 7u : errors ? 2u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Level, ImportLog, testing::Range(0, 5));

TEST(ImportWithoutALogger, WorksAllTheSame) {
  const TestRoot root;
  const auto service = boost::make_shared<TalvoQuillpost::Service>();
  WriteFile(root.path() / "good.stf2", InkFile().AddStroke("1.2.3.4", 100).bytes());
  EXPECT_TRUE(service->ImportSTF2File(root.path() / "good.stf2"));
  EXPECT_FALSE(service->ImportSTF2File(root.path() / "missing.stf2"));
}

}  // namespace
