#pragma once
// Discord's local socket: where it may lie, and frames over it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/fd.hpp"

namespace mbdiscord {

// As they stand in a frame's header.
enum class Opcode : uint32_t { Handshake = 0, Frame = 1, Close = 2, Ping = 3, Pong = 4 };

// Places of the socket, the likeliest first; read from the environment at each call.
std::vector<std::string> candidatePaths();

// Header and body of one frame.
std::string frameBytes(Opcode opcode, std::string_view body);

// The socket, with a limit of a second on every single step, so that its owner can be ended.
struct Connection {
    struct Header {
        uint32_t opcode = 0;
        uint32_t length = 0;  // bytes of the body
    };

    mbutil::Fd fd;

    explicit operator bool() const { return fd.value >= 0; }
    // False when nobody listens there.
    bool open(const std::string& path);
    void close() { fd.reset(); }

    bool send(Opcode opcode, std::string_view body) const;
    // Bytes that wait to be read; -1 when the socket is unusable.
    int waiting() const;
    // The other side has closed its end and everything has been read.
    bool ended() const;
    bool readHeader(Header& header) const;
    bool readExactly(char* data, size_t size) const;
};

}  // namespace mbdiscord
