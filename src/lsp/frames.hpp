#pragma once
// The protocol's framing as values: cutting messages out of a stream of bytes, and the header of
// our own. Private to this module.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace mblsp {

// Takes linear time whatever the pieces are, also for a message of many megabytes in small ones.
// Nothing is bounded, neither a header nor a body.
class FrameReader {
public:
    using Handler = std::function<void(std::string body)>;

    // Calls `onMessage`, which may be empty, for each message that is whole now.
    //
    // A header ends with a blank line (all four bytes of it); of its fields only the length counts,
    // in whatever case. A header without one, or with one that no string could have, is dropped,
    // and what stands behind it is read as a header again. A length that is no number is 0.
    void feed(std::string_view piece, const Handler& onMessage);

private:
    std::string header;  // what is here of one that has no end yet
    std::string body;    // what is here of one that is not whole
    size_t bodyMissing = 0;
    bool inBody = false;

    bool takeHeader(std::string_view& piece);
    bool takeBody(std::string_view& piece);
};

// What goes in front of a body of that many bytes.
std::string frameHeader(size_t bodyBytes);

}  // namespace mblsp
