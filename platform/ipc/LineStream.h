// A connected socket on which lines travel both ways, used by server and client alike. Reading,
// writing and every hook run on the queue, one at a time, with a bounded amount of work at each
// turn, so that a peer that sends at full speed keeps nobody else waiting. Send may be called from
// any thread: it hands the system what the system takes immediately, and puts the rest into the
// outbox.
//
// The stream is shared by its maker and by its own jobs on the queue. Once it has ended it touches
// neither socket nor queue any more, even if something still refers to it.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

#include <array>
#include <atomic>
#include <boost/asio/io_service.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/noncopyable.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "LineDecoder.h"

namespace IPC {

using TalvoCppUtils::Descriptor;

inline constexpr std::size_t kMaxOutboxBytes = std::size_t(4) << 20;

// What many streams of one owner may hold together, of incomplete lines that arrive, and of lines
// that wait to be sent.
struct SharedRoom {
  const std::size_t limit_bytes;
  std::atomic<std::size_t> used_bytes{0};

  bool IsExceeded() const { return used_bytes > limit_bytes; }
};

class LineStream : public std::enable_shared_from_this<LineStream>, boost::noncopyable {
 public:
  virtual ~LineStream() {}

  // Begins to read. On the queue, once.
  void Start();

  // Sends a whole line, with its LF, behind those that were sent before, or files it in the outbox,
  // which the queue writes out; never waits. False: nothing of it was or will be sent, because the
  // stream has ended or sends no more, or because the outbox would hold more than kMaxOutboxBytes,
  // which may end the stream. `sent_by_peer`, if given, gets the number of bytes that had reached
  // this end of the socket by then, read or not.
  bool Send(const std::string& line, std::uint64_t* sent_by_peer = nullptr);

  // Whether Send may still take something. Any thread.
  bool IsSending() const;

  // The bytes that it counts against the shared room. Any thread.
  std::size_t HeldBytes() const;

  // Ends the stream immediately: what is in the outbox is lost. OnEnd is called before this
  // returns. On the queue; does nothing if the stream has ended already.
  void Close(const boost::system::error_code& reason);

 protected:
  // What a peer that does not read is allowed.
  struct Patience {
    std::chrono::seconds stall_limit;  // how long it may take nothing of what waits; 0 for ever
    bool overflow_ends;                // whether a full outbox ends the stream
    std::shared_ptr<SharedRoom> room;  // null for none
  };

  // Takes a connected socket that does not block. On the queue's thread, or before anything is
  // posted for the stream.
  LineStream(boost::asio::io_service& queue, Descriptor socket, Patience patience);

  // ---- Hooks, on the queue.

  // The next line, without its LF; valid during the call.
  virtual void OnLine(std::string_view line) = 0;
  // The line that the peer is sending is longer than kMaxLineBytes. No line comes after it.
  virtual void OnLineTooLong() = 0;
  // The peer sends no more, all its lines have been handed on, and it still listens.
  virtual void OnPeerFinished() = 0;
  // The room is exceeded. The handler may end this stream.
  virtual void OnRoomExceeded() {}
  // The stream has ended; no hook is called any more. Once.
  virtual void OnEnd(const boost::system::error_code& reason) = 0;

  // ---- For the hooks' use, on the queue.

  bool is_open() const { return socket_.has_value(); }
  boost::asio::io_service& queue() { return queue_; }

  // In OnLine: the place of the line's first byte that is not blank, counted from the first byte
  // ever received.
  std::uint64_t line_begin() const { return line_begin_; }

  // From now on no line is handed on or read, until Resume. A peer that goes away in the meantime
  // ends the stream all the same.
  void Pause();
  void Resume();

  // Hands on no more lines, takes no more for the outbox, and ends the stream with `reason` once
  // the outbox has been written out.
  void Finish(const boost::system::error_code& reason);

 private:
  std::shared_ptr<LineStream> Self() { return shared_from_this(); }
  void Post(void (LineStream::*job)());
  void Turn();
  void Read();
  void OnReadable(const boost::system::error_code& error);
  void OnEndOfInput();
  bool HasPeerGone();
  std::uint64_t CountSentByPeer() const;
  void WatchForPeerGone();
  void Overflow();
  void HoldInput(std::size_t bytes);
  std::size_t SendNow(const std::string& line);
  void Write();
  void OnWritten(const boost::system::error_code& error, std::size_t size);
  void WatchForStall(std::chrono::steady_clock::duration time);
  void OnStallTimer();

  boost::asio::io_service& queue_;
  const Patience patience_;

  // ---- Used on the queue alone.
  std::optional<boost::asio::local::stream_protocol::socket> socket_;  // empty: ended
  std::optional<boost::asio::steady_timer> stall_timer_;
  std::array<char, 16 * 1024> input_;
  LineDecoder decoder_;
  std::uint64_t line_begin_ = 0;
  bool busy_ = false;           // a read or a turn is under way
  bool paused_ = false;         // by Pause
  bool input_ended_ = false;    // the peer sends no more
  bool watching_peer_ = false;  // the watch for its going away is under way
  bool watching_stall_ = false;
  bool finishing_ = false;
  boost::system::error_code finish_reason_;
  std::string sending_;  // taken from the outbox; `sent_` bytes of it have gone
  std::size_t sent_ = 0;
  std::chrono::steady_clock::time_point last_progress_;

  // Guards what follows; held for one call of the system. Not the mutex below: a sender holds that
  // while it wakes the peer, whose answer would have to wait for it.
  mutable std::mutex arrival_mutex_;
  std::uint64_t read_bytes_ = 0;  // since the beginning; changed on the queue alone
  int readable_;                  // the socket's descriptor, -1 once it is closed

  mutable std::mutex mutex_;  // guards what follows; no hook is called while it is held
  int descriptor_;            // the socket's, which is open while sealed_ is false
  std::string outbox_;
  std::size_t unsent_bytes_ = 0;  // of outbox_ and sending_
  std::size_t input_bytes_ = 0;   // of the line that has begun to arrive
  bool writing_ = false;  // something waits, and a job that will look into outbox_ is on its way
  bool sealed_ = false;   // Send takes nothing any more
};

}  // namespace IPC
