// From the HTTP library's message to ours.

#pragma once

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include "http/Message.h"

namespace Inbox {

// All but the body, the path and the arguments.
Request ReadRequest(const boost::beast::http::request<boost::beast::http::string_body>& message);

}  // namespace Inbox
