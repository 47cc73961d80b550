// Whatever parses is dumped to a text that parses to the same dump.

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "json/json.hpp"

namespace {

using mbjson::Json;

void require(bool holds) {
    if (!holds) std::abort();
}

void checkStable(const Json& value) {
    const std::string dumped = value.dump();
    bool ok = false;
    try {
        require(Json::parse(dumped, &ok).dump() == dumped);
        require(ok);
        require(Json::parse(mbjson::prettyJson(value), &ok).dump() == dumped);
        require(ok);
    } catch (const std::out_of_range&) {
        // Seventeen digits do not give a subnormal number exactly, which is a range error on the
        // way back. Only hundreds of digits can have made one.
        require(dumped.find("e-3") != std::string::npos);
    }
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): copying is under test
    const Json copy = value;
    require(copy.dump() == dumped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    bool ok = false;
    try {
        const Json value = Json::parse(text, &ok);
        require(ok || value.isNull());
        if (ok) checkStable(value);
    } catch (const std::out_of_range&) {
        // A number that no double can hold.
    }
    return 0;
}
