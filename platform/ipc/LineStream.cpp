#include "LineStream.h"

#include <errno.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <utility>

namespace IPC {
namespace {

using boost::system::error_code;

// Lines can be costly to handle. After this many, or this long, other streams get a turn.
constexpr int kLinesPerTurn = 32;
constexpr std::chrono::milliseconds kTurnTime(5);

constexpr std::size_t kKeptBytes = 64 * 1024;

}  // namespace

LineStream::LineStream(boost::asio::io_service& queue, Descriptor socket, Patience patience)
    : queue_(queue), patience_(patience) {
  socket_.emplace(queue);
  socket_->assign(boost::asio::local::stream_protocol(), socket.get());
  readable_ = descriptor_ = socket.Release();
  stall_timer_.emplace(queue);
}

void LineStream::Post(void (LineStream::*job)()) {
  queue_.post([self = Self(), job] { (self.get()->*job)(); });
}

void LineStream::Start() {
  busy_ = true;
  Read();
}

// ---- Reading

void LineStream::Turn() {
  const auto end = std::chrono::steady_clock::now() + kTurnTime;
  for (int lines = 0; is_open() && !paused_ && !finishing_; ++lines) {
    if (lines == kLinesPerTurn || (lines > 0 && std::chrono::steady_clock::now() > end))
      return Post(&LineStream::Turn);
    std::string_view line;
    switch (decoder_.Next(line)) {
      case LineDecoder::Result::kLine:
        // A peer may send blanks long before the request that follows them.
        line_begin_ = read_bytes_ - decoder_.CountFrom(line) + line.find_first_not_of(" \t\r");
        OnLine(line);
        break;
      case LineDecoder::Result::kTooLong:
        busy_ = false;
        return OnLineTooLong();
      case LineDecoder::Result::kNoLine:
        if (!input_ended_) return Read();
        busy_ = false;
        WatchForPeerGone();
        return OnPeerFinished();
    }
  }
  busy_ = false;
  if (is_open() && paused_) WatchForPeerGone();
}

// Replaces the count of the incomplete line's bytes by `bytes`. Called
// when all complete lines have been handed on.
void LineStream::HoldInput(std::size_t bytes) {
  if (!patience_.room) return;
  std::lock_guard<std::mutex> lock(mutex_);
  patience_.room->used_bytes += bytes;
  patience_.room->used_bytes -= input_bytes_;
  input_bytes_ = bytes;
}

void LineStream::Read() {
  HoldInput(decoder_.size());
  if (decoder_.size() > 0 && patience_.room && patience_.room->IsExceeded()) OnRoomExceeded();
  if (!is_open()) return;
  socket_->async_wait(boost::asio::socket_base::wait_read,
                      [self = Self()](const error_code& error) { self->OnReadable(error); });
}

void LineStream::OnReadable(const error_code& error) {
  if (!is_open()) return;
  if (error) return Close(error);
  ssize_t size;
  {
    // Taken from the system and counted in one step: CountSentByPeer never misses the bytes that
    // are neither in the system's buffer any more nor counted yet.
    std::lock_guard<std::mutex> lock(arrival_mutex_);
    size = ::recv(socket_->native_handle(), input_.data(), input_.size(), MSG_DONTWAIT);
    if (size > 0) read_bytes_ += static_cast<std::size_t>(size);
  }
  if (size == 0) return OnEndOfInput();
  if (size < 0) {
    const error_code reason(errno, boost::system::system_category());
    const bool is_nothing_there = reason == boost::system::errc::operation_would_block ||
                                  reason == boost::system::errc::interrupted;
    return is_nothing_there ? Read() : Close(reason);
  }
  decoder_.Append(input_.data(), static_cast<std::size_t>(size));
  Turn();
}

std::uint64_t LineStream::CountSentByPeer() const {
  std::lock_guard<std::mutex> lock(arrival_mutex_);
  int unread_bytes = 0;
  if (readable_ < 0 || ::ioctl(readable_, FIONREAD, &unread_bytes) != 0) unread_bytes = 0;
  return read_bytes_ + static_cast<std::uint64_t>(unread_bytes);
}

void LineStream::OnEndOfInput() {
  if (HasPeerGone()) return Close(boost::asio::error::eof);
  input_ended_ = true;
  Turn();
}

// A peer that has only shut down its sending side still listens; the system tells the difference.
bool LineStream::HasPeerGone() {
  pollfd poll = {socket_->native_handle(), 0, 0};
  return ::poll(&poll, 1, 0) == 1 && (poll.revents & (POLLHUP | POLLERR)) != 0;
}

// Reading finds the end of a peer. While nothing is read (a paused stream, or one whose peer has
// finished sending), the socket is watched for it.
void LineStream::WatchForPeerGone() {
  if (watching_peer_) return;
  watching_peer_ = true;
  socket_->async_wait(boost::asio::socket_base::wait_error, [self = Self()](const error_code&) {
    self->watching_peer_ = false;
    // While reading goes on, it finds the end itself, after the last data.
    if (!self->is_open() || (self->busy_ && !self->paused_)) return;
    if (self->HasPeerGone()) self->Close(boost::asio::error::eof);
  });
}

void LineStream::Pause() {
  paused_ = true;
}

void LineStream::Resume() {
  if (!is_open() || !paused_) return;
  paused_ = false;
  if (busy_) return;
  busy_ = true;
  Post(&LineStream::Turn);
}

// ---- Writing

// Lines keep their order and stay whole because one of two writes to the socket at any time, and
// the mutex says which:
//   - Send itself, under the mutex, as long as writing_ is false. Then the outbox is empty and no
//     write of the queue is under way, so nothing can be overtaken. What the system does not take
//     of the line goes into the outbox before the mutex is released, and writing_ becomes true.
//   - Write, on the queue, from then on until it finds the outbox empty under the mutex. All that
//     is sent meanwhile is appended to the outbox, behind the rest of the line.
bool LineStream::Send(const std::string& line, std::uint64_t* sent_by_peer) {
  bool overflow = false;
  bool exceeded = false;
  bool start_writing = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (sealed_) return false;
    // Before the line can reach the peer: what it sends in answer comes behind this place.
    if (sent_by_peer != nullptr) *sent_by_peer = CountSentByPeer();
    overflow = unsent_bytes_ + line.size() > kMaxOutboxBytes;
    if (overflow) {
      if (!patience_.overflow_ends) return false;
      sealed_ = true;
    } else {
      const std::size_t sent = writing_ ? 0 : SendNow(line);
      if (sent == line.size()) return true;
      const std::size_t left = line.size() - sent;
      outbox_.append(line, sent, left);
      unsent_bytes_ += left;
      if (patience_.room) {
        patience_.room->used_bytes += left;
        exceeded = patience_.room->IsExceeded();
      }
      if (writing_ && !exceeded) return true;
      start_writing = !std::exchange(writing_, true);
    }
  }
  if (overflow) Post(&LineStream::Overflow);
  if (start_writing) Post(&LineStream::Write);
  if (exceeded) Post(&LineStream::OnRoomExceeded);
  return !overflow;
}

