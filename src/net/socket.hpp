#pragma once
// What HTTP and WebSocket connections do with a connected socket.
//
// Errors: false or a result below 1 means that the connection is of no more use.

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/fd.hpp"

namespace mbnet {

void setNoDelay(int socket);
// How long one receive may wait; 0 is for ever.
void setReceiveTimeout(int socket, uint32_t timeoutMs);

// recv(), gone round again where a signal came in between: a stop and continuation of the process
// (job control, a debugger) interrupts every receive that has a time limit.
ssize_t receive(int socket, void* buffer, size_t size);

bool sendAll(int socket, std::string_view bytes);
// Both pieces in one go: when the socket's buffer has room, they share a segment.
bool sendAll(int socket, std::string_view first, std::string_view second);

// Lets the peer read what was sent before the connection goes: closing while input is unread would
// make the system reset it and throw the answer away.
void closeGracefully(mbutil::Fd socket);

}  // namespace mbnet
