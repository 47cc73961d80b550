#pragma once
// Requests as values: cutting them out of a stream of bytes and reading their parts.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "net/net.hpp"

namespace mbnet {

// Bytes received and not yet used. Requests may come in pieces, or several at once.
class ReceiveBuffer {
public:
    void append(std::string_view received) { bytes.append(received); }
    // Where the blank line begins that ends the head, npos while there is none. What was searched
    // before is not searched again, so a head that trickles in costs no more than one in a piece.
    size_t findHeadEnd();
    // More than a head may have; meaningful while there is no blank line.
    bool tooLong() const { return bytes.size() > 65536; }

    std::string_view head(size_t headEnd) const {
        return std::string_view(bytes).substr(0, headEnd);
    }
    void dropHead(size_t headEnd) { drop(headEnd + 4); }
    // As much of a body of this length as is here.
    std::string takeBody(size_t length);

private:
    std::string bytes;
    size_t searched = 0;  // no blank line begins before this offset

    void drop(size_t count);
};

// All but the body. False when the request line has no target; the outputs are then unspecified.
// `version` is the third word of the request line, empty when it has only two.
bool parseRequestHead(std::string_view head, Request& request, std::string& version);

bool wantsWebSocket(const Request& request);
bool wantsKeepAlive(const Request& request, std::string_view version);
// 0 for a missing or unreadable length. "-1" is huge, as the C library reads it.
uint64_t contentLength(const Request& request);

}  // namespace mbnet
