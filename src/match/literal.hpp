#pragma once
// Finds one literal in texts, sixteen places at a time. Private to this module.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mbmatch {

class Literal {
public:
    static constexpr size_t kNone = std::string_view::npos;

    Literal() = default;  // finds nothing
    Literal(std::string needle, bool foldCase);

    // The first place at or after `from` where all of it stands, or kNone.
    size_t find(std::string_view text, size_t from) const;
    size_t size() const { return needle.size(); }
    bool empty() const { return needle.empty(); }
    // Whether it is made of bytes below 0x80 only.
    bool ascii() const;

private:
    // A byte of the needle that is looked for before all others. A text's byte b stands for it
    // when (b | mask) == byte; the mask is 0x20 where both cases of a letter count.
    struct Probe {
        size_t offset = 0;
        uint8_t byte = 0;
        uint8_t mask = 0;
    };

    std::string needle;  // in lower case when case does not count
    bool foldCase = false;
    std::array<Probe, 2> probes;  // its two rarest bytes; the same one twice in a needle of one

    Probe probeAt(size_t offset) const;
    bool standsAt(const char* place) const;
    size_t findSlowly(std::string_view text, size_t from) const;
};

}  // namespace mbmatch
