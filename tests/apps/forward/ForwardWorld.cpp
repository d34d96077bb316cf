#include "ForwardWorld.h"

#include <signal.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>
#include <utility>

int InLongForm(int few, int many) {
  return std::getenv("QUILLPOST_FORWARD_LONG") != nullptr ? many : few;
}

LoggingProgram::LoggingProgram(const std::string& program, const std::string& log,
                               std::vector<std::string> arguments)
    : log_(log), command_(std::move(arguments)) {
  command_.insert(command_.begin(), program);
  command_.insert(command_.end(), {"--log-level", "4", "--log-file", log});
}

void LoggingProgram::Start() {
  process_ = std::make_unique<Process>(command_, Process::Environment{{"XDG_DATA_HOME", ""}});
}

void LoggingProgram::Kill() {
  process_->Signal(SIGKILL);
  process_->Wait();
}

int LoggingProgram::Stop() {
  process_->Signal(SIGTERM);
  return process_->Wait();
}

bool LoggingProgram::WaitForLog(const std::string& text) {
  return Eventually([&] { return log().find(text) != std::string::npos; });
}

ForwardWorld::ForwardWorld() {
  root_.Subscribe("Forward", "*.*.*.*");
  StartService();
}

void ForwardWorld::StartService() {
  service_ = std::make_unique<Process>(
      std::vector<std::string>{QUILLPOSTD, "--log-file", path("service.log").string()});
  if (!Eventually([] { return RunToEnd({QUILLPOST, "hello"}).status == 0; })) {
    throw std::runtime_error("the service did not start:\n" + ReadFile(path("service.log")));
  }
}

void ForwardWorld::StopServiceInItsTracks() {
  service_->Signal(SIGSTOP);
}

void ForwardWorld::RestartKilledService() {
  service_->Signal(SIGKILL);
  service_->Wait();
  StartService();
}

bool ForwardWorld::Import(const std::string& bytes) {
  const std::string file = path("ink-" + std::to_string(++imports_) + ".stf2").string();
  WriteFile(file, bytes);
  return RunToEnd({QUILLPOST, "import", file}).status == 0;
}

bool ForwardWorld::ImportMore(int packages) {
  InkFile one(1), two(2);
  for (int i = 0; i < packages; ++i) {
    ++imported_;
    const std::string page =
        "1.2." + std::to_string(imported_ / 900) + "." + std::to_string(imported_ % 900);
    (imported_ % 2 == 0 ? one : two).AddStroke(page.c_str(), 1000 + imported_);
  }
  return Import(one.bytes()) && Import(two.bytes());
}

std::string ForwardWorld::InkOf(const std::string& page, std::uint64_t start_ms,
                                std::uint64_t pen) {
  return InkFile(pen).AddStroke(page.c_str(), start_ms).bytes();
}

bool ForwardWorld::WaitUntilStoreIsEmpty() {
  return Eventually([&] { return is_store_empty(); });
}

LoggingProgram ForwardWorld::Forward(const std::string& servers,
                                     const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"--to", servers};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return LoggingProgram(QUILLPOST_FORWARD, path("forward.log").string(), arguments);
}

LoggingProgram ForwardWorld::Inbox(const std::string& servers, const std::vector<std::string>& more,
                                   const std::string& consumer) {
  std::vector<std::string> arguments = {"--from", servers, "--consumer", consumer};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return LoggingProgram(QUILLPOST_INBOX, path("inbox.log").string(), arguments);
}

std::vector<std::string> ForwardWorld::Kept() const {
  const auto rows = Select(
      "SELECT serial, address, bytes FROM packages JOIN pages ON packages.page = pages.id"
      " JOIN pens ON pages.pen = pens.id ORDER BY packages.id");
  std::vector<std::string> packages;
  for (const auto& row : rows) {
    std::string start = "?";
    try {
      start = std::to_string(StrokesOf(row[2]).at(0).start_time_ms);
    } catch (const std::exception&) {
      // what is not ink
    }
    packages.push_back(row[0] + " " + row[1] + " " + start);
  }
  return packages;
}

std::string ForwardWorld::KeptBytes() const {
  const auto rows = Select("SELECT bytes FROM packages");
  return rows.size() == 1 ? rows[0][0] : "";
}

std::size_t ForwardWorld::PartsThatWait() const {
  return Select("SELECT part FROM parts").size();
}

