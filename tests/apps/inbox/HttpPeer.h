// The other end of a connection to the inbox: a browser, or what pretends to be one. It writes the
// bytes that a test wants and reads what comes back. Every wait has a bound; one that runs out
// throws std::runtime_error, which fails the test.

#pragma once

#include <json/reader.h>

#include <map>
#include <string>
#include <vector>

struct HttpAnswer {
  int status = 0;
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;

  Json::Value Json() const;
};

using HttpHeaders = std::map<std::string, std::string>;

class HttpPeer {
 public:
  // Connects to 127.0.0.1 or ::1. Throws std::runtime_error if nobody listens.
  explicit HttpPeer(unsigned short port, bool is_v6 = false);
  ~HttpPeer();
  HttpPeer(const HttpPeer&) = delete;
  HttpPeer& operator=(const HttpPeer&) = delete;

  // Writes all of it; false if the other end closes meanwhile.
  bool Send(const std::string& bytes);

  // The next response. A status of 0 if the connection ends instead.
  HttpAnswer ReadAnswer(bool has_body = true);

  HttpAnswer Ask(const std::string& method, const std::string& target, const HttpHeaders& headers,
                 const std::string& body = "");

  // Reads until all that was received holds `text`; what was received. For streams of events.
  std::string ReadUntil(const std::string& text);

  // Waits for the end of the connection.
  void WaitForEnd();

 private:
  bool ReadMore();  // false at the end

  int fd_ = -1;
  std::string input_;
};
