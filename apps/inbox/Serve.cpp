// The running inbox. Its threads:
//
//   main       sockets of browsers, timers, signals (boost::asio)
//   questions  two that ask the database                       } api/Api.h
//   drawing    two that draw, convert and export               }
//   writer     the only one that changes the database            database/Writer.h
//   link       the connection to the ink service                 application/ServiceLink.h
//   stream     with --from: the connection to a stream           stream/StreamLink.h
//
// questions and drawing may wait for the writer; the writer and main wait for nobody; link waits
// for the service alone; stream for the writer and its servers.

#include <Talvo/Logger.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "DatabaseWatch.h"
#include "Files.h"
#include "Instance.h"
#include "Options.h"
#include "api/Api.h"
#include "application/EndSignals.h"
#include "http/Server.h"

namespace Inbox {
namespace {

namespace fs = std::filesystem;

const char kApplicationId[] = "Inbox";
const char kPortSetting[] = "port";

std::string ReasonOf(std::exception_ptr failure) {
  if (!failure) return {};
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return error.what();
  }
}

void OpenLog(const Options& options) {
  const auto sink = options.log_file.empty() ? Talvo::LogSink::Stderr()
                                             : Talvo::LogSink::RotatingFile(options.log_file);
  Talvo::Logger::Open("Inbox", options.log_level, sink);
}

void RememberKey(const Options& options, Keeper& keeper) {
  if (options.key_file.empty() && !options.is_key_forgotten) return;
  std::string file;
  if (!options.is_key_forgotten) {
    TalvoInk::KeyPair key;
    ReadKeyFile(options.key_file, key);
    file = fs::absolute(options.key_file).string();
  }
  keeper.SetKeyFile(file);
}

bool Show(const Options& options, const std::string& address) {
  std::string view;
  if (options.shown_page != 0) view = "#/page/" + std::to_string(options.shown_page);
  if (options.refused_files != 0) {
    view += (view.empty() ? "#/" : "") + ("?refused=" + std::to_string(options.refused_files));
  }
  return ShowInBrowser(address + view);
}

// Another process runs the inbox. It learns of a key from the database.
int ShowRunning(const Options& options, const std::string& directory) {
  const std::string address = WaitForAddress(directory);
  if (!options.source.stream.servers.empty() || options.port != 0) {
    throw std::runtime_error(
        "another inbox runs; 'quillpost-inbox --quit' ends it, so that one can start with another "
        "port or a stream");
  }
  const auto connection = Database(directory).OpenWriter();
  Transaction transaction(*connection);
  Keeper keeper(*connection);
  RememberKey(options, keeper);
  transaction.Commit();
  if (address.empty()) throw std::runtime_error("another inbox runs, and does not say where");
  std::printf("%s\n", address.c_str());
  std::fflush(stdout);
  return !options.is_to_open || Show(options, address) ? kDone : kRefused;
}

void RefuseDamage(const Database& database) {
  const std::string damage = database.FindDamage();
  if (damage.empty()) return;
  throw std::runtime_error("the database " + database.path() + " is damaged (" + damage +
                           "); it was left as it is. Put a backup in its place, or move it away; "
                           "ink that was not confirmed comes again");
}

std::map<std::string, std::int64_t> KnownSessions(const Database& database) {
  const auto connection = database.OpenReader();
  Query query(*connection, "SELECT digest, until FROM sessions WHERE until > ?", NowMs());
  std::map<std::string, std::int64_t> sessions;
  while (query.Step()) sessions[query.Text(0)] = query.Number(1);
  return sessions;
}

// The port that was asked for, or the last one so that open pages find us again, or any.
unsigned short BindPort(HttpServer& server, const Options& options, Writer& writer) {
  if (options.port != 0) return server.Bind(options.port);
  std::string last;
  writer.Run([&](Keeper& keeper) { last = keeper.Setting(kPortSetting); });
  try {
    if (!last.empty()) return server.Bind(static_cast<unsigned short>(std::stoi(last)));
  } catch (const boost::system::system_error&) {
    // another program has it now
  }
  return server.Bind(0);
}

void RemoveLeftovers(const std::string& directory) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(directory, ignored)) {
    if (entry.path().filename().string().rfind(kTransitName, 0) == 0) {
      fs::remove(entry.path(), ignored);
    }
  }
}

