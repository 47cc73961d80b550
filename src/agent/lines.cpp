#include "agent/lines.hpp"

#include <cstddef>

namespace mbagent {

namespace {

// A line longer than this is rare, and its memory is not kept for the rest of the stream.
constexpr size_t kKeptBytes = size_t{1} << 20;

}  // namespace

void LineCutter::feed(std::string_view piece, const Handler& handler) {
    for (size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
        pending.append(piece.substr(0, end));
        piece.remove_prefix(end + 1);
        if (!pending.empty() && pending.back() == '\r') pending.pop_back();
        if (!pending.empty() && handler) handler(pending);
        pending.clear();
        if (pending.capacity() > kKeptBytes) pending.shrink_to_fit();
    }
    pending.append(piece);
}

void LineCutter::finish(const Handler& handler) {
    if (!pending.empty() && handler) handler(pending);
    pending.clear();
}

}  // namespace mbagent
