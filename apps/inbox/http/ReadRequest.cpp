#include "http/ReadRequest.h"

#include "ink/Text.h"

namespace Inbox {
namespace {

std::string ToString(boost::beast::string_view text) {
  return std::string(text.data(), text.size());
}

}  // namespace

Request ReadRequest(const boost::beast::http::request<boost::beast::http::string_body>& message) {
  Request request;
  request.method = ToString(message.method_string());
  request.target = ToString(message.target());
  for (const auto& field : message.base()) {
    request.headers.emplace(TalvoInk::LowerCase(ToString(field.name_string())),
                            ToString(field.value()));
  }
  return request;
}

}  // namespace Inbox
