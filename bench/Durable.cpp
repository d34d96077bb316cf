// durable: imports whose ink is on the disk when they are answered.

#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>

#include "BenchRoot.h"
#include "Clients.h"
#include "Disk.h"
#include "Floors.h"
#include "Ink.h"
#include "Peer.h"
#include "Workloads.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;

void Check(bool is_good, const char* what) {
  if (!is_good) throw std::runtime_error(std::string("the floor can't ") + what);
}

// A new file without a name, and what a file of the client holds in it.
int CopyToNameless(const fs::path& source, int directory) {
  const int from = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  Check(from >= 0 && ::fstat(from, &status) == 0, "open a file");
  const auto bytes = static_cast<std::size_t>(status.st_size);
  void* const data = ::mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, from, 0);
  ::close(from);
  const int to = ::openat(directory, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  Check(data != MAP_FAILED && to >= 0, "make a file");
  Check(::write(to, data, bytes) == status.st_size, "write");
  ::munmap(data, bytes);
  return to;
}

void Name(int file, int directory, std::size_t number) {
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  Check(::linkat(AT_FDCWD, link.c_str(), directory, std::to_string(number).c_str(),
                 AT_SYMLINK_FOLLOW) == 0,
        "name a file");
  ::close(file);
}

// A name appears when the bytes are on the disk, and the reply goes out when the name is, too.
void ServeOneByOne(LineSocket& socket, int directory, std::size_t files) {
  for (std::size_t i = 0; i < files; ++i) {
    const int file = CopyToNameless(PathOfImport(socket.Receive()), directory);
    Check(::fdatasync(file) == 0, "sync a file");
    Name(file, directory, i);
    Check(::fsync(directory) == 0, "sync the directory");
    socket.Send(kImportReply);
  }
}

// The same order for all files together that may wait, with two syncs: a sync of each file would
// have the disk empty its cache for each, even if all of them share one commit of the journal.
void ServeTogether(LineSocket& socket, int directory, std::size_t files) {
  for (std::size_t done = 0; done < files;) {
    std::vector<int> copies;
    for (std::size_t i = done; i < std::min(files, done + kMostWaiting); ++i) {
      copies.push_back(CopyToNameless(PathOfImport(socket.Receive()), directory));
    }
    Check(::syncfs(directory) == 0, "sync the files");
    for (const int copy : copies) Name(copy, directory, done++);
    Check(::fsync(directory) == 0, "sync the directory");
    for (std::size_t i = 0; i < copies.size(); ++i) socket.Send(kImportReply);
  }
}

// One way of bringing files, and its floor.
struct Way {
  const char* name;
  bool together;
  void (*serve)(LineSocket&, int directory, std::size_t files);
  double most;  // wanted, x the floor
};

constexpr Way kWays[] = {{"one after the other", false, ServeOneByOne, 1.5},
                         {"together", true, ServeTogether, 1.2}};

// `waiting` requests may wait for their replies if the files come together.
void Bring(LineSocket& socket, const std::vector<fs::path>& files, const Way& way,
           std::size_t waiting, Samples& samples) {
  if (way.together) {
    const double time = TimeOf([&] { ImportAll(socket, files, waiting); });
    samples.seconds.push_back(time / static_cast<double>(files.size()));
    return;
  }
  for (const fs::path& file : files) {
    samples.seconds.push_back(TimeOf([&] { Import(socket, file); }));
  }
}

// The floor gets as many requests before its first reply as the service lets wait.
void MeasureFloor(const BenchRoot& root, const std::vector<fs::path>& files, const Way& way,
                  Samples& samples) {
  const fs::path directory = root.path() / "floor";
  fs::create_directory(directory);
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const auto ends = LineSocket::Pair();
  Child server([&] {
    ::close(ends.second);
    LineSocket socket(ends.first);
    way.serve(socket, fd, files.size());
  });
  ::close(ends.first);
  LineSocket socket(ends.second);
  Bring(socket, files, way, kMostWaiting, samples);
  server.Wait();
  ::close(fd);
}

void MeasurePeers(const Sizes& sizes, const BenchRoot& root, const Way& way, Case& result) {
  for (const auto& peer :
       StartPeers(sizes, root.path(), 0, sizes.stroke_bytes, Sync::kBeforeReply)) {
    Samples& samples = result.OfPeer(peer->name());
    const auto putter = peer->Put(sizes.stroke_bytes);
    const std::size_t files = sizes.sync_files;
    putter->Put();  // what is made and synced once, such as a log of full length
    if (way.together) {
      samples.seconds.push_back(TimeOf([&] { putter->PutMany(files); }) /
                                static_cast<double>(files));
      continue;
    }
    for (std::size_t i = 0; i < files; ++i) {
      samples.seconds.push_back(TimeOf([&] { putter->Put(); }));
    }
  }
}

// Whether the bytes of a file have a place on the disk. They get one when they are written there;
// as long as they wait in memory they have none. (That they have one does not prove a sync.)
bool IsWritten(const fs::path& path) {
  constexpr std::uint32_t kExtents = 8;
  alignas(fiemap) char buffer[sizeof(fiemap) + kExtents * sizeof(fiemap_extent)] = {};
  auto* const map = reinterpret_cast<fiemap*>(buffer);
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_extent_count = kExtents;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool is_known = ::ioctl(file, FS_IOC_FIEMAP, map) == 0;
  ::close(file);
  bool is_written = is_known && map->fm_mapped_extents > 0;
  for (std::uint32_t i = 0; is_known && i < map->fm_mapped_extents; ++i) {
    if (map->fm_extents[i].fe_flags & FIEMAP_EXTENT_DELALLOC) is_written = false;
  }
  return is_written;
}

// All files go to one page that is there already: one directory to sync. What was written before
// is on the disk before the measurement begins, so that no journal carries it along. Nobody has
// subscribed: to launch a program for each import would cost more than to sync.
// Returns how many strokes were surely not on the disk when they were answered.
std::size_t RunOnce(const Sizes& sizes, const Disk& disk, const Way& way, Case& result) {
  const BenchRoot root(disk.path());
  root.FillStore(kPen, 1, 1, sizes.stroke_bytes);
  const auto files = WriteInkFiles(root.path() / "ink", sizes.sync_files, sizes.stroke_bytes, 1);
  ::sync();
  MeasureFloor(root, files, way, result.floor);
  std::size_t unwritten = 0;
  {
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    ::sync();
    LineSocket socket(LineSocket::ConnectToService());
    Bring(socket, files, way, kMostWaiting, result.service);
    for (const auto& stroke :
         fs::directory_iterator(root.storage() / PenSerial(kPen) / PageAddress(0))) {
      if (!IsWritten(stroke.path())) ++unwritten;
    }
  }
  MeasurePeers(sizes, root, way, result);
  return unwritten;
}

}  // namespace

void RunDurable(const Sizes& sizes, Report& report) {
  const Disk disk(sizes.disk);
  report.Note("disk", disk.Description());
  for (const Way& way : kWays) {
    const std::string name = std::to_string(sizes.sync_files) + " imports " + way.name;
    Case result = {"durable", name, {}, {}, {}};
    result.sizes = {{"files", sizes.sync_files}, {"bytes", sizes.stroke_bytes}};
    std::size_t unwritten = 0;
    for (std::size_t i = 0; i < sizes.repetitions; ++i) {
      unwritten += RunOnce(sizes, disk, way, result);
    }
    report.AddAtMost("durable: " + name + ", x the floor", report.Add(result), way.most);
    report.AddAtMost("durable: " + name + ", not on the disk when answered",
                     static_cast<double>(unwritten), 0);
  }
}

}  // namespace bench
