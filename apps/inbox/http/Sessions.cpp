#include "http/Sessions.h"

#include <Talvo/Logger.h>
#include <fcntl.h>
#include <sodium.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

#include "digest/Sha256.h"
#include "ink/Text.h"

namespace Inbox {
namespace {

constexpr std::int64_t kSessionMs = std::int64_t{30} * 24 * 3600 * 1000;

// One user has a few browsers; a program that opens sessions for ever must not fill the memory.
constexpr std::size_t kMostSessions = 64;

// 256 bits in hexadecimal.
std::string RandomText() {
  std::uint8_t bytes[32];
  ::randombytes_buf(bytes, sizeof bytes);
  return TalvoInk::LowerCase(TalvoInk::Hexadecimal(bytes, sizeof bytes));
}

// In a time that tells nothing about where they differ.
bool IsSame(const std::string& a, const std::string& b) {
  return a.size() == b.size() && ::sodium_memcmp(a.data(), b.data(), a.size()) == 0;
}

// Whole or not at all, and never readable for others.
void WriteSecret(const std::string& file, const std::string& text) {
  std::string temporary = file + ".XXXXXX";
  const int fd = ::mkostemp(&temporary[0], O_CLOEXEC);  // mode 0600
  const bool is_written =
      fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const int error = errno;
  if (fd >= 0) ::close(fd);
  if (is_written && std::rename(temporary.c_str(), file.c_str()) == 0) return;
  if (fd >= 0) ::unlink(temporary.c_str());
  throw std::runtime_error("can't write " + file + ": " + std::generic_category().message(error));
}

}  // namespace

Sessions::Sessions(std::string address_file, std::function<void(const Session&)> remember,
                   const std::map<std::string, std::int64_t>& known)
    : address_file_(std::move(address_file)), remember_(std::move(remember)), sessions_(known) {}

Sessions::~Sessions() {
  if (port_ != 0) ::unlink(address_file_.c_str());
}

void Sessions::Begin(unsigned short port) {
  const std::lock_guard<std::mutex> lock(mutex_);
  port_ = port;
  MakeToken();
}

void Sessions::MakeToken() {
  const std::string token = RandomText();
  WriteSecret(address_file_, AddressWith(token) + "\n");
  token_ = token;
}

std::string Sessions::AddressWith(const std::string& token) const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/open?token=" + token;
}

std::string Sessions::Address() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return AddressWith(token_);
}

std::string Sessions::Open(const std::string& token, std::int64_t now_ms) {
  Session session;
  std::string value;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (token_.empty() || !IsSame(token, token_)) return {};
    try {
      MakeToken();
    } catch (const std::runtime_error& error) {
      // A full disk must not lock the user out: the token that is in the file stays good.
      if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Inbox")) {
        logger->Log(Talvo::kLogWarning, "The inbox keeps its address: %s", error.what());
      }
    }
    value = RandomText();
    session = {Sha256Of(value), now_ms + kSessionMs};
    if (sessions_.size() >= kMostSessions) {
      const auto oldest =
          std::min_element(sessions_.begin(), sessions_.end(),
                           [](const auto& a, const auto& b) { return a.second < b.second; });
      sessions_.erase(oldest);
    }
    sessions_[session.digest] = session.until_ms;
  }
  remember_(session);
  return value;
}

bool Sessions::IsOpen(const std::string& cookies, std::int64_t now_ms) const {
  const std::string name = CookieName() + "=";
  for (std::size_t begin = 0; begin < cookies.size();) {
    const std::size_t end = std::min(cookies.find(';', begin), cookies.size());
    const std::string cookie = TalvoInk::Trim(cookies.substr(begin, end - begin));
    begin = end + 1;
    if (cookie.compare(0, name.size(), name) != 0) continue;
    // Looked up by its digest: how long that takes tells nothing about the cookie.
    const std::string digest = Sha256Of(cookie.substr(name.size()));
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = sessions_.find(digest);
    if (found != sessions_.end() && found->second > now_ms) return true;
  }
  return false;
}

std::string Sessions::CookieName() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return "inbox-" + std::to_string(port_);
}

std::string Sessions::SetCookie(const std::string& value) const {
  return CookieName() + "=" + value +
         "; HttpOnly; SameSite=Strict; Path=/; Max-Age=" + std::to_string(kSessionMs / 1000);
}

}  // namespace Inbox