// The parts, in the order in which they stand on one another.
class RunningInbox {
 public:
  RunningInbox(const std::string& directory, const Options& options)
      : options_(options),
        database_(directory),
        signals_(queue_, Application::HoldEndSignals().Release()),
        writer_(database_, [this] { OnCommit(); }),
        readers_(database_),
        library_(readers_),
        sessions_(
            AddressFile(directory), [this](const Sessions::Session& s) { Remember(s); },
            KnownSessions(database_)),
        api_({queue_, library_, writer_, sessions_, directory}),
        server_(queue_, api_),
        watch_(queue_, database_.path(), [this] { api_.events().OnCommit(); }) {}

  ~RunningInbox() {
    server_.Stop();
    api_.SetLink(nullptr);
    api_.SetStream(nullptr);
  }

  int Run() {
    writer_.Run([this](Keeper& keeper) {
      RememberKey(options_, keeper);
      keeper.OwnPen();
    });
    Listen();
    link_.emplace(LinkOptions());
    api_.SetLink(&*link_);
    if (!options_.source.stream.servers.empty()) BeginStream();
    std::printf("%s\n", sessions_.Address().c_str());
    std::fflush(stdout);
    if (options_.is_to_open) Show(options_, sessions_.Address());
    signals_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                        [this](const boost::system::error_code&) { queue_.stop(); });
    queue_.run();
    return kDone;
  }

 private:
  void Listen() {
    const unsigned short port = BindPort(server_, options_, writer_);
    writer_.Run([text = std::to_string(port)](Keeper& keeper) {
      if (keeper.Setting(kPortSetting) != text) keeper.Set(kPortSetting, text);
    });
    sessions_.Begin(port);
    guard_.emplace(sessions_, port);
    server_.Serve(*guard_);
  }

  void BeginStream() {
    stream_.emplace(options_.source, writer_,
                    [this](const StreamLink::State& state) { api_.events().OnStreamState(state); });
    api_.SetStream(&*stream_);
  }

  ServiceLink::Options LinkOptions() {
    ServiceLink::Options options;
    options.application_id = kApplicationId;
    options.name = "the inbox";
    options.log_tag = "Inbox";
    options.keep = [this](const Application::Offer& offer, const ServiceLink::Done& done) {
      Keep(offer, done);
    };
    options.on_state = [this](const ServiceLink::State& state) { api_.events().SetService(state); };
    return options;
  }

  // The bytes are read when their turn has come: what waits takes no memory.
  void Keep(const Application::Offer& offer, const ServiceLink::Done& done) {
    writer_.Post(
        [offer](Keeper& keeper) {
          keeper.Keep({InkTool::ReadInput(offer.file), offer.pen, offer.page}, NowMs());
        },
        [done](std::exception_ptr failure) { done(ReasonOf(failure)); });
  }

  // On the writer's thread, which may be there before the other parts: only the queue is touched.
  void OnCommit() {
    boost::asio::post(queue_, [this] { api_.events().OnCommit(); });
  }

  void Remember(const Sessions::Session& session) {
    writer_.Post([session](Keeper& keeper) { keeper.AddSession(session.digest, session.until_ms); },
                 [](std::exception_ptr) {});  // then the browser is let in until the inbox ends
  }

  const Options& options_;
  const Database database_;
  boost::asio::io_context queue_;
  boost::asio::posix::stream_descriptor signals_;  // SIGTERM and SIGINT, held from all threads
  Writer writer_;
  Readers readers_;
  Library library_;
  Sessions sessions_;
  Api api_;
  std::optional<Guard> guard_;
  HttpServer server_;
  DatabaseWatch watch_;
  std::optional<ServiceLink> link_;
  std::optional<StreamLink> stream_;
};

}  // namespace

int Serve(const Options& options) {
  const std::string directory = DataDirectory();
  MakeDataDirectory(directory);
  const Instance instance(directory);
  if (!instance.is_ours()) return ShowRunning(options, directory);
  OpenLog(options);
  RemoveLeftovers(directory);
  RefuseDamage(Database(directory));
  return RunningInbox(directory, options).Run();
}

int Quit() {
  const std::string directory = DataDirectory();
  if (!EndRunning(directory)) std::fprintf(stderr, "quillpost-inbox: no inbox runs\n");
  return kDone;
}

int ShowFiles(const Options& options) {
  const Imported imported = Import(options.files);
  Options shown = options;
  shown.is_to_open = true;
  shown.refused_files = imported.refused;
  if (imported.pages.size() == 1) shown.shown_page = imported.pages.front();
  const int served = Serve(shown);
  return imported.refused == 0 ? served : std::max<int>(served, kRefused);
}

}  // namespace Inbox
