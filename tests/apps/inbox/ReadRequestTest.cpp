#include "http/ReadRequest.h"

#include <gtest/gtest.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>

using namespace Inbox;

namespace {

// The request that these bytes of a connection are.
Request Read(const std::string& bytes) {
  boost::beast::http::request_parser<boost::beast::http::string_body> parser;
  parser.eager(true);
  boost::system::error_code error;
  parser.put(boost::asio::buffer(bytes), error);
  EXPECT_FALSE(error) << error.message();
  return ReadRequest(parser.get());
}

}  // namespace

TEST(ReadRequest, MethodAndTargetStayAsTheyWereSent) {
  const Request request = Read("BREW /pot?size=large%20 HTTP/1.1\r\n\r\n");
  EXPECT_EQ(request.method, "BREW");
  EXPECT_EQ(request.target, "/pot?size=large%20");
  EXPECT_EQ(request.path, "");
  EXPECT_TRUE(request.query.empty());
}

TEST(ReadRequest, NamesOfHeadersAreInLowerCaseAndTheFirstCounts) {
  const Request request =
      Read("GET / HTTP/1.1\r\nHoSt: LocalHost:1\r\nX-Own: one\r\nx-own: two\r\nEmpty:\r\n\r\n");
  EXPECT_EQ(request.Header("host"), "LocalHost:1");
  EXPECT_EQ(request.Header("x-own"), "one");
  EXPECT_EQ(request.headers.count("empty"), 1u);
}

TEST(ReadRequest, TheBodyIsLeftOut) {
  EXPECT_EQ(Read("POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}").body, "");
}
