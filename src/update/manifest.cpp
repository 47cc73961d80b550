#include "update/manifest.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

#include "util/util.hpp"

namespace mbupdate {

using mbjson::Json;

namespace {

constexpr size_t kDigestLength = 64;  // of its text; what it consists of shows at the download

std::string absoluteUrl(const std::string& base, const std::string& url) {
    if (url.empty() || url.find("://") != std::string::npos) return url;
    return base + "/" + url;
}

// A number of bytes as far as 64 bits hold it.
uint64_t byteCount(const Json& value) {
    constexpr double kBeyond = 18446744073709551616.0;  // 2 to the 64th
    const double number = value.asNumber();
    if (number >= kBeyond) return std::numeric_limits<uint64_t>::max();
    return number > 0 ? static_cast<uint64_t>(number) : 0;
}

// 0 for a part that is missing or begins with no number; what follows the number does not count.
long partAt(const std::vector<std::string>& parts, size_t index) {
    return index < parts.size() ? std::strtol(parts[index].c_str(), nullptr, 10) : 0;
}

}  // namespace

bool readManifest(std::string_view text, const std::string& asset, const std::string& base,
                  Release& release, std::string& error) {
    bool parsed = false;
    const Json manifest = Json::parseText(text, &parsed);
    if (!parsed) {
        error = "the update manifest is not valid JSON";
        return false;
    }
    const Json& file = manifest["assets"][asset];
    Release found;
    found.version = manifest["version"].asString();
    found.notes = manifest["notes"].asString();
    found.published = manifest["published"].asString();
    found.url = absoluteUrl(base, file["url"].asString());
    found.sha256 = mbutil::lowerCase(file["sha256"].asString());
    found.size = byteCount(file["size"]);
    if (found.version.empty() || found.sha256.size() != kDigestLength ||
        !mbutil::startsWith(found.url, "https://")) {
        error = "the update manifest is incomplete";
        return false;
    }
    release = std::move(found);
    return true;
}

bool isNewer(std::string_view a, std::string_view b) {
    const std::vector<std::string> left = mbutil::split(a, '.');
    const std::vector<std::string> right = mbutil::split(b, '.');
    for (size_t i = 0; i < std::max(left.size(), right.size()); ++i)
        if (partAt(left, i) != partAt(right, i)) return partAt(left, i) > partAt(right, i);
    return false;
}

}  // namespace mbupdate
