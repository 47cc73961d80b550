// Whatever stands in a signature, a key and a manifest: nothing passes that was not signed, a
// release that is read can be fetched, and its file lands in the folder that is meant for it.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "update/manifest.hpp"
#include "update/release_file.hpp"
#include "update/signature.hpp"
#include "util/util.hpp"

namespace {

constexpr std::string_view kBase = "https://host.example/stable";
// A signature that is good for these bytes alone; the key's private half is gone.
constexpr const char* kKey =
    "RUNTMSAAAABrqHY7DFXZUA0Ss96tJFbQ4DkmCQ2ieVd7WkJrzI3UhdKeRbBaQdrhRG+EI3eg8b4GjMmXuGICQMCWTsk+"
    "Utyc";
constexpr std::string_view kMessage = "{\"version\": \"0.3.0\"}\r\n";
constexpr std::string_view kSignature =
    "Un6pRhDhAkneMBMie21aqJDMJPDkAyshpdauq4iCqByEfVs3+heIchKumWFNAfKWwOxXuRhwJsFtakMMtvfanw==";

void require(bool holds) {
    if (!holds) std::abort();
}

// The numbers of a signature, and that numbers' twin, which is as good and easily made.
bool isKnown(std::string_view signature) {
    const auto known = mbutil::base64Decode(kSignature);
    const auto given = mbutil::base64Decode(mbutil::trim(signature));
    return given.size() == known.size() &&
           std::equal(known.begin(), known.begin() + 32, given.begin());
}

void checkSignature(std::string_view bytes) {
    (void)mbupdate::verifySignature(std::string(bytes), kMessage, kSignature);
    const std::string blob = std::string("ECS1\x20\0\0\0", 8) + std::string(bytes);
    (void)mbupdate::verifySignature(mbutil::base64Encode(blob.data(), blob.size()), kMessage,
                                    kSignature);
    require(!mbupdate::verifySignature(kKey, kMessage, bytes) || isKnown(bytes));
    std::string halves(bytes.substr(0, 64));
    halves.resize(64);
    const std::string text = mbutil::base64Encode(halves.data(), halves.size());
    require(!mbupdate::verifySignature(kKey, kMessage, text) || isKnown(text));
    require(mbupdate::verifySignature(kKey, bytes, kSignature) == (bytes == kMessage));
}

void checkName(std::string_view url) {
    const std::string name = mbupdate::fileNameFor(url);
    require(!name.empty() && name.front() != '.' && name.find('/') == std::string::npos);
    require(name.find('\0') == std::string::npos);
}

void checkManifest(std::string_view bytes) {
    mbupdate::Release release;
    std::string error;
    if (!mbupdate::readManifest(bytes, "deb", std::string(kBase), release, error)) {
        require(!error.empty() && release.version.empty());
        return;
    }
    require(!release.version.empty() && release.sha256.size() == 64);
    require(mbutil::startsWith(release.url, "https://"));
    checkName(release.url);
    require(!mbupdate::isNewer(release.version, release.version));
    require(!(mbupdate::isNewer(release.version, "0.2.5") &&
              mbupdate::isNewer("0.2.5", release.version)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    checkSignature(bytes);
    checkName(bytes);
    checkManifest(bytes);
    return 0;
}
