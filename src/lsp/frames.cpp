#include "lsp/frames.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "util/util.hpp"

namespace mblsp {

namespace {

constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kLengthField = "content-length:";
// Room that is made at once for a body. More only when it has come: its length may be a lie.
constexpr size_t kRoomAtOnce = size_t{16} << 20;

// How many bytes of `piece` belong to the header that `begun` is the start of, its end included;
// npos when it does not end in this piece.
size_t headerBytes(std::string_view begun, std::string_view piece) {
    // The end may be cut in two. The longer start of it lies further left.
    for (size_t here = std::min(begun.size(), kHeaderEnd.size() - 1); here > 0; --here) {
        const std::string_view rest = kHeaderEnd.substr(here);
        if (begun.ends_with(kHeaderEnd.substr(0, here)) && piece.starts_with(rest))
            return rest.size();
    }
    const size_t end = piece.find(kHeaderEnd);
    return end == std::string_view::npos ? end : end + kHeaderEnd.size();
}

// False: there is none.
bool bodyLength(const std::string& header, size_t& length) {
    const std::string lowered = mbutil::lowerCase(header);
    const size_t field = lowered.find(kLengthField);
    if (field == std::string::npos) return false;
    // Gives the largest number for all that are too large.
    const unsigned long long number =
        std::strtoull(lowered.c_str() + field + kLengthField.size(), nullptr, 10);
    if (number > std::string().max_size()) return false;
    length = number;
    return true;
}

}  // namespace

void FrameReader::feed(std::string_view piece, const Handler& onMessage) {
    while (inBody || takeHeader(piece)) {
        if (!inBody) continue;
        if (!takeBody(piece)) return;
        std::string whole = std::exchange(body, {});
        if (onMessage) onMessage(std::move(whole));
    }
}

// True when a header has ended; `inBody` then tells whether it announces a body.
bool FrameReader::takeHeader(std::string_view& piece) {
    const size_t taken = headerBytes(header, piece);
    header.append(piece.substr(0, taken));
    if (taken == std::string_view::npos) return false;
    piece.remove_prefix(taken);
    header.resize(header.size() - kHeaderEnd.size());
    inBody = bodyLength(header, bodyMissing);
    header.clear();
    if (inBody) body.reserve(std::min(bodyMissing, kRoomAtOnce));
    return true;
}

// True when the body is whole.
bool FrameReader::takeBody(std::string_view& piece) {
    const size_t taken = std::min(bodyMissing, piece.size());
    body.append(piece.substr(0, taken));
    piece.remove_prefix(taken);
    bodyMissing -= taken;
    inBody = bodyMissing > 0;
    return !inBody;
}

std::string frameHeader(size_t bodyBytes) {
    return "Content-Length: " + std::to_string(bodyBytes) + "\r\n\r\n";
}

}  // namespace mblsp
