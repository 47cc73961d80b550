#include "net/socket.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace mbnet {

namespace {

constexpr size_t kSendBytes = 65536;  // at most so much in one call of a loop

}  // namespace

void setNoDelay(int socket) {
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void setReceiveTimeout(int socket, uint32_t timeoutMs) {
    timeval limit{};
    limit.tv_sec = timeoutMs / 1000;
    limit.tv_usec = static_cast<suseconds_t>(timeoutMs % 1000) * 1000;
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

ssize_t receive(int socket, void* buffer, size_t size) {
    for (;;) {
        const ssize_t got = ::recv(socket, buffer, size, 0);
        if (got >= 0 || errno != EINTR) return got;
    }
}

bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t wanted = std::min(bytes.size(), kSendBytes);
        const ssize_t sent = ::send(socket, bytes.data(), wanted, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 1) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

bool sendAll(int socket, std::string_view first, std::string_view second) {
    while (!first.empty()) {
        // sendmsg() only reads the pieces, but its record wants them writable.
        std::array<iovec, 2> pieces{{{const_cast<char*>(first.data()), first.size()},
                                     {const_cast<char*>(second.data()), second.size()}}};
        msghdr message{};
        message.msg_iov = pieces.data();
        message.msg_iovlen = pieces.size();
        const ssize_t sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 1) return false;
        const size_t ofFirst = std::min(first.size(), static_cast<size_t>(sent));
        first.remove_prefix(ofFirst);
        second.remove_prefix(static_cast<size_t>(sent) - ofFirst);
    }
    return sendAll(socket, second);
}

void closeGracefully(mbutil::Fd socket) {
    ::shutdown(socket.value, SHUT_WR);
    setReceiveTimeout(socket.value, 200);
    std::array<char, 4096> unread;
    for (int reads = 0; reads < 64; ++reads) {
        if (receive(socket.value, unread.data(), unread.size()) < 1) return;
    }
}

}  // namespace mbnet
