#include "common/File.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <thread>

#include "support/Machine.h"
#include "support/RefusedCalls.h"
#include "support/TestRoot.h"

using TalvoCppUtils::Descriptor;
using namespace TalvoQuillpost::Common;

namespace fs = boost::filesystem;

namespace {

// What the descriptors of this process are, without those of the object under test.
int NextDescriptor() {
  const int descriptor = ::dup(1);
  ::close(descriptor);
  return descriptor;
}

std::string Text(const FileBytes& bytes) {
  return std::string(bytes.data.get(), bytes.data ? bytes.size_bytes : 0);
}

class FileTest : public testing::Test {
 protected:
  fs::path Path(const std::string& name) const { return root_.path() / name; }

  int OpenError(const std::string& name, int flags) const {
    Descriptor file;
    const auto error = OpenRegularFile(Path(name), flags, file);
    EXPECT_EQ(!error, file.is_open()) << name;
    return error.value();
  }

  // One of everything that is no regular file.
  void MakeOthers() {
    fs::create_directory(Path("directory"));
    ASSERT_EQ(0, ::mkfifo(Path("fifo").c_str(), 0600));
    fs::create_symlink("/dev/null", Path("device"));
    fs::create_symlink(Path("loop"), Path("loop"));
    Descriptor server(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    Path("socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof address));
  }

  const TestRoot root_;
};

class OpenRegularFileTest : public FileTest {};
class ReadRegularFileTest : public FileTest {};
class ReadAtTest : public FileTest {};
class WriteTest : public FileTest {};
class SyncTest : public FileTest {};
class CopyFileTest : public FileTest {};

boost::system::error_code Copy(const fs::path& source, const fs::path& target,
                               const std::function<bool()>& may_go_on = nullptr) {
  Descriptor from;
  Descriptor to;
  auto error = OpenRegularFile(source, O_RDONLY, from);
  if (!error) error = OpenRegularFile(target, O_WRONLY | O_CREAT, to);
  return error ? error : CopyFile(from.get(), to.get(), may_go_on);
}

}  // namespace

TEST_F(OpenRegularFileTest, OpensAFileAndALinkToOne) {
  WriteFile(Path("file"), "ink");
  fs::create_symlink(Path("file"), Path("link"));
  for (const char* name : {"file", "link"}) {
    Descriptor file;
    ASSERT_FALSE(OpenRegularFile(Path(name), O_RDONLY, file));
    char bytes[8];
    EXPECT_EQ(3, ::read(file.get(), bytes, sizeof bytes));
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(file.get(), F_GETFD)) << "launched programs would inherit it";
  }
}

TEST_F(OpenRegularFileTest, MakesAFileWithTheRightsOfTheUmask) {
  Descriptor file;
  const mode_t mask = ::umask(027);
  EXPECT_FALSE(OpenRegularFile(Path("new"), O_WRONLY | O_CREAT | O_EXCL, file));
  ::umask(mask);
  EXPECT_EQ(fs::perms(0640), fs::status(Path("new")).permissions());
}

TEST_F(OpenRegularFileTest, RefusesWhatIsNoRegularFileAndNeverWaits) {
  MakeOthers();
  EXPECT_EQ(ENOENT, OpenError("missing", O_RDONLY));
  EXPECT_EQ(ENOENT, OpenError("missing/below", O_WRONLY | O_CREAT));
  EXPECT_EQ(EISDIR, OpenError("directory", O_RDONLY));
  EXPECT_EQ(EISDIR, OpenError("directory", O_WRONLY | O_CREAT));
  EXPECT_EQ(EINVAL, OpenError("fifo", O_RDONLY));
  EXPECT_EQ(ENXIO, OpenError("fifo", O_WRONLY | O_CREAT));
  EXPECT_EQ(EINVAL, OpenError("device", O_RDONLY));
  EXPECT_EQ(EINVAL, OpenError("device", O_WRONLY));
  EXPECT_EQ(ENXIO, OpenError("socket", O_RDONLY));
  EXPECT_EQ(ELOOP, OpenError("loop", O_RDONLY));
}

TEST_F(OpenRegularFileTest, LeavesNoDescriptorOpenAfterARefusal) {
  MakeOthers();
  const int before = NextDescriptor();
  for (const char* name : {"directory", "fifo", "device", "missing"}) OpenError(name, O_RDONLY);
  EXPECT_EQ(before, NextDescriptor());
}

TEST_F(OpenRegularFileTest, TellsTheLackOfRights) {
  WriteFile(Path("file"), "ink");
  fs::permissions(Path("file"), fs::perms(0));
  fs::permissions(root_.path(), fs::perms(0755));
  const PlainUser user;
  EXPECT_EQ(EACCES, OpenError("file", O_RDONLY));
}

// As on a file server that has gone.
TEST_F(OpenRegularFileTest, TellsThatItCanNotAskWhatItHasOpened) {
  WriteFile(Path("file"), "ink");
  const bool has_run = RunWithRefused({{SYS_newfstatat, ESTALE}, {SYS_fstat, ESTALE}},
                                      [&] { EXPECT_EQ(ESTALE, OpenError("file", O_RDONLY)); });
  if (!has_run) GTEST_SKIP() << "this system can't refuse calls";
}

TEST_F(ReadRegularFileTest, GivesTheBytes) {
  FileBytes bytes;
  // The second is read into large pages.
  for (const std::size_t more : {300000, 5000000}) {
    const std::string content = std::string("ink\0\r\n\xFF", 7) + std::string(more, 'x');
    WriteFile(Path("file"), content);
    EXPECT_FALSE(ReadRegularFile(Path("file"), UINT64_MAX, bytes));
    EXPECT_EQ(content, Text(bytes));
  }
}

TEST_F(ReadRegularFileTest, AnEmptyFileHasNoBytes) {
  WriteFile(Path("empty"), "");
  FileBytes bytes;
  bytes.size_bytes = 7;
  EXPECT_FALSE(ReadRegularFile(Path("empty"), UINT64_MAX, bytes));
  EXPECT_EQ(nullptr, bytes.data);
  EXPECT_EQ(0u, bytes.size_bytes);
}

TEST_F(ReadRegularFileTest, AFileBeyondTheLimitIsMeasuredAndNotRead) {
  WriteFile(Path("file"), "0123456789");
  FileBytes bytes;
  EXPECT_FALSE(ReadRegularFile(Path("file"), 10, bytes));
  EXPECT_EQ("0123456789", Text(bytes));
  EXPECT_FALSE(ReadRegularFile(Path("file"), 9, bytes));
  EXPECT_EQ(nullptr, bytes.data);
  EXPECT_EQ(10u, bytes.size_bytes);
}

TEST_F(ReadRegularFileTest, TellsWhyAFileCantBeRead) {
  MakeOthers();
  FileBytes bytes;
  bytes.size_bytes = 7;
  EXPECT_EQ(ENOENT, ReadRegularFile(Path("missing"), 10, bytes).value());
  EXPECT_EQ(0u, bytes.size_bytes);
  EXPECT_EQ(EISDIR, ReadRegularFile(Path("directory"), 10, bytes).value());
  EXPECT_EQ(EINVAL, ReadRegularFile(Path("fifo"), 10, bytes).value());
}

// The kernel's own files are said to be a page long.
TEST_F(ReadRegularFileTest, AFileThatHoldsLessThanItSaysGivesWhatThereIs) {
  const fs::path file = "/sys/devices/system/cpu/online";
  const std::string content = ReadFile(file);
  if (content.empty() || fs::file_size(file) <= content.size()) GTEST_SKIP() << "no such file";
  FileBytes bytes;
  errno = EINTR;  // of an earlier call: it says nothing of one that succeeds
  EXPECT_FALSE(ReadRegularFile(file, UINT64_MAX, bytes));
  EXPECT_EQ(content, Text(bytes));
}

// A regular file that opens well and cannot be read: the speed of the loop-back device is unknown.
TEST_F(ReadRegularFileTest, TellsTheErrorOfReadingAndLeavesNothing) {
  const fs::path file = "/sys/class/net/lo/speed";
  Descriptor descriptor;
  char byte;
  if (OpenRegularFile(file, O_RDONLY, descriptor) || ::read(descriptor.get(), &byte, 1) != -1) {
    GTEST_SKIP() << "no such file";
  }
  const int reason = errno;
  FileBytes bytes;
  EXPECT_EQ(reason, ReadRegularFile(file, UINT64_MAX, bytes).value());
  EXPECT_EQ(0u, bytes.size_bytes);
  EXPECT_FALSE(bytes.data);
  EXPECT_EQ(reason, Copy(file, Path("target")).value());
}

// A mapped file that another program cuts short ends the process; a copied one does not.
TEST_F(ReadRegularFileTest, AFileThatIsCutShortMeanwhileGivesWhatWasThere) {
  const std::string content(1 << 20, 'x');
  WriteFile(Path("file"), content);
  std::atomic<bool> stop(false);
  std::thread other([&] {
    while (!stop) {
      EXPECT_EQ(0, ::truncate(Path("file").c_str(), 100));
      EXPECT_EQ(0, ::truncate(Path("file").c_str(), 1 << 20));
    }
  });
  for (int i = 0; i < 100; ++i) {
    FileBytes bytes;
    EXPECT_FALSE(ReadRegularFile(Path("file"), UINT64_MAX, bytes));
    EXPECT_GE(bytes.size_bytes, 100u);
    EXPECT_LE(bytes.size_bytes, content.size());
    EXPECT_EQ(content.substr(0, 100), Text(bytes).substr(0, 100));
  }
  stop = true;
  other.join();
}

TEST_F(WriteTest, TellsTheErrorOfCuttingAndOfClosing) {
  EXPECT_EQ(EBADF, Truncate(-1, 0).value());
  Descriptor closed(::open(Path("file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ::close(closed.get());
  EXPECT_EQ(EBADF, Close(closed).value());
  EXPECT_FALSE(Close(closed)) << "it holds nothing any more";
}

TEST_F(ReadAtTest, GivesTheBytesAtAPlace) {
  WriteFile(Path("file"), "0123456789");
  Descriptor file;
  ASSERT_FALSE(OpenRegularFile(Path("file"), O_RDONLY, file));
  std::string bytes = "stale";
  EXPECT_FALSE(ReadAt(file.get(), 3, 4, bytes));
  EXPECT_EQ("3456", bytes);
  EXPECT_FALSE(ReadAt(file.get(), 10, 0, bytes));
  EXPECT_EQ("", bytes);
}

TEST_F(ReadAtTest, AFileThatIsTooShortIsAnError) {
  WriteFile(Path("file"), "0123456789");
  Descriptor file;
  ASSERT_FALSE(OpenRegularFile(Path("file"), O_RDONLY, file));
  std::string bytes;
  errno = 0;
  EXPECT_EQ(EIO, ReadAt(file.get(), 8, 4, bytes).value());
  EXPECT_EQ(EIO, ReadAt(file.get(), 10, 1, bytes).value());
  EXPECT_EQ(EBADF, ReadAt(-1, 0, 1, bytes).value());
}

TEST_F(SyncTest, SyncsFilesDirectoriesAndFileSystems) {
  WriteFile(Path("file"), "ink");
  Descriptor file;
  ASSERT_FALSE(OpenRegularFile(Path("file"), O_WRONLY, file));
  EXPECT_FALSE(Sync(file.get()));
  EXPECT_FALSE(SyncFileSystem(file.get()));
  EXPECT_FALSE(SyncDirectory(root_.path()));
}

TEST_F(SyncTest, TellsWhatCanNotBeSynced) {
  WriteFile(Path("file"), "ink");
  EXPECT_EQ(EBADF, Sync(-1).value());
  EXPECT_EQ(EBADF, SyncFileSystem(-1).value());
  EXPECT_EQ(ENOENT, SyncDirectory(Path("missing")).value());
  EXPECT_EQ(ENOTDIR, SyncDirectory(Path("file")).value());
}

// Some file systems don't sync directories: what is in them is as safe as it gets. Errors of the
// disk are another matter.
TEST_F(SyncTest, ADirectoryThatTheFileSystemNeverSyncsCountsAsSynced) {
  for (const int error : {EINVAL, ENOTSUP, EIO}) {
    const bool has_run = RunWithRefused({{SYS_fsync, error}}, [&] {
      EXPECT_EQ(error == EIO ? EIO : 0, SyncDirectory(root_.path()).value());
    });
    if (!has_run) GTEST_SKIP() << "this system can't refuse calls";
  }
}

TEST_F(WriteTest, CutsAndExtendsAFile) {
  WriteFile(Path("file"), "0123456789");
  Descriptor file;
  ASSERT_FALSE(OpenRegularFile(Path("file"), O_WRONLY, file));
  EXPECT_FALSE(Truncate(file.get(), 4));
  EXPECT_EQ("0123", ReadFile(Path("file")));
  EXPECT_FALSE(Truncate(file.get(), 6));
  EXPECT_EQ(std::string("0123\0\0", 6), ReadFile(Path("file")));
}

TEST_F(FileTest, RemovesAFileAndTakesOneThatIsGoneForRemoved) {
  WriteFile(Path("file"), "ink");
  RemoveFile(Path("file"));
  EXPECT_FALSE(fs::exists(Path("file")));
  EXPECT_NO_THROW(RemoveFile(Path("file")));
}

TEST_F(FileTest, ThrowsWhereAFileCantBeRemoved) {
  WriteFile(Path("directory/file"), "ink");
  EXPECT_THROW(RemoveFile(Path("directory")), fs::filesystem_error);
  EXPECT_TRUE(fs::exists(Path("directory/file")));
}

TEST_F(FileTest, ADiskInMemoryIsOnThisMachineAndAViewOfTheKernelKeepsNoFiles) {
  struct statfs system;
  ASSERT_EQ(0, ::statfs("/proc/self", &system));
  EXPECT_FALSE(IsOnThisMachine(system));
  Disk disk(Path("disk"));
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  ASSERT_EQ(0, ::statfs(Path("disk").c_str(), &system));
  EXPECT_TRUE(IsOnThisMachine(system));
}

TEST_F(CopyFileTest, CopiesAllBytes) {
  const std::string content = std::string("ink\0\n", 5) + std::string(200000, 'x');
  WriteFile(Path("source"), content);
  EXPECT_FALSE(Copy(Path("source"), Path("target")));
  EXPECT_EQ(content, ReadFile(Path("target")));
  EXPECT_EQ(content, ReadFile(Path("source")));
}

TEST_F(CopyFileTest, EndsOnceItMayNotGoOn) {
  WriteFile(Path("source"), std::string(1000000, 'x'));
  int asked = 0;
  const auto error = Copy(Path("source"), Path("target"), [&asked] { return ++asked <= 3; });
  EXPECT_EQ(ECANCELED, error.value());
  EXPECT_EQ(3u * 65536, fs::file_size(Path("target")));
  EXPECT_FALSE(Copy(Path("source"), Path("whole"), [] { return true; }));
  EXPECT_EQ(1000000u, fs::file_size(Path("whole")));
}

TEST_F(CopyFileTest, GoesFromOneFileSystemToAnotherAndTellsWhenThatIsFull) {
  Disk disk(Path("disk"));
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  const std::string content(30000, 'x');
  WriteFile(Path("source"), content);
  EXPECT_FALSE(Copy(Path("source"), Path("disk/target")));
  EXPECT_EQ(content, ReadFile(Path("disk/target")));
  EXPECT_FALSE(Copy(Path("disk/target"), Path("back")));
  EXPECT_EQ(content, ReadFile(Path("back")));
  WriteFile(Path("disk/other"), "");
  disk.Fill();
  EXPECT_EQ(ENOSPC, Copy(Path("source"), Path("disk/other")).value());
}
