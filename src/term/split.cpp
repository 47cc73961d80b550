#include "term/split.hpp"

#include <algorithm>

namespace mbterm {

namespace {

constexpr size_t kLongestSequence = 4;

// Bytes of the sequence that this one begins; 1 for what begins none.
size_t sequenceLength(unsigned char lead) {
    if ((lead & 0xE0) == 0xC0) return 2;
    if ((lead & 0xF0) == 0xE0) return 3;
    if ((lead & 0xF8) == 0xF0) return 4;
    return 1;
}

}  // namespace

size_t completeLength(std::string_view bytes) {
    const size_t looked = std::min(bytes.size(), kLongestSequence);
    for (size_t length = 1; length <= looked; ++length) {
        const size_t at = bytes.size() - length;
        const auto byte = static_cast<unsigned char>(bytes[at]);
        if ((byte & 0xC0) == 0x80) continue;
        return sequenceLength(byte) > length ? at : bytes.size();
    }
    return bytes.size();
}

}  // namespace mbterm
