#pragma once
// Writing to connected sockets.

#include <string_view>

namespace mbutil {

// Waits until all of it is sent, as long as the socket's own limit lets it. False when the other
// end is gone or the limit has passed; part of it may then have been sent. No SIGPIPE.
bool sendAll(int socket, std::string_view bytes);

}  // namespace mbutil
