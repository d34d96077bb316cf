#include "WalkWire.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "JsonParser.h"
#include "JsonWriter.h"
#include "LineDecoder.h"
#include "Message.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

std::vector<std::string> Cut(const char* bytes, std::size_t size, std::size_t portion) {
  IPC::LineDecoder decoder;
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < size; at += portion) {
    decoder.Append(bytes + at, std::min(portion, size - at));
    std::string_view line;
    while (decoder.Next(line) == IPC::LineDecoder::Result::kLine) lines.emplace_back(line);
  }
  return lines;
}

// `line` is what the library writes: one line, and JSON for its own reader.
void CheckWritten(const std::string& line) {
  Json::Value value;
  std::string error;
  Require(line.find('\n') == line.size() - 1);
  Require(IPC::ParseJson(line, value, error));
}

void CheckJson(const std::string& line) {
  Json::Value value, again;
  std::string error, text;
  if (!IPC::ParseJson(line, value, error)) {
    Require(value.isNull() && !error.empty());
    return;
  }
  IPC::AppendJson(value, text);
  Require(IPC::ParseJson(text, again, error) && again == value);
}

void CheckRequest(const std::string& line) {
  IPC::RequestMessage request;
  IPC::WireError error;
  if (IPC::ReadRequest(line, request, error)) {
    Require(request.params.isNull() || request.params.isObject());
    CheckWritten(IPC::ReplyLine(request.id, request.method, request.params));
    CheckWritten(IPC::NotificationLine(request.method, request.params));
  } else {
    Require(error.code != 0 && !error.message.empty());
    CheckWritten(IPC::ErrorLine(request.id, error));
  }
}

}  // namespace

void WalkWire(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return;
  const char* const bytes = reinterpret_cast<const char*>(data) + 1;
  const std::vector<std::string> lines = Cut(bytes, size - 1, size);
  Require(lines == Cut(bytes, size - 1, data[0] % 64 + 1));
  for (const std::string& line : lines) {
    CheckJson(line);
    CheckRequest(line);
    IPC::ServerMessage message;
    std::string reason;
    IPC::ReadServerMessage(line, message, reason);
  }
}
