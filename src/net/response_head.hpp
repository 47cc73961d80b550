#pragma once
// Responses as values: the head that goes before a body.

#include <string>

#include "net/net.hpp"

namespace mbnet {

// Neither a body nor its type and length go out with these statuses, whatever the response holds.
inline bool statusHasBody(int32_t status) { return status != 204 && status != 304; }

// Status line and headers, up to and with the blank line.
std::string responseHead(const Response& response, bool keepAlive);

}  // namespace mbnet
