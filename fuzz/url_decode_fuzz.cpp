// Decoding never makes a text longer, and shortens it by two bytes an escape.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "net/net.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string decoded = mbnet::urlDecode(text);
    if (decoded.size() > size || (size - decoded.size()) % 2 != 0) std::abort();
    const auto percents = static_cast<size_t>(std::count(text.begin(), text.end(), '%'));
    if ((size - decoded.size()) / 2 > percents) std::abort();
    if (percents == 0 && decoded.size() != size) std::abort();
    return 0;
}