void ForwardWorld::AgeParts(std::chrono::milliseconds time) {
  sqlite3* database = nullptr;
  ::sqlite3_open(InboxFile().c_str(), &database);
  const std::string sql = "UPDATE parts SET time = time - " + std::to_string(time.count());
  EXPECT_EQ(::sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  ::sqlite3_close(database);
}

std::string ForwardWorld::InboxFile() const {
  return (root_.home() / ".local/share/quillpost/inbox.db").string();
}

std::vector<std::vector<std::string>> ForwardWorld::Select(const char* sql) const {
  const std::string file = InboxFile();
  std::vector<std::vector<std::string>> rows;
  sqlite3* database = nullptr;
  sqlite3_stmt* query = nullptr;
  ::sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
  ::sqlite3_busy_timeout(database, 5000);
  if (::sqlite3_prepare_v2(database, sql, -1, &query, nullptr) == SQLITE_OK) {
    while (::sqlite3_step(query) == SQLITE_ROW) {
      rows.emplace_back();
      for (int i = 0; i < ::sqlite3_column_count(query); ++i) {
        const void* const bytes = ::sqlite3_column_blob(query, i);
        rows.back().emplace_back(static_cast<const char*>(bytes),
                                 static_cast<std::size_t>(::sqlite3_column_bytes(query, i)));
      }
    }
  }
  ::sqlite3_finalize(query);
  ::sqlite3_close(database);
  return rows;
}

bool ForwardWorld::WaitUntilKept(std::size_t count) const {
  return Eventually([&] {
    const auto rows = Select("SELECT count(*) FROM packages");
    return !rows.empty() && std::stoul(rows[0][0]) >= count;
  });
}

std::vector<std::string> ForwardWorld::Offered() const {
  std::string log;
  for (int number = 9; number > 0; --number) {
    log += ReadFile(path("service.log." + std::to_string(number)));
  }
  log += ReadFile(path("service.log"));
  std::vector<std::string> offered;
  const std::regex offer("Exporting Ink '(.+)/(.+)_.+' from Pen '(.+)' storage");
  for (std::sregex_iterator found(log.begin(), log.end(), offer), end; found != end; ++found) {
    offered.push_back(found->str(3) + " " + found->str(1) + " " + found->str(2));
  }
  return offered;
}

testing::AssertionResult ForwardWorld::HasKeptAllOnceAndInOrder() const {
  const auto kept = Kept();
  if (kept.size() != imported_ ||
      std::set<std::string>(kept.begin(), kept.end()).size() != imported_) {
    return testing::AssertionFailure() << kept.size() << " for " << imported_ << " packages came";
  }
  const auto offered = Offered();
  std::map<std::string, std::vector<std::string>::const_iterator> next;  // of each pen's offers
  for (const std::string& package : kept) {
    const std::string pen = package.substr(0, package.find(' '));
    const auto from = next.try_emplace(pen, offered.begin()).first->second;
    const auto offer = std::find(from, offered.end(), package);
    if (offer == offered.end()) {
      return testing::AssertionFailure() << package << " came after what was offered after it";
    }
    next[pen] = offer + 1;
  }
  return testing::AssertionSuccess();
}

StreamPeer::StreamPeer(const std::string& url) {
  Stream::StreamOptions options;
  options.servers = {url};
  Stream::Watcher& watcher = *this;
  connection_ = std::make_unique<Stream::Connection>(options, "test", watcher);
}

void StreamPeer::Create(const std::function<void(jsStreamConfig&)>& change) {
  const char* subjects[] = {Stream::kAllInk};
  jsStreamConfig config;
  ::jsStreamConfig_Init(&config);
  config.Name = "INK";
  config.Subjects = subjects;
  config.SubjectsLen = 1;
  change(config);
  if (::js_AddStream(nullptr, connection_->stream(), &config, nullptr, nullptr) != NATS_OK) {
    throw std::runtime_error("can't make a stream");
  }
}

void StreamPeer::Create(std::int64_t duplicate_window_ms) {
  Create([&](jsStreamConfig& config) { config.Duplicates = duplicate_window_ms * 1000000; });
}

std::uint64_t StreamPeer::Count() {
  jsStreamInfo* info = nullptr;
  if (::js_GetStreamInfo(&info, connection_->stream(), "INK", nullptr, nullptr) != NATS_OK) {
    return 0;
  }
  const std::uint64_t count = info->State.Msgs;
  ::jsStreamInfo_Destroy(info);
  return count;
}

std::vector<std::string> StreamPeer::Ink() {
  std::vector<std::string> all;
  for (std::uint64_t sequence = 1, count = Count(); all.size() < count; ++sequence) {
    natsMsg* found = nullptr;
    const natsStatus status =
        ::js_GetMsg(&found, connection_->stream(), "INK", sequence, nullptr, nullptr);
    if (status != NATS_OK) throw std::runtime_error("can't read the stream");
    const Stream::MessagePtr message(found);
    Stream::IncomingInk ink;
    std::string reason;
    if (!Stream::ReadMessage(found, ink, reason)) throw std::runtime_error(reason);
    const auto strokes = StrokesOf(std::string(ink.bytes));
    all.push_back(ink.pen + " " + ink.page + " " + std::to_string(strokes.at(0).start_time_ms));
  }
  return all;
}

bool StreamPeer::HasTakenAll(const std::string& consumer) {
  jsConsumerInfo* info = nullptr;
  if (::js_GetConsumerInfo(&info, connection_->stream(), "INK", consumer.c_str(), nullptr,
                           nullptr) != NATS_OK) {
    return false;
  }
  const bool has_all = info->NumPending == 0 && info->NumAckPending == 0;
  ::jsConsumerInfo_Destroy(info);
  return has_all;
}

bool StreamPeer::Put(const std::string& page, std::uint64_t start_ms) {
  const std::string bytes = ForwardWorld::InkOf(page, start_ms);
  return Put(Stream::OutgoingInk({kTestPenSerial, page, "STF2", "ada", "desk"}, bytes, 1 << 20));
}

void StreamPeer::Purge() {
  ::js_PurgeStream(connection_->stream(), "INK", nullptr, nullptr);
}

std::int64_t StreamPeer::MakingOf(const std::string& consumer) {
  jsConsumerInfo* info = nullptr;
  if (::js_GetConsumerInfo(&info, connection_->stream(), "INK", consumer.c_str(), nullptr,
                           nullptr) != NATS_OK) {
    return 0;
  }
  const std::int64_t made = info->Created;
  ::jsConsumerInfo_Destroy(info);
  return made;
}

bool StreamPeer::Put(const Stream::OutgoingInk& ink, std::uint32_t part, const std::string& id) {
  const Stream::MessagePtr message = ink.Make(part);
  jsPubOptions options;
  ::jsPubOptions_Init(&options);
  options.MsgId = id.c_str();
  jsPubAck* answer = nullptr;
  if (::js_PublishMsg(&answer, connection_->stream(), message.get(), &options, nullptr) !=
      NATS_OK) {
    throw std::runtime_error("the stream takes nothing");
  }
  const bool is_new = !answer->Duplicate;
  ::jsPubAck_Destroy(answer);
  return is_new;
}
