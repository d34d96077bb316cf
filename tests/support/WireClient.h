// A client of the service that speaks the wire itself: one line of JSON a message over the socket,
// without the client library, so that a test sees what travels and may misbehave. Used by one
// thread. Every wait has a bound; one that runs out throws std::runtime_error, which fails the
// test.

#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>

class WireClient {
 public:
  // Connects to the socket at `endpoint`. Throws std::runtime_error if nobody listens.
  explicit WireClient(const std::string& endpoint);

  // Closes the socket, if Die has not.
  ~WireClient();
  WireClient(const WireClient&) = delete;
  WireClient& operator=(const WireClient&) = delete;

  // Sends a request and returns its id.
  int Send(const std::string& method, const Json::Value& params = Json::objectValue);

  // Sends these bytes as they are.
  void SendBytes(const std::string& bytes);

  // The reply to the request of that id, with its "result" or "error". What comes before it is
  // kept.
  Json::Value WaitForReply(int id);

  // Send and WaitForReply; the status of the reply.
  std::string Request(const std::string& method, const Json::Value& params = Json::objectValue);

  // The "params" of the next notification that has not been taken yet.
  Json::Value WaitForNotification();

  // Whether a notification is there that has not been taken yet, or comes within that time.
  bool HasNotification(int timeout_ms);

  // Whether the service has ended the connection, as far as reading has shown.
  bool has_ended() const { return ended_; }

  // The process that listened at the endpoint.
  pid_t service() const;

  // Takes what has arrived, without waiting; the number of notifications not taken yet. A reply
  // that came after a notification proves that the notification is here.
  std::size_t CountNotifications();

  // The next line, whatever it is; empty at the end of the connection.
  std::string WaitForLine();

  // Waits for the end of the connection; what still comes is kept.
  void WaitForEnd();

  // Sends no more, and still reads.
  void HalfClose();

  // Closes the socket immediately, as the end of the process would.
  void Die();

 private:
  // One message into `replies_` or `notifications_`, one line. False when none has come in time,
  // and at the end of the connection.
  bool ReadMessage(int timeout_ms);
  bool ReadLine(int timeout_ms, std::string& line);

  int fd_ = -1;
  bool ended_ = false;
  int last_id_ = 0;
  std::string input_;
  std::map<int, Json::Value> replies_;
  std::deque<Json::Value> notifications_;
};

// {"key":"value"}, and more of them.
Json::Value Params(std::initializer_list<std::pair<const char*, Json::Value>> members);
