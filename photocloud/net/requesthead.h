#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <string>

#include "photocloud/net/message.h"

namespace photocloud {

using HeadMessage = boost::beast::http::request<boost::beast::http::empty_body>;

// False for heads that another program on the way may understand in another way
// than this one: each is refused, since guessing is how requests are smuggled.
bool IsClear(const HeadMessage& head);

// The address that the proxy saw, which is the last one that it added; empty when
// there is none.
std::string AddressFromProxy(const HeadMessage& head);

// Answers to what fails before any handler sees it.
Response AnswerBrokenMessage(const boost::system::error_code& error);
Response AnswerOverload();

}  // namespace photocloud
