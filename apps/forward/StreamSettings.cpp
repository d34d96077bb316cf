#include "StreamSettings.h"

#include <algorithm>
#include <memory>

#include "stream/InkMessage.h"

namespace Forward {

using Stream::Connection;
using Stream::StreamError;

namespace {

constexpr std::int64_t kSecondNs = 1000000000;

struct InfoDeleter {
  void operator()(jsStreamInfo* info) const { ::jsStreamInfo_Destroy(info); }
};
using InfoPtr = std::unique_ptr<jsStreamInfo, InfoDeleter>;

// A full stream refuses new ink, which then stays with the services, rather than drop old ink that
// nobody may have taken yet.
InfoPtr MakeStream(Connection& connection, const Options& options) {
  const char* subjects[] = {Stream::kAllInk};
  jsStreamConfig config;
  ::jsStreamConfig_Init(&config);
  config.Name = options.stream.stream.c_str();
  config.Description = "Ink of digital pens";
  config.Subjects = subjects;
  config.SubjectsLen = 1;
  config.Discard = js_DiscardNew;
  config.Replicas = options.new_stream.replicas;
  config.MaxAge = static_cast<std::int64_t>(options.new_stream.max_age_s) * kSecondNs;
  if (options.new_stream.max_bytes > 0) {
    config.MaxBytes = static_cast<std::int64_t>(options.new_stream.max_bytes);
  }
  config.Duplicates = static_cast<std::int64_t>(options.new_stream.duplicate_window_s) * kSecondNs;
  // A longer one than the messages' own age is refused.
  if (config.MaxAge > 0) config.Duplicates = std::min(config.Duplicates, config.MaxAge);
  jsStreamInfo* made = nullptr;
  jsErrCode code{};
  const natsStatus status = ::js_AddStream(&made, connection.stream(), &config, nullptr, &code);
  InfoPtr info(made);
  if (status != NATS_OK) {
    throw StreamError("can't make the stream " + options.stream.stream, status);
  }
  return info;
}

// Whether messages of a subject like this one could be ink.
bool IsOfInk(const std::string& subject) {
  const std::string first = subject.substr(0, subject.find('.'));
  return first == "ink" || first == "*" || first == ">";
}

StreamSettings Judge(const jsStreamInfo& info) {
  const jsStreamConfig& config = *info.Config;
  const char** const subjects_end = config.Subjects + config.SubjectsLen;
  if (std::none_of(config.Subjects, subjects_end, IsOfInk)) {
    throw StreamError(std::string("the stream ") + config.Name + " takes no messages of " +
                      Stream::kAllInk + ": its subjects are others");
  }
  StreamSettings settings;
  if (config.MaxMsgSize > 0) settings.limit_bytes = static_cast<std::size_t>(config.MaxMsgSize);
  const std::string name = config.Name;
  const bool is_bounded = config.MaxBytes > 0 || config.MaxMsgs > 0;
  if (is_bounded && config.Discard == js_DiscardOld) {
    settings.told.push_back("the stream " + name +
                            " drops its oldest ink when it is full, whether it was taken or not");
  }
  if (config.Retention == js_InterestPolicy) {
    settings.told.push_back("the stream " + name + " drops ink that no consumer waits for");
  }
  if (config.MaxMsgsPerSubject > 0) {
    settings.told.push_back("the stream " + name + " keeps only the last messages of each page");
  }
  if (config.Storage == js_MemoryStorage) {
    settings.told.push_back("the stream " + name + " is in its server's memory alone");
  }
  return settings;
}

}  // namespace

StreamSettings FindStream(Connection& connection, const Options& options) {
  jsStreamInfo* found = nullptr;
  jsErrCode code{};
  const natsStatus status = ::js_GetStreamInfo(&found, connection.stream(),
                                               options.stream.stream.c_str(), nullptr, &code);
  InfoPtr info(found);
  if (status == NATS_NOT_FOUND) {
    if (!options.is_to_create) {
      throw StreamError("there is no stream " + options.stream.stream +
                        " on the server; --create-stream makes it");
    }
    info = MakeStream(connection, options);
  } else if (status == NATS_NO_RESPONDERS) {
    throw StreamError("the server has no streams: JetStream is not enabled there");
  } else if (status != NATS_OK) {
    throw StreamError("can't find the stream " + options.stream.stream, status);
  }
  return Judge(*info);
}

}  // namespace Forward
