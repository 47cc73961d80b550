// Messages of a language server are the same from a stream whole, cut in two and byte by byte, and
// a message that is framed by us comes out of it again.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "lsp/frames.hpp"

namespace {

using mblsp::FrameReader;
using Texts = std::vector<std::string>;

void require(bool holds) {
    if (!holds) std::abort();
}

Texts readPieces(const std::vector<std::string_view>& pieces) {
    FrameReader frames;
    Texts bodies;
    for (const std::string_view piece : pieces)
        frames.feed(piece, [&](std::string body) { bodies.push_back(std::move(body)); });
    return bodies;
}

Texts readBytes(std::string_view bytes) {
    std::vector<std::string_view> pieces;
    for (size_t i = 0; i < bytes.size(); ++i) pieces.push_back(bytes.substr(i, 1));
    return readPieces(pieces);
}

// Behind a header that counts for nothing.
void checkOwnMessage(std::string_view body) {
    const std::string sent = mblsp::frameHeader(body.size()) + std::string(body);
    const Texts seen = readPieces({"no length\r\n\r\n", sent, sent});
    require(seen.size() == 2 && seen[0] == body && seen[1] == body);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const size_t where = data[0] * 256U + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const size_t cut = bytes.empty() ? 0 : where % bytes.size();
    const Texts whole = readPieces({bytes});
    size_t total = 0;
    for (const std::string& body : whole) total += body.size();
    require(total <= bytes.size());
    require(whole == readPieces({bytes.substr(0, cut), bytes.substr(cut)}));
    require(whole == readBytes(bytes));
    checkOwnMessage(bytes);
    return 0;
}