// Hands the system what it takes immediately: the common line reaches its peer without a turn of
// the queue's thread. Errors are left to Write, which tells of them.
std::size_t LineStream::SendNow(const std::string& line) {
  const ssize_t sent = ::send(descriptor_, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return sent > 0 ? static_cast<std::size_t>(sent) : 0;
}

bool LineStream::IsSending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return !sealed_;
}

std::size_t LineStream::HeldBytes() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return unsent_bytes_ + input_bytes_;
}

void LineStream::Overflow() {
  Close(boost::asio::error::no_buffer_space);
}

void LineStream::Write() {
  if (!is_open()) return;
  // The outbox is taken as a whole, so that senders can go on filling it during the write.
  if (sent_ == sending_.size()) {
    sending_.clear();
    sent_ = 0;
    if (sending_.capacity() > kKeptBytes) sending_.shrink_to_fit();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      sending_.swap(outbox_);
      writing_ = !sending_.empty();
    }
    if (sending_.empty()) {
      if (finishing_) Close(finish_reason_);
      return;
    }
    last_progress_ = std::chrono::steady_clock::now();
  }
  if (!watching_stall_) WatchForStall(patience_.stall_limit);
  socket_->async_write_some(
      boost::asio::buffer(sending_.data() + sent_, sending_.size() - sent_),
      [self = Self()](const error_code& error, std::size_t size) { self->OnWritten(error, size); });
}

void LineStream::OnWritten(const error_code& error, std::size_t size) {
  if (!is_open()) return;
  // The peer has gone, but may have said why: the read that is under way finds that, and the end.
  if (error == boost::asio::error::broken_pipe && busy_ && !paused_ && !input_ended_) return;
  if (error) return Close(error);
  sent_ += size;
  last_progress_ = std::chrono::steady_clock::now();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    unsent_bytes_ -= size;
    if (patience_.room) patience_.room->used_bytes -= size;
  }
  Write();
}

void LineStream::WatchForStall(std::chrono::steady_clock::duration time) {
  if (patience_.stall_limit.count() == 0) return;
  watching_stall_ = true;
  stall_timer_->expires_after(time);
  stall_timer_->async_wait([self = Self()](const error_code&) { self->OnStallTimer(); });
}

void LineStream::OnStallTimer() {
  watching_stall_ = false;
  if (!is_open() || sending_.empty()) return;
  const auto stalled = std::chrono::steady_clock::now() - last_progress_;
  if (stalled >= patience_.stall_limit) return Close(boost::asio::error::timed_out);
  WatchForStall(patience_.stall_limit - stalled);
}

// ---- Ending

void LineStream::Finish(const error_code& reason) {
  if (!is_open() || finishing_) return;
  finishing_ = true;
  finish_reason_ = reason;
  bool writing;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    sealed_ = true;
    writing = writing_;
  }
  if (!writing) Close(reason);
}

// The stream is sealed under the mutex before the socket is closed: a Send on another thread either
// finds it sealed or has finished with the descriptor, whose number may belong to another file as
// soon as it is closed.
void LineStream::Close(const error_code& reason) {
  if (!is_open()) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    sealed_ = true;
    std::string().swap(outbox_);
    if (patience_.room) patience_.room->used_bytes -= unsent_bytes_ + input_bytes_;
    unsent_bytes_ = input_bytes_ = 0;
  }
  {
    std::lock_guard<std::mutex> lock(arrival_mutex_);
    readable_ = -1;
  }
  stall_timer_.reset();
  socket_.reset();
  OnEnd(reason);
}

}  // namespace IPC
